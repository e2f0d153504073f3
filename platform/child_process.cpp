#include "platform/child_process.h"

#include <sys/wait.h>

#include <cerrno>
#include <csignal>

namespace ferncrest {

namespace {

// Whether the child has ended, without reaping it. A child that the system does not know any more
// has ended too.
bool hasEnded(pid_t pid, int options) {
  siginfo_t info{};
  int status = 0;
  do {
    status = ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT | options);
  } while (status != 0 && errno == EINTR);
  return status != 0 || info.si_pid == pid;
}

}  // namespace

bool ChildProcess::isRunning() const {
  const std::lock_guard lock(mutex_);
  return !reaped_ && !hasEnded(pid_, WNOHANG);
}

void ChildProcess::waitForEnd() {
  hasEnded(pid_, 0);
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
