#include "benchmarks/process_usage.h"

#include <fstream>
#include <string>

#ifdef __linux__
#include <time.h>
#endif

namespace ferncrest::benchmarks {

// Not from wait4: that includes the children that the process waited for, and its peak memory
// starts at the size that its parent had at the fork.
#ifdef __linux__

namespace {

double processorSeconds(pid_t process) {
  clockid_t clock{};
  timespec time{};
  if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
    return 0;
  }
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double peakKibibytes(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string word; status >> word;) {
    if (double peak = 0; word == "VmHWM:" && status >> peak) {
      return peak;
    }
  }
  return 0;
}

}  // namespace

ProcessUsage usageOf(pid_t process) {
  return {.processorSeconds = processorSeconds(process), .peakKibibytes = peakKibibytes(process)};
}

#else

ProcessUsage usageOf(pid_t /*process*/) {
  return {};
}

#endif

}  // namespace ferncrest::benchmarks
