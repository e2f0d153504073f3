#include <fcntl.h>
#include <malloc.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>

#include "platform/system.h"

namespace ferncrest {

void* resizePages(void* pages, std::size_t oldSize, std::size_t newSize) {
  return ::mremap(pages, oldSize, newSize, MREMAP_MAYMOVE);
}

int openPipe(int& readEnd, int& writeEnd) {
  std::array<int, 2> ends{};
  const int status = ::pipe2(ends.data(), O_CLOEXEC);
  readEnd = ends[0];
  writeEnd = ends[1];
  return status;
}

void enlargePipe(int pipe) {
  // Four times the usual; more made nothing faster.
  ::fcntl(pipe, F_SETPIPE_SZ, 256 << 10);
}

int keepOnlyStandardStreams(posix_spawn_file_actions_t& actions, short& /*flags*/) {
  return ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
}

std::ptrdiff_t writeBytes(int fd, const char* bytes, std::size_t size) {
  // Not the library's: that prepares for thread cancellation on each call, which nobody uses here
  // and which costs a twentieth of forwarding a line.
  return ::syscall(SYS_write, fd, bytes, size);
}

void joinBatchClass() {
  const sched_param parameters{};
  // A host that chose another class than the usual one knows why; a refusal costs speed alone.
  if (::sched_getscheduler(0) == SCHED_OTHER) {
    ::sched_setscheduler(0, SCHED_BATCH, &parameters);
  }
}

void waitForExit(pid_t child) {
  siginfo_t info{};
  while (::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT) != 0 &&
         errno == EINTR) {
  }
}

void releaseFreeMemory() {
  ::malloc_trim(0);
}

std::ptrdiff_t moveBytes(int pipe, int stream, std::size_t most) {
  const ssize_t count = ::splice(pipe, nullptr, stream, nullptr, most, SPLICE_F_MOVE);
  return count >= 0 ? count : -errno;
}

std::optional<std::string> ownExecutablePath() {
  std::array<char, PATH_MAX> buffer{};
  const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
  if (length <= 0 || static_cast<std::size_t>(length) == buffer.size()) {
    return std::nullopt;
  }
  return std::string(buffer.data(), static_cast<std::size_t>(length));
}

std::string userTemporaryDirectoryName() {
  return {};
}

}  // namespace ferncrest
