#pragma once

#include <sys/types.h>

#include <expected>
#include <optional>
#include <string>
#include <vector>

#include "platform/environment.h"
#include "platform/failure.h"
#include "platform/fd.h"

namespace ferncrest {

/// A program that this process started and has not reaped yet. Move-only; destroying it neither
/// ends nor reaps the child.
class ChildProcess {
 public:
  explicit ChildProcess(pid_t pid);

  /// Turns readable for poll when the child has ended; -1 where the system gives no such
  /// descriptor, or it was too early, and reapIfEnded must be called again and again.
  [[nodiscard]] int exitFd() const { return exitWatch_.get(); }

  /// Takes the child off the system's list if it has ended: its exit code, or the number of the
  /// signal that ended it, or -1 when the system no longer knows. Nothing while it runs. To be
  /// called when exitFd() is readable, and never again after it gave a status.
  [[nodiscard]] std::optional<int> reapIfEnded();

  /// Sends the termination signal, which the child may ignore. Does not wait.
  void askToEnd() const;

 private:
  pid_t pid_;
  Fd exitWatch_;
};

struct ChildLaunch {
  std::string executable;              ///< a path; no search takes place
  std::vector<std::string> arguments;  ///< without the program's name
  Environment environment;             ///< the whole of it
};

/// A child with our ends of the pipes that are its standard streams, all in non-blocking mode.
struct LaunchedChild {
  ChildProcess process;
  Fd input;
  Fd output;
  Fd errors;
};

/// Starts the program in the current directory with default signal dispositions, no signal blocked
/// and no descriptor but its three streams. Fails with the error text of the system.
[[nodiscard]] std::expected<LaunchedChild, Failure> launchChild(const ChildLaunch& launch);

}  // namespace ferncrest
