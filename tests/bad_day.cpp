#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>

// Loaded into the service before the system's libraries: from BAD_DAY_SEED on, calls are slow,
// interrupted and give less than was asked for; the call number BAD_DAY_FAILS of those that can
// fail does, and its name is written to the file BAD_DAY_REPORT; calls whose names are in
// BAD_DAY_REFUSES are refused, as a sandbox refuses them.

namespace {

std::uint64_t seed = 0;
long failing = 0;
const char* report = nullptr;
const char* refused = nullptr;
std::atomic<std::uint64_t> draws = 0;
std::atomic<long> calls = 0;

[[gnu::constructor]] void begin() {
  const auto number = [](const char* name) {
    const char* const value = ::getenv(name);
    return value == nullptr ? 0 : std::atol(value);
  };
  failing = number("BAD_DAY_FAILS");
  report = ::getenv("BAD_DAY_REPORT");
  refused = ::getenv("BAD_DAY_REFUSES");
  seed = static_cast<std::uint64_t>(number("BAD_DAY_SEED"));
  ::unsetenv("LD_PRELOAD");  // a backend has a good day
}

template <typename Function>
Function* theSystems(Function* /*type*/, const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

std::uint64_t draw(std::uint64_t bound) {
  std::uint64_t bits = seed + 0x9E3779B97F4A7C15U * ++draws;
  bits = (bits ^ (bits >> 30U)) * 0xBF58476D1CE4E5B9U;
  bits = (bits ^ (bits >> 27U)) * 0x94D049BB133111EBU;
  return (bits ^ (bits >> 31U)) % bound;
}

bool happens(std::uint64_t oneIn) {
  return seed != 0 && draw(oneIn) == 0;
}

void dawdle() {
  const int errorNumber = errno;
  if (happens(8)) {
    ::usleep(static_cast<useconds_t>(draw(3000)));
  }
  errno = errorNumber;
}

std::size_t someOf(std::size_t count) {
  return count > 1 && happens(3) ? 1 + draw(count) : count;
}

bool isInterrupted() {
  dawdle();
  if (!happens(6)) {
    return false;
  }
  errno = EINTR;
  return true;
}

bool isRefused(const char* call, std::uint64_t oneIn) {
  if ((refused == nullptr || std::strstr(refused, call) == nullptr) && !happens(oneIn)) {
    return false;
  }
  errno = EPERM;
  return true;
}

bool cannotTransfer(int fd) {
  if (isInterrupted()) {
    return true;
  }
  if (!happens(6) || (::fcntl(fd, F_GETFL) & O_NONBLOCK) == 0) {
    return false;
  }
  errno = EAGAIN;
  return true;
}

bool fails(const char* call, int errorNumber) {
  dawdle();
  if (failing == 0 || ++calls != failing) {
    return false;
  }
  static const auto openNow = theSystems(&::open, "open");
  static const auto writeNow = theSystems(&::write, "write");
  const int file = openNow(report, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  static_cast<void>(writeNow(file, call, std::strlen(call)));
  errno = errorNumber;
  return true;
}

}  // namespace

extern "C" {

ssize_t read(int fd, void* buffer, std::size_t count) {
  static const auto next = theSystems(&::read, "read");
  return cannotTransfer(fd) ? -1 : next(fd, buffer, someOf(count));
}

ssize_t write(int fd, const void* buffer, std::size_t count) {
  static const auto next = theSystems(&::write, "write");
  return cannotTransfer(fd) ? -1 : next(fd, buffer, someOf(count));
}

// What reads without waiting.
ssize_t preadv2(int fd, const iovec* blocks, int count, off_t offset, int flags) {
  static const auto next = theSystems(&::preadv2, "preadv2");
  if (cannotTransfer(fd)) {
    return -1;
  }
  if (isRefused("preadv2", 8)) {
    return -1;
  }
  const iovec block{.iov_base = blocks->iov_base, .iov_len = someOf(blocks->iov_len)};
  return count == 1 ? next(fd, &block, 1, offset, flags) : next(fd, blocks, count, offset, flags);
}

ssize_t splice(int in, off64_t* inOffset, int out, off64_t* outOffset, std::size_t count,
               unsigned flags) {
  static const auto next = theSystems(&::splice, "splice");
  if (isInterrupted()) {
    return -1;
  }
  if (isRefused("splice", 30)) {
    errno = EINVAL;
    return -1;
  }
  return next(in, inOffset, out, outOffset, someOf(count), flags);
}

// Only a wait is interrupted: what is ready already is told.
int poll(pollfd* waiting, nfds_t count, int timeout) {
  static const auto next = theSystems(&::poll, "poll");
  const int ready = next(waiting, count, 0);
  if (ready == 0 && isInterrupted()) {
    return -1;
  }
  const int result = ready != 0 ? ready : next(waiting, count, timeout);
  dawdle();
  return result;
}

long syscall(long number, ...) noexcept {
  static const auto next = theSystems(&::syscall, "syscall");
  std::va_list rest;
  va_start(rest, number);
  std::array<long, 6> values{};
  for (long& value : values) {
    value = va_arg(rest, long);
  }
  va_end(rest);
  dawdle();
  if (number == SYS_pidfd_open && isRefused("pidfd_open", 3)) {
    return -1;
  }
  return next(number, values[0], values[1], values[2], values[3], values[4], values[5]);
}

int ioctl(int fd, unsigned long request, ...) noexcept {
  static const auto next = theSystems(&::ioctl, "ioctl");
  std::va_list rest;
  va_start(rest, request);
  void* const value = va_arg(rest, void*);
  va_end(rest);
  return isRefused("ioctl", 4) ? -1 : next(fd, request, value);
}

pid_t waitpid(pid_t pid, int* status, int options) {
  static const auto next = theSystems(&::waitpid, "waitpid");
  return isInterrupted() ? -1 : next(pid, status, options);
}

int kill(pid_t pid, int signal) noexcept {
  static const auto next = theSystems(&::kill, "kill");
  dawdle();
  return next(pid, signal);
}

int close(int fd) {
  static const auto next = theSystems(&::close, "close");
  dawdle();
  return next(fd);
}

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const* arguments,
                char* const* environment) {
  static const auto next = theSystems(&::posix_spawn, "posix_spawn");
  return fails("posix_spawn", EAGAIN)
             ? EAGAIN
             : next(pid, path, actions, attributes, arguments, environment);
}

int posix_spawn_file_actions_adddup2(posix_spawn_file_actions_t* actions, int fd,
                                     int newFd) noexcept {
  static const auto next =
      theSystems(&::posix_spawn_file_actions_adddup2, "posix_spawn_file_actions_adddup2");
  return fails("adddup2", ENOMEM) ? ENOMEM : next(actions, fd, newFd);
}

int pipe2(int* ends, int flags) noexcept {
  static const auto next = theSystems(&::pipe2, "pipe2");
  return fails("pipe2", EMFILE) ? -1 : next(ends, flags);
}

int mkdir(const char* path, mode_t mode) noexcept {
  static const auto next = theSystems(&::mkdir, "mkdir");
  return fails("mkdir", ENOSPC) ? -1 : next(path, mode);
}

int open(const char* path, int flags, ...) {
  static const auto next = theSystems(&::open, "open");
  std::va_list rest;
  va_start(rest, flags);
  const auto mode = va_arg(rest, mode_t);
  va_end(rest);
  return fails("open", EMFILE) ? -1 : next(path, flags, mode);
}

void* mmap(void* address, std::size_t size, int protection, int flags, int fd,
           off_t offset) noexcept {
  static const auto next = theSystems(&::mmap, "mmap");
  return fails("mmap", ENOMEM) ? MAP_FAILED : next(address, size, protection, flags, fd, offset);
}

void* mremap(void* address, std::size_t size, std::size_t newSize, int flags, ...) noexcept {
  static const auto next = theSystems(&::mremap, "mremap");
  return fails("mremap", ENOMEM) ? MAP_FAILED : next(address, size, newSize, flags);
}

int getentropy(void* buffer, std::size_t size) {
  static const auto next = theSystems(&::getentropy, "getentropy");
  return fails("getentropy", EIO) ? -1 : next(buffer, size);
}

}  // extern "C"
