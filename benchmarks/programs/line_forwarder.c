// The minimum for forwarding lines: writes each line unchanged with one write.
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { pageSize = 4096, firstCapacity = 128 << 10 };

struct Buffer {
  char* data;
  size_t capacity;
  size_t begin;     // of the bytes not yet forwarded
  size_t searched;  // up to here they hold no line feed
  size_t end;
};

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

static int forwardLines(struct Buffer* buffer) {
  const char* lineFeed = NULL;
  while ((lineFeed = memchr(buffer->data + buffer->searched, '\n',
                            buffer->end - buffer->searched)) != NULL) {
    const size_t next = (size_t)(lineFeed - buffer->data) + 1;
    if (!writeAll(buffer->data + buffer->begin, next - buffer->begin)) {
      return 0;
    }
    buffer->begin = buffer->searched = next;
  }
  buffer->searched = buffer->end;
  return 1;
}

static void makeRoom(struct Buffer* buffer) {
  const size_t held = buffer->end - buffer->begin;
  memmove(buffer->data, buffer->data + buffer->begin, held);
  buffer->begin = 0;
  buffer->searched = buffer->end = held;
  if (held == buffer->capacity) {
    char* larger = aligned_alloc(pageSize, 2 * buffer->capacity);
    if (larger == NULL) {
      exit(1);
    }
    memcpy(larger, buffer->data, held);
    free(buffer->data);
    buffer->data = larger;
    buffer->capacity *= 2;
  }
}

int main(void) {
  struct Buffer buffer = {.data = aligned_alloc(pageSize, firstCapacity),
                          .capacity = firstCapacity};
  while (buffer.data != NULL) {
    makeRoom(&buffer);
    const ssize_t count =
        read(STDIN_FILENO, buffer.data + buffer.end, buffer.capacity - buffer.end);
    if (count <= 0) {
      return count < 0;
    }
    buffer.end += (size_t)count;
    if (!forwardLines(&buffer)) {
      return 1;
    }
  }
  return 1;
}
