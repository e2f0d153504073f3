// The minimum for a relay between host and backend: starts the program in its arguments and copies
// in both directions, with one thread for each.
#include <pthread.h>
#include <spawn.h>
#include <stddef.h>
#include <stdio.h>
#include <unistd.h>

extern char** environ;

enum { chunkSize = 64 << 10 };

struct Way {
  int from;
  int to;
};

static void* copy(void* argument) {
  static _Thread_local char buffer[chunkSize];
  const struct Way* way = argument;
  ssize_t count = 0;
  while ((count = read(way->from, buffer, sizeof buffer)) > 0) {
    for (ssize_t written = 0; written < count;) {
      const ssize_t step = write(way->to, buffer + written, (size_t)(count - written));
      if (step < 0) {
        return NULL;
      }
      written += step;
    }
  }
  return NULL;
}

static int start(char** command, const int input[2], const int output[2]) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  for (int end = 0; end < 2; ++end) {
    posix_spawn_file_actions_addclose(&actions, input[end]);
    posix_spawn_file_actions_addclose(&actions, output[end]);
  }
  pid_t process = 0;
  return posix_spawn(&process, command[0], &actions, NULL, command, environ);
}

int main(int argumentCount, char** arguments) {
  int input[2];
  int output[2];
  if (argumentCount < 2 || pipe(input) != 0 || pipe(output) != 0 ||
      start(arguments + 1, input, output) != 0) {
    perror("duplex_relay");
    return 1;
  }
  close(input[0]);
  close(output[1]);
  struct Way toHost = {output[0], STDOUT_FILENO};
  struct Way toBackend = {STDIN_FILENO, input[1]};
  pthread_t thread;
  if (pthread_create(&thread, NULL, copy, &toHost) != 0) {
    return 1;
  }
  copy(&toBackend);
  close(input[1]);
  return pthread_join(thread, NULL);
}
