#pragma once

#include <sys/types.h>

#include <chrono>
#include <expected>
#include <optional>
#include <string>

#include "platform/environment.h"
#include "platform/failure.h"
#include "platform/fd.h"

namespace ferncrest {

/// A started service and this host's ends of its three streams. Closing `requests` asks it to end.
struct ServiceProcess {
  pid_t pid = -1;
  Fd requests;     ///< in non-blocking mode: the service may be waiting for us to read its events
  Fd events;       ///< the protocol
  Fd diagnostics;  ///< lines for people
};

/// Starts `program`, a path or a name to be found through PATH, with this whole environment.
std::expected<ServiceProcess, Failure> startService(const std::string& program,
                                                    const std::string& platform,
                                                    const Environment& environment);

/// Waits until the process has ended and gives its wait status, or kills it when `patience` is over
/// and gives nothing. `signals` is a pipe that becomes readable at each SIGCHLD.
std::optional<int> awaitEnd(pid_t pid, int signals, std::chrono::milliseconds patience);

}  // namespace ferncrest
