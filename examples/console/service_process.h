#pragma once

#include <sys/types.h>

#include <chrono>
#include <expected>
#include <optional>
#include <string>

#include "platform/failure.h"
#include "platform/fd.h"
#include "platform/process.h"

namespace ferncrest {

/// A running service and this host's ends of its three pipes. Closing `requests` asks it to end.
struct ServiceProcess {
  pid_t pid = -1;
  Fd requests;     ///< non-blocking: the service may be waiting for us to read its events
  Fd events;       ///< the service's standard output
  Fd diagnostics;  ///< the service's standard error
};

/// Starts `program`, a path or a name to be found through PATH, with exactly this environment.
[[nodiscard]] std::expected<ServiceProcess, Failure> startService(const std::string& program,
                                                                  const std::string& platform,
                                                                  const Environment& environment);

/// Waits until the process has exited and returns its wait status, or kills it after `patience` and
/// returns nothing. `signals` is a pipe that becomes readable at each SIGCHLD.
std::optional<int> awaitEnd(pid_t pid, int signals, std::chrono::milliseconds patience);

}  // namespace ferncrest
