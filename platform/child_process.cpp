#include "platform/child_process.h"

#include <sys/wait.h>

#include <cerrno>
#include <csignal>

#include "platform/system.h"

namespace ferncrest {

ChildProcess::ChildProcess(pid_t pid) : pid_(pid), exitWatch_(openExitWatch(pid)) {}

std::optional<int> ChildProcess::reapIfEnded() {
  int status = 0;
  pid_t pid = 0;
  do {
    pid = ::waitpid(pid_, &status, WNOHANG);
  } while (pid < 0 && errno == EINTR);
  if (pid == 0) {
    // The descriptor may speak before the child can be reaped: by a moment, or for as long as a
    // debugger holds the dead child. From here on only asking helps.
    exitWatch_.reset();
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
