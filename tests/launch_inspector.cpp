#include <fcntl.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

// A backend that tells what it was started with: its arguments, and everything that a clean start
// does not have.
int main(int argumentCount, char** arguments) {
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
