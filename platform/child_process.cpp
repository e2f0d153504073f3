#include "platform/child_process.h"

#include <sys/wait.h>

#include <cerrno>
#include <csignal>

#include "platform/system.h"

namespace ferncrest {

namespace {

// Whether the child has ended, without reaping it. One that the system does not know any more has
// ended too; one that is merely stopped has not.
bool hasEnded(pid_t pid) {
  siginfo_t info{};
  int status = 0;
  do {
    status = ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT | WNOHANG);
  } while (status != 0 && errno == EINTR);
  return status != 0 || (info.si_pid == pid && info.si_code != CLD_STOPPED);
}

}  // namespace

bool ChildProcess::isRunning() const {
  const std::lock_guard lock(mutex_);
  return !reaped_ && !hasEnded(pid_);
}

void ChildProcess::waitForEnd() {
  waitForExit(pid_);
  wasSeenToEnd_ = true;
}

int ChildProcess::reap() {
  // Waited for without the lock: reaping an ended child does not wait.
  waitForEnd();
  const std::lock_guard lock(mutex_);
  int status = 0;
  pid_t pid = 0;
  do {
    pid = ::waitpid(pid_, &status, 0);
  } while (pid < 0 && errno == EINTR);
  reaped_ = true;
  if (pid != pid_) {
    return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
}

void ChildProcess::askToEnd() {
  send(SIGTERM);
}

void ChildProcess::endNow() {
  send(SIGKILL);
  reap();
}

void ChildProcess::send(int signal) {
  const std::lock_guard lock(mutex_);
  if (!reaped_) {
    ::kill(pid_, signal);
  }
}

}  // namespace ferncrest
