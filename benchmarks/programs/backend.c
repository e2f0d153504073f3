// A backend for the benchmarks. It writes "ready", then executes commands, one per line:
//   generate BYTES CHUNK  writes that many bytes, in writes of CHUNK bytes;
//   swallow BYTES         reads that many bytes after the command, then writes "done";
//   stamp                 reads all further input, and writes the time every millisecond;
//   echo                  writes back all further input.
#include <stdalign.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

static alignas(4096) char input[64 << 10];
static alignas(4096) char output[1 << 20];
static size_t held;  // bytes at the front of the input that are not yet used

static int writeAll(const char* bytes, size_t size) {
  while (size > 0) {
    const ssize_t step = write(STDOUT_FILENO, bytes, size);
    if (step < 0) {
      return 0;
    }
    bytes += step;
    size -= (size_t)step;
  }
  return 1;
}

static int readMore(void) {
  const ssize_t count = read(STDIN_FILENO, input + held, sizeof input - held);
  if (count <= 0) {
    return 0;
  }
  held += (size_t)count;
  return 1;
}

static void drop(size_t count) {
  held -= count;
  memmove(input, input + count, held);
}

static int generate(size_t bytes, size_t chunk) {
  memset(output, 'e', chunk);
  output[chunk - 1] = '\n';
  for (; bytes >= chunk; bytes -= chunk) {
    if (!writeAll(output, chunk)) {
      return 0;
    }
  }
  return writeAll(output, bytes);
}

// The steady clock, in nanoseconds.
static long long now(void) {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * 1000000000LL + time.tv_nsec;
}

static int stampWhenDue(void) {
  static long long last;
  const long long time = now();
  if (time - last < 1000000) {
    return 1;
  }
  last = time;
  char line[32];
  return writeAll(line, (size_t)snprintf(line, sizeof line, "%lld\n", time));
}

static int swallow(size_t bytes) {
  while (held < bytes) {
    bytes -= held;
    held = 0;
    if (!readMore()) {
      return 0;
    }
  }
  drop(bytes);
  return writeAll("done\n", 5);
}

static int stamp(void) {
  for (held = 0; readMore(); held = 0) {
    if (!stampWhenDue()) {
      return 0;
    }
  }
  return 1;
}

static int echo(void) {
  do {
    if (!writeAll(input, held)) {
      return 0;
    }
    held = 0;
  } while (readMore());
  return 1;
}

static int obey(const char* order) {
  size_t bytes = 0;
  size_t chunk = 0;
  if (sscanf(order, "generate %zu %zu", &bytes, &chunk) == 2 && chunk - 1 < sizeof output) {
    return generate(bytes, chunk);
  }
  if (sscanf(order, "swallow %zu", &bytes) == 1) {
    return swallow(bytes);
  }
  if (strcmp(order, "stamp") == 0) {
    return stamp();
  }
  return strcmp(order, "echo") == 0 && echo();
}

int main(void) {
  if (!writeAll("ready\n", 6)) {
    return 1;
  }
  while (readMore()) {
    const char* end = NULL;
    while ((end = memchr(input, '\n', held)) != NULL) {
      char order[80] = "";
      const size_t length = (size_t)(end - input);
      memcpy(order, input, length < sizeof order ? length : sizeof order - 1);
      drop(length + 1);
      if (!obey(order)) {
        return 1;
      }
    }
  }
  return 0;
}
