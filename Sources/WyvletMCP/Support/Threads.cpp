#include "Support/Threads.h"

#include <pthread.h>

namespace wyvlet {

void nameThread(const char* name) {
#if defined(__APPLE__)
  pthread_setname_np(name);
#else
  pthread_setname_np(pthread_self(), name);
#endif
}

}  // namespace wyvlet
