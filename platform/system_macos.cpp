#include <fcntl.h>
#include <mach-o/dyld.h>
#include <mach/mach.h>
#include <malloc/malloc.h>
#include <sys/event.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>

#include "platform/fd.h"
#include "platform/io.h"
#include "platform/system.h"

namespace ferncrest {

void* resizePages(void* pages, std::size_t oldSize, std::size_t newSize) {
  void* const moved =
      ::mmap(nullptr, newSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
  if (moved == MAP_FAILED) {
    return MAP_FAILED;
  }
  // vm_copy is copy-on-write, so no second copy takes memory.
  const kern_return_t copied =
      ::vm_copy(mach_task_self(), reinterpret_cast<vm_address_t>(pages), std::min(oldSize, newSize),
                reinterpret_cast<vm_address_t>(moved));
  if (copied != KERN_SUCCESS) {
    ::munmap(moved, newSize);
    errno = ENOMEM;
    return MAP_FAILED;
  }
  ::munmap(pages, oldSize);
  return moved;
}

int openPipe(int& readEnd, int& writeEnd) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) {
    return -1;
  }
  // The service has one thread, so no program is started between pipe() and fcntl().
  for (const int end : ends) {
    ::fcntl(end, F_SETFD, FD_CLOEXEC);
  }
  readEnd = ends[0];
  writeEnd = ends[1];
  return 0;
}

void enlargePipe(int /*pipe*/) {}  // the kernel enlarges pipes by itself

int keepOnlyStandardStreams(posix_spawn_file_actions_t& /*actions*/, short& flags) {
  flags = static_cast<short>(flags | POSIX_SPAWN_CLOEXEC_DEFAULT);
  return 0;
}

std::ptrdiff_t readNow(int fd, char* buffer, std::size_t size) {
  const ssize_t count = ::read(fd, buffer, std::min<std::size_t>(size, INT_MAX));
  return count >= 0 ? count : -errno;
}

std::size_t pipeRoom(int pipe) {
  // POLLOUT promises only 512 bytes; a kqueue gives the number of free bytes.
  const Fd queue(::kqueue());
  struct kevent wanted{};
  struct kevent found{};
  EV_SET(&wanted, pipe, EVFILT_WRITE, EV_ADD, 0, 0, nullptr);
  const timespec noTime{};
  const int count = queue.isOpen() ? ::kevent(queue.get(), &wanted, 1, &found, 1, &noTime) : -1;
  if (count < 0 || (found.flags & EV_ERROR) != 0) {
    return isWritable(pipe) ? PIPE_BUF : 0;
  }
  if ((found.flags & EV_EOF) != 0) {
    return SIZE_MAX;
  }
  return count == 0 ? 0 : static_cast<std::size_t>(std::max<std::intptr_t>(found.data, 0));
}

std::size_t pipeCapacity(int /*pipe*/) {
  return std::size_t{16} << 10U;  // the initial capacity; the kernel enlarges a pipe in use
}

std::optional<std::size_t> unreadBytes(int fd) {
  int count = 0;
  socklen_t size = sizeof count;
  // There is no such call for the write end of a pipe.
  const bool isKnown = ::getsockopt(fd, SOL_SOCKET, SO_NWRITE, &count, &size) == 0;
  return isKnown ? std::optional(static_cast<std::size_t>(std::max(count, 0))) : std::nullopt;
}

bool joinBatchClass() {
  return false;  // there is no such policy
}

void leaveBatchClass() {}

int openExitWatch(pid_t child) {
  const int queue = ::kqueue();
  struct kevent wanted{};
  EV_SET(&wanted, child, EVFILT_PROC, EV_ADD, NOTE_EXIT, 0, nullptr);
  if (queue >= 0 && ::kevent(queue, &wanted, 1, nullptr, 0, nullptr) != 0) {
    ::close(queue);  // a child that has ended already cannot be watched; waitpid finds it
    return -1;
  }
  return queue;
}

void releaseFreeMemory() {
  ::malloc_zone_pressure_relief(nullptr, 0);
}

std::ptrdiff_t moveBytes(int /*from*/, int /*to*/, std::size_t /*most*/) {
  return -EINVAL;
}

std::optional<std::string> ownExecutablePath() {
  std::uint32_t size = 0;
  ::_NSGetExecutablePath(nullptr, &size);
  std::string path(size, '\0');
  if (::_NSGetExecutablePath(path.data(), &size) != 0) {
    return std::nullopt;
  }
  // With symbolic links resolved, as /proc/self/exe has them on Linux: a backend is looked for
  // beside the file itself.
  std::array<char, PATH_MAX> resolved{};
  return ::realpath(path.c_str(), resolved.data()) == nullptr
             ? std::nullopt
             : std::optional<std::string>(resolved.data());
}

std::string userTemporaryDirectoryName() {
  const std::size_t length = ::confstr(_CS_DARWIN_USER_TEMP_DIR, nullptr, 0);
  if (length < 2) {
    return {};
  }
  std::string name(length, '\0');
  if (::confstr(_CS_DARWIN_USER_TEMP_DIR, name.data(), name.size()) < 1) {
    return {};
  }
  return name.substr(0, name.find('\0'));
}

}  // namespace ferncrest
