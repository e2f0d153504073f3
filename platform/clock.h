#pragma once

#include <chrono>

namespace ferncrest {

/// The current wall-clock time in UTC, without its fraction of a second.
std::chrono::sys_seconds currentTime();

}  // namespace ferncrest
