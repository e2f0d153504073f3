#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

// Writes so many bytes to standard output, a pipe that is made as large as it can be.
static int fill(std::size_t count) {
#ifdef F_SETPIPE_SZ
  fcntl(1, F_SETPIPE_SZ, 1 << 20);
#endif
  const std::string bytes(count, 'x');
  return write(1, bytes.data(), count) == static_cast<ssize_t>(count) ? 0 : 1;
}

// A backend that tells what it was started with: its arguments, and everything that a clean start
// does not have.
int main(int argumentCount, char** arguments) {
  if (argumentCount == 3 && std::string(arguments[1]) == "fill") {
    return fill(std::stoul(arguments[2]));
  }
  std::printf("arguments:");
  for (int index = 1; index < argumentCount; ++index) {
    std::printf(" %s", arguments[index]);
  }
  std::printf("\nplatform: %s\n", std::getenv("FERNCREST_MANAGED_BRIDGE_PLATFORM"));
  sigset_t blocked;
  sigprocmask(SIG_BLOCK, nullptr, &blocked);
  for (int signal = 1; signal < 32; ++signal) {
    struct sigaction action{};
    if (sigismember(&blocked, signal) == 1) {
      std::printf("blocked: %d\n", signal);
    }
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_DFL) {
      std::printf("not at its default: %d\n", signal);
    }
  }
  for (int fd = 3; fd < 64; ++fd) {
    if (fcntl(fd, F_GETFD) >= 0) {
      std::printf("open: %d\n", fd);
    }
  }
  return 8;
}
