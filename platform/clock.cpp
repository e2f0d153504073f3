#include "platform/clock.h"

namespace ferncrest {

std::chrono::sys_seconds currentTime() {
  return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
}

}  // namespace ferncrest
