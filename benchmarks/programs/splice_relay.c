// The minimum for a relay between two pipes: splice moves pages without copying them.
#define _GNU_SOURCE
#include <fcntl.h>
#include <stddef.h>
#include <unistd.h>

int main(void) {
  ssize_t count = 0;
  do {
    count = splice(STDIN_FILENO, NULL, STDOUT_FILENO, NULL, (size_t)1 << 20, SPLICE_F_MOVE);
  } while (count > 0);
  return count < 0;
}
