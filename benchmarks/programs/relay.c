// The minimum for a relay that copies, and for an echo: writes what it reads.
#include <stdalign.h>
#include <stddef.h>
#include <unistd.h>

int main(void) {
  static alignas(4096) char buffer[64 << 10];
  for (;;) {
    const ssize_t count = read(STDIN_FILENO, buffer, sizeof buffer);
    if (count <= 0) {
      return count < 0;
    }
    for (ssize_t written = 0; written < count;) {
      const ssize_t step = write(STDOUT_FILENO, buffer + written, (size_t)(count - written));
      if (step < 0) {
        return 1;
      }
      written += step;
    }
  }
}
