#pragma once

#include <sys/types.h>

#include <expected>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/failure.h"
#include "platform/fd.h"

namespace ferncrest {

/// Environment variables, name to value, as unchanged bytes.
using Environment = std::map<std::string, std::string, std::less<>>;

/// A copy of this process's environment. Entries without a name or without "=" are left out; of two
/// entries with the same name the first counts.
Environment readEnvironment();

/// The variable's value, borrowed from `environment`; empty when it is not set.
std::string_view valueOf(const Environment& environment, std::string_view name);

/// A child process that has not been reaped yet. Move-only. Its destructor neither ends nor reaps
/// the child.
class ChildProcess {
 public:
  explicit ChildProcess(pid_t pid);

  /// A descriptor that poll reports as readable when the child has ended, or -1 where the operating
  /// system gives none or it was readable before the child could be reaped. Then reapIfEnded must
  /// be called at intervals.
  [[nodiscard]] int exitFd() const { return exitWatch_.get(); }

  /// Reaps the child if it has ended, and gives its exit status, the number of the signal that
  /// ended it, or -1 when waitpid fails. Gives nothing while the child runs. Where there is an
  /// exitFd(), it must be readable. Must not be called again after it gave a status.
  [[nodiscard]] std::optional<int> reapIfEnded();

  /// Sends SIGTERM. The child may ignore it. Does not wait.
  void askToEnd() const;

 private:
  pid_t pid_;
  Fd exitWatch_;
};

/// What to start. The child gets nothing else from this process but the current directory.
struct ChildLaunch {
  std::string executable;              ///< a path
  std::vector<std::string> arguments;  ///< without the program's name
  Environment environment;             ///< the whole of it
  bool searchesPath = false;  ///< look for an executable without "/" in this process's PATH
  bool leadsGroup = false;    ///< in a process group of its own, which Ctrl-C does not reach
};

/// The descriptors that become a child's standard streams, borrowed.
struct ChildStreams {
  int input;
  int output;
  int errors = standardError;  ///< by default this process's own
};

/// Starts the program with default signal dispositions, no signal blocked and no descriptor but its
/// three streams. Gives its process id, which the caller has to reap, or fails with the error text
/// of the operating system.
[[nodiscard]] std::expected<pid_t, Failure> spawnChild(const ChildLaunch& launch,
                                                       const ChildStreams& streams);

/// A child with our ends of the pipes that are its standard streams, all in non-blocking mode.
struct LaunchedChild {
  ChildProcess process;
  Fd input;
  Fd output;
  Fd errors;
};

/// The same with three new pipes. Restores the default disposition of SIGCHLD in this process:
/// where the host had it ignored, the child would leave no exit status.
[[nodiscard]] std::expected<LaunchedChild, Failure> launchChild(const ChildLaunch& launch);

}  // namespace ferncrest
