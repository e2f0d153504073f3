#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <random>

// Loaded into the service before the system's libraries. If FAULT_SEED is not 0, calls are slowed,
// interrupted and shortened at random, from that seed on. Calls that FAULT_CALLS names fail, after
// the first FAULT_SPARED of them.

namespace {

// The faults that a call can have.
struct Faults {
  bool transfers = false;     // is interrupted, and finds a non-blocking descriptor not ready
  bool waits = false;         // is interrupted
  std::size_t timeout = 0;    // the argument that is 0 when it does not wait after all
  std::size_t size = 0;       // the argument that says how many bytes
  int error = 0;              // with which it fails
  long oneFails = 0;          // in so many
  bool returnsError = false;  // instead of -1
};

using Arguments = std::array<long, 6>;

const char* setting(const char* name) {
  const char* const value = ::getenv(name);
  return value == nullptr ? "" : value;
}

const int seed = std::atoi(setting("FAULT_SEED"));
const int forBackend = ::unsetenv("LD_PRELOAD");  // without faults
int spared = std::atoi(setting("FAULT_SPARED"));
std::mt19937 generator(static_cast<unsigned>(seed));

long draw(long bound) {
  return static_cast<long>(generator()) % bound;
}

bool happens(long oneIn) {
  return seed != 0 && oneIn != 0 && draw(oneIn) == 0;
}

// 0, or the errno value with which the call fails.
int faultOf(const char* name, const Faults& faults, const Arguments& arguments) {
  const bool waits = faults.timeout == 0 || static_cast<int>(arguments[faults.timeout]) != 0;
  if ((faults.transfers || faults.waits) && waits && happens(6)) {
    return EINTR;
  }
  if (faults.transfers && happens(6) &&
      (::fcntl(static_cast<int>(arguments[0]), F_GETFL) & O_NONBLOCK) != 0) {
    return EAGAIN;
  }
  const bool isNamed = faults.error != 0 && std::strstr(setting("FAULT_CALLS"), name) != nullptr;
  return (isNamed && --spared < 0) || happens(faults.oneFails) ? faults.error : 0;
}

long call(const char* name, const Faults& faults, Arguments arguments) {
  if (happens(8)) {
    ::usleep(static_cast<useconds_t>(draw(3000)));
  }
  if (const int fault = faultOf(name, faults, arguments); fault != 0) {
    errno = fault;
    return faults.returnsError ? fault : -1;
  }
  long& size = arguments[faults.size];
  if (faults.size != 0 && size > 1 && happens(3)) {
    size = 1 + draw(size);
  }
  const auto [a, b, c, d, e, f] = arguments;
  return reinterpret_cast<decltype(&::syscall)>(::dlsym(RTLD_NEXT, name))(a, b, c, d, e, f);
}

}  // namespace

// Stands in front of the system's function of this name. All those below take up to six arguments
// in registers, whatever their types are.
#define INTERCEPT(name, ...)                                                                \
  extern "C" long faulty_##name(long a, long b, long c, long d, long e, long f) asm(#name); \
  long faulty_##name(long a, long b, long c, long d, long e, long f) {                      \
    return call(#name, {__VA_ARGS__}, {a, b, c, d, e, f});                                  \
  }

INTERCEPT(read, .transfers = true, .size = 2)
INTERCEPT(write, .transfers = true, .size = 2)
INTERCEPT(preadv2, .transfers = true, .error = EPERM, .oneFails = 4)  // without waiting
INTERCEPT(splice, .waits = true, .size = 4, .error = EINVAL, .oneFails = 30)
INTERCEPT(poll, .waits = true, .timeout = 2)
INTERCEPT(waitpid, .waits = true)
INTERCEPT(ioctl, .error = EPERM, .oneFails = 4)
INTERCEPT(syscall, .error = EPERM, .oneFails = 3)  // pidfd_open
INTERCEPT(open, .error = EMFILE)
INTERCEPT(pipe2, .error = EMFILE)
INTERCEPT(mkdir, .error = ENOSPC)
INTERCEPT(mmap, .error = ENOMEM)
INTERCEPT(mremap, .error = ENOMEM)
INTERCEPT(getentropy, .error = EIO)
INTERCEPT(posix_spawn_file_actions_adddup2, .error = ENOMEM, .returnsError = true)
INTERCEPT(posix_spawn, .error = EAGAIN, .returnsError = true)
