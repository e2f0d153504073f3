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
#include <cerrno>
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
const char* report = "";
const char* refused = "";
std::uint64_t draws = 0;
long calls = 0;

const char* setting(const char* name) {
  const char* const value = ::getenv(name);
  return value == nullptr ? "" : value;
}

[[gnu::constructor]] void begin() {
  failing = std::atol(setting("BAD_DAY_FAILS"));
  report = setting("BAD_DAY_REPORT");
  refused = setting("BAD_DAY_REFUSES");
  seed = static_cast<std::uint64_t>(std::atol(setting("BAD_DAY_SEED")));
  ::unsetenv("LD_PRELOAD");  // a backend has a good day
}

// Calls the system's function of this name and type.
template <typename Function, typename... Arguments>
auto pass(Function* /*type*/, const char* name, Arguments... arguments) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name))(arguments...);
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
  if (std::strstr(refused, call) == nullptr && !happens(oneIn)) {
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
  const long file = ::syscall(SYS_openat, AT_FDCWD, report, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ::syscall(SYS_write, file, call, std::strlen(call));
  errno = errorNumber;
  return true;
}

}  // namespace

extern "C" {

ssize_t read(int fd, void* buffer, std::size_t count) {
  return cannotTransfer(fd) ? -1 : pass(&::read, "read", fd, buffer, someOf(count));
}

ssize_t write(int fd, const void* buffer, std::size_t count) {
  return cannotTransfer(fd) ? -1 : pass(&::write, "write", fd, buffer, someOf(count));
}

// What reads without waiting, into one block.
ssize_t preadv2(int fd, const iovec* blocks, int count, off_t offset, int flags) {
  if (cannotTransfer(fd) || isRefused("preadv2", 8)) {
    return -1;
  }
  const iovec block{.iov_base = blocks->iov_base, .iov_len = someOf(blocks->iov_len)};
  return pass(&::preadv2, "preadv2", fd, &block, count, offset, flags);
}

ssize_t splice(int in, off64_t* inOffset, int out, off64_t* outOffset, std::size_t count,
               unsigned flags) {
  if (isInterrupted()) {
    return -1;
  }
  if (isRefused("splice", 30)) {
    errno = EINVAL;
    return -1;
  }
  return pass(&::splice, "splice", in, inOffset, out, outOffset, someOf(count), flags);
}

// Only a wait is interrupted: what is ready already is told.
int poll(pollfd* waiting, nfds_t count, int timeout) {
  const int ready = pass(&::poll, "poll", waiting, count, 0);
  if (ready == 0 && isInterrupted()) {
    return -1;
  }
  const int result = ready != 0 ? ready : pass(&::poll, "poll", waiting, count, timeout);
  dawdle();
  return result;
}

long syscall(long number, ...) noexcept {
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
  return pass(&::syscall, "syscall", number, values[0], values[1], values[2], values[3], values[4],
              values[5]);
}

int ioctl(int fd, unsigned long request, ...) noexcept {
  std::va_list rest;
  va_start(rest, request);
  void* const value = va_arg(rest, void*);
  va_end(rest);
  return isRefused("ioctl", 4) ? -1 : pass(&::ioctl, "ioctl", fd, request, value);
}

pid_t waitpid(pid_t pid, int* status, int options) {
  return isInterrupted() ? -1 : pass(&::waitpid, "waitpid", pid, status, options);
}

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const* arguments,
                char* const* environment) {
  return fails("posix_spawn", EAGAIN) ? EAGAIN
                                      : pass(&::posix_spawn, "posix_spawn", pid, path, actions,
                                             attributes, arguments, environment);
}

int posix_spawn_file_actions_adddup2(posix_spawn_file_actions_t* actions, int fd,
                                     int newFd) noexcept {
  return fails("adddup2", ENOMEM) ? ENOMEM
                                  : pass(&::posix_spawn_file_actions_adddup2,
                                         "posix_spawn_file_actions_adddup2", actions, fd, newFd);
}

int pipe2(int* ends, int flags) noexcept {
  return fails("pipe2", EMFILE) ? -1 : pass(&::pipe2, "pipe2", ends, flags);
}

int mkdir(const char* path, mode_t mode) noexcept {
  return fails("mkdir", ENOSPC) ? -1 : pass(&::mkdir, "mkdir", path, mode);
}

int open(const char* path, int flags, ...) {
  std::va_list rest;
  va_start(rest, flags);
  const auto mode = va_arg(rest, mode_t);
  va_end(rest);
  return fails("open", EMFILE) ? -1 : pass(&::open, "open", path, flags, mode);
}

void* mmap(void* address, std::size_t size, int protection, int flags, int fd,
           off_t offset) noexcept {
  return fails("mmap", ENOMEM)
             ? MAP_FAILED
             : pass(&::mmap, "mmap", address, size, protection, flags, fd, offset);
}

void* mremap(void* address, std::size_t size, std::size_t newSize, int flags, ...) noexcept {
  return fails("mremap", ENOMEM) ? MAP_FAILED
                                 : pass(&::mremap, "mremap", address, size, newSize, flags);
}

int getentropy(void* buffer, std::size_t size) {
  return fails("getentropy", EIO) ? -1 : pass(&::getentropy, "getentropy", buffer, size);
}

}  // extern "C"
