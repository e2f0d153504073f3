#include <fcntl.h>
#include <mach-o/dyld.h>
#include <mach/mach.h>
#include <malloc/malloc.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>

#include "platform/system.h"

namespace ferncrest {

void* resizePages(void* pages, std::size_t oldSize, std::size_t newSize) {
  void* const moved =
      ::mmap(nullptr, newSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
  if (moved == MAP_FAILED) {
    return MAP_FAILED;
  }
  // Copies by sharing the pages until one side writes, so no second copy takes memory.
  const kern_return_t copied =
      ::vm_copy(::mach_task_self(), reinterpret_cast<vm_address_t>(pages),
                std::min(oldSize, newSize), reinterpret_cast<vm_address_t>(moved));
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
  // Nothing else in this process launches programs in between.
  for (const int end : ends) {
    ::fcntl(end, F_SETFD, FD_CLOEXEC);
  }
  readEnd = ends[0];
  writeEnd = ends[1];
  return 0;
}

void enlargePipe(int /*pipe*/) {}  // pipes grow by themselves

int keepOnlyStandardStreams(posix_spawn_file_actions_t& /*actions*/, short& flags) {
  flags = static_cast<short>(flags | POSIX_SPAWN_CLOEXEC_DEFAULT);
  return 0;
}

std::ptrdiff_t writeBytes(int fd, const char* bytes, std::size_t size) {
  return ::write(fd, bytes, size);
}

void joinBatchClass() {}  // there is none

void waitForExit(pid_t child) {
  for (;;) {
    siginfo_t info{};
    const int status = ::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT);
    if (status != 0 ? errno != EINTR : info.si_code != CLD_STOPPED) {
      return;
    }
    if (status == 0) {
      ::usleep(100'000);  // here a child that is merely stopped is told of, again and again
    }
  }
}

void releaseFreeMemory() {
  ::malloc_zone_pressure_relief(nullptr, 0);
}

std::ptrdiff_t moveBytes(int /*pipe*/, int /*stream*/, std::size_t /*most*/) {
  return -EINVAL;
}

std::optional<std::string> ownExecutablePath() {
  std::uint32_t size = 0;
  ::_NSGetExecutablePath(nullptr, &size);
  std::string path(size, '\0');
  if (::_NSGetExecutablePath(path.data(), &size) != 0) {
    return std::nullopt;
  }
  path.resize(path.find('\0'));
  return path;
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
