#include <fcntl.h>
#include <linux/sockios.h>
#include <malloc.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>

#include "platform/system.h"

namespace ferncrest {

namespace {

bool isPipeOrSocket(int fd) {
  struct stat status{};
  return ::fstat(fd, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

}  // namespace

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
  // Four times the default capacity. More was not faster.
  ::fcntl(pipe, F_SETPIPE_SZ, 256 << 10);
}

int keepOnlyStandardStreams(posix_spawn_file_actions_t& actions, short& /*flags*/) {
  return ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
}

std::ptrdiff_t readNow(int fd, char* buffer, std::size_t size) {
  const iovec block{.iov_base = buffer, .iov_len = size};
  ssize_t count = ::preadv2(fd, &block, 1, -1, RWF_NOWAIT);
  int errorNumber = errno;
  // RWF_NOWAIT is not supported for named pipes and terminals, and gives EAGAIN for a file whose
  // bytes are not in the page cache.
  if (count < 0 && errorNumber != EINTR && (errorNumber != EAGAIN || !isPipeOrSocket(fd))) {
    count = ::read(fd, buffer, size);
    errorNumber = errno;
  }
  return count >= 0 ? count : -errorNumber;
}

std::size_t pipeRoom(int pipe) {
  pollfd waiting{.fd = pipe, .events = POLLOUT, .revents = 0};
  if (::poll(&waiting, 1, 0) <= 0) {
    return 0;
  }
  if ((waiting.revents & POLLERR) != 0) {
    return SIZE_MAX;
  }
  int unread = 0;
  const bool isEmpty = ::ioctl(pipe, FIONREAD, &unread) == 0 && unread == 0;
  // A pipe in use has room by the page, and POLLOUT promises one page (PIPE_BUF).
  return isEmpty ? pipeCapacity(pipe) : PIPE_BUF;
}

std::size_t pipeCapacity(int pipe) {
  return static_cast<std::size_t>(std::max(::fcntl(pipe, F_GETPIPE_SZ), PIPE_BUF));
}

std::optional<std::size_t> unreadBytes(int fd) {
  int count = 0;
  const bool isKnown = ::ioctl(fd, SIOCOUTQ, &count) == 0 || ::ioctl(fd, FIONREAD, &count) == 0;
  return isKnown ? std::optional(static_cast<std::size_t>(std::max(count, 0))) : std::nullopt;
}

bool joinBatchClass() {
  const sched_param parameters{};
  // Another policy than the usual one was chosen by the host and stays. Without SCHED_BATCH the
  // service is only slower.
  return ::sched_getscheduler(0) == SCHED_OTHER &&
         ::sched_setscheduler(0, SCHED_BATCH, &parameters) == 0;
}

void leaveBatchClass() {
  const sched_param parameters{};
  ::sched_setscheduler(0, SCHED_OTHER, &parameters);
}

int openExitWatch(pid_t child) {
  // By its number: the header <sys/pidfd.h> cannot be used from C++ before glibc 2.37.
  return static_cast<int>(::syscall(SYS_pidfd_open, child, 0));
}

void releaseFreeMemory() {
  ::malloc_trim(0);
}

std::ptrdiff_t moveBytes(int from, int to, std::size_t most) {
  const ssize_t count =
      ::splice(from, nullptr, to, nullptr, most, SPLICE_F_MOVE | SPLICE_F_NONBLOCK);
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
