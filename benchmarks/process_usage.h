#pragma once

#include <sys/types.h>

namespace ferncrest::benchmarks {

/// What a running process has used since its start.
struct ProcessUsage {
  double processorSeconds = 0;
  double peakKibibytes = 0;  ///< of memory resident at once
};

/// The usage of `process` alone, without its children's; zeros where the system does not tell.
ProcessUsage usageOf(pid_t process);

}  // namespace ferncrest::benchmarks
