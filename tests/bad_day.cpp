#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <random>

// Loaded into the service before the system's libraries: from BAD_DAY_SEED on, calls are slow,
// interrupted and give less than was asked for; calls whose names are in BAD_DAY_REFUSES are
// refused, after the first BAD_DAY_SPARES of them, as by a sandbox or for want of something.

namespace {

// What can happen to a call.
struct Mood {
  bool transfers = false;   // is interrupted, and finds a non-blocking descriptor not ready
  bool waits = false;       // is interrupted
  std::size_t timeout = 0;  // the argument that is 0 when it does not wait after all
  std::size_t size = 0;     // the argument that says how many bytes
  int refusal = 0;
  long oneRefused = 0;        // in so many
  bool returnsError = false;  // instead of -1
};

using Arguments = std::array<long, 6>;

const char* setting(const char* name) {
  const char* const value = ::getenv(name);
  return value == nullptr ? "" : value;
}

const int seed = std::atoi(setting("BAD_DAY_SEED"));
const int forBackend = ::unsetenv("LD_PRELOAD");  // which has a good day
int spared = std::atoi(setting("BAD_DAY_SPARES"));
std::mt19937 dice(static_cast<unsigned>(seed));

long draw(long bound) {
  return static_cast<long>(dice()) % bound;
}

bool happens(long oneIn) {
  return seed != 0 && oneIn != 0 && draw(oneIn) == 0;
}

// 0, or the errno value with which the call fails.
int faultOf(const char* name, const Mood& mood, const Arguments& arguments) {
  const bool waits = mood.timeout == 0 || static_cast<int>(arguments[mood.timeout]) != 0;
  if ((mood.transfers || mood.waits) && waits && happens(6)) {
    return EINTR;
  }
  if (mood.transfers && happens(6) &&
      (::fcntl(static_cast<int>(arguments[0]), F_GETFL) & O_NONBLOCK) != 0) {
    return EAGAIN;
  }
  const bool isNamed =
      mood.refusal != 0 && std::strstr(setting("BAD_DAY_REFUSES"), name) != nullptr;
  return (isNamed && --spared < 0) || happens(mood.oneRefused) ? mood.refusal : 0;
}

long call(const char* name, const Mood& mood, Arguments arguments) {
  if (happens(8)) {
    ::usleep(static_cast<useconds_t>(draw(3000)));
  }
  if (const int fault = faultOf(name, mood, arguments); fault != 0) {
    errno = fault;
    return mood.returnsError ? fault : -1;
  }
  long& size = arguments[mood.size];
  if (mood.size != 0 && size > 1 && happens(3)) {
    size = 1 + draw(size);
  }
  const auto [a, b, c, d, e, f] = arguments;
  return reinterpret_cast<decltype(&::syscall)>(::dlsym(RTLD_NEXT, name))(a, b, c, d, e, f);
}

}  // namespace

// Stands in front of the system's function of this name. All those below take up to six arguments
// in registers, whatever their types are.
#define INTERCEPT(name, ...)                                                             \
  extern "C" long bad_##name(long a, long b, long c, long d, long e, long f) asm(#name); \
  long bad_##name(long a, long b, long c, long d, long e, long f) {                      \
    return call(#name, {__VA_ARGS__}, {a, b, c, d, e, f});                               \
  }

INTERCEPT(read, .transfers = true, .size = 2)
INTERCEPT(write, .transfers = true, .size = 2)
INTERCEPT(preadv2, .transfers = true, .refusal = EPERM, .oneRefused = 4)  // without waiting
INTERCEPT(splice, .waits = true, .size = 4, .refusal = EINVAL, .oneRefused = 30)
INTERCEPT(poll, .waits = true, .timeout = 2)
INTERCEPT(waitpid, .waits = true)
INTERCEPT(ioctl, .refusal = EPERM, .oneRefused = 4)
INTERCEPT(syscall, .refusal = EPERM, .oneRefused = 3)  // pidfd_open
INTERCEPT(open, .refusal = EMFILE)
INTERCEPT(pipe2, .refusal = EMFILE)
INTERCEPT(mkdir, .refusal = ENOSPC)
INTERCEPT(mmap, .refusal = ENOMEM)
INTERCEPT(mremap, .refusal = ENOMEM)
INTERCEPT(getentropy, .refusal = EIO)
INTERCEPT(posix_spawn_file_actions_adddup2, .refusal = ENOMEM, .returnsError = true)
INTERCEPT(posix_spawn, .refusal = EAGAIN, .returnsError = true)
