#pragma once

#include <sys/types.h>

namespace ferncrest::benchmarks {

/// What a running process has used since its start.
struct ProcessUsage {
  double processorSeconds = 0;
  double peakKibibytes = 0;  ///< peak resident memory
};

/// The usage of `process` without its children; zeros if the system does not provide it.
ProcessUsage usageOf(pid_t process);

}  // namespace ferncrest::benchmarks
