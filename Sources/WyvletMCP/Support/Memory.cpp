#include "Support/Memory.h"

#include <cstddef>

// Other C libraries return memory by themselves, and the sanitizers bring an allocator of their own,
// beside which glibc's must not be touched.
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define WYVLET_HAS_GLIBC_HEAP 1
#endif
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#undef WYVLET_HAS_GLIBC_HEAP
#endif
#endif

#if defined(WYVLET_HAS_GLIBC_HEAP)
#include <malloc.h>
#endif

namespace wyvlet {

void shareOneMemoryPool() {
#if defined(WYVLET_HAS_GLIBC_HEAP)
  ::mallopt(M_ARENA_MAX, 1);
#endif
}

void returnFreedMemory() {
#if defined(WYVLET_HAS_GLIBC_HEAP)
  ::malloc_trim(0);
#endif
}

}  // namespace wyvlet
