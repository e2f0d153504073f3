#include "platform/child_process.h"

#include <sys/wait.h>

#include <cerrno>
#include <csignal>

#include "platform/system.h"

namespace ferncrest {

ChildProcess::ChildProcess(pid_t pid) : pid_(pid), exitWatch_(openExitWatch(pid)) {}

std::optional<int> ChildProcess::reapIfEnded() {
  // Waits where the descriptor has spoken: that may come a moment before the child can be reaped.
  const int options = exitWatch_.isOpen() ? 0 : WNOHANG;
  int status = 0;
  pid_t pid = 0;
  do {
    pid = ::waitpid(pid_, &status, options);
  } while (pid < 0 && errno == EINTR);
  if (pid == 0) {
    return std::nullopt;
  }
  if (pid != pid_) {
    return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
}

void ChildProcess::askToEnd() const {
  ::kill(pid_, SIGTERM);
}

}  // namespace ferncrest
