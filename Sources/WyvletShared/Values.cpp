#include "WyvletShared/Values.h"

#include <chrono>

namespace wyvlet {

Date Date::now() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return {std::chrono::duration<double>(sinceEpoch).count()};
}

}  // namespace wyvlet
