#pragma once

#include <sys/types.h>

#include <atomic>
#include <expected>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/environment.h"
#include "platform/failure.h"
#include "platform/fd.h"

namespace ferncrest {

/// A program that this process started. Any thread may call anything at any time; nothing is done
/// to the process number once the child was reaped and the number may be another's.
class ChildProcess {
 public:
  explicit ChildProcess(pid_t pid) : pid_(pid) {}
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Asks the system whether the child still runs.
  [[nodiscard]] bool isRunning() const;

  /// Waits until the child has ended; it must still be reaped.
  void waitForEnd();

  /// Whether a waitForEnd has returned; asks nobody.
  [[nodiscard]] bool wasSeenToEnd() const { return wasSeenToEnd_; }

  /// Takes the ended child off the system's list: its exit code, or the number of the signal that
  /// ended it, or -1 when the system no longer knows. Waits for a child that still runs.
  int reap();

  /// Sends the termination signal, which the child may ignore. Does not wait.
  void askToEnd();

  /// Ends the child whether it likes or not, and reaps it.
  void endNow();

 private:
  void send(int signal);

  const pid_t pid_;
  std::atomic<bool> wasSeenToEnd_ = false;
  mutable std::mutex mutex_;
  bool reaped_ = false;
};

struct ChildLaunch {
  std::string executable;              ///< a path; no search takes place
  std::vector<std::string> arguments;  ///< without the program's name
  Environment environment;             ///< the whole of it
};

/// A child with our ends of the pipes that are its standard streams.
struct LaunchedChild {
  std::shared_ptr<ChildProcess> process;
  Fd input;  ///< in non-blocking mode
  Fd output;
  Fd errors;
};

/// Starts the program in the current directory with default signal dispositions, no signal blocked
/// and no descriptor but its three streams. Fails with the system's words.
[[nodiscard]] std::expected<LaunchedChild, Failure> launchChild(const ChildLaunch& launch);

}  // namespace ferncrest
