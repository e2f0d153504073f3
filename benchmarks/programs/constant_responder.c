// The minimum for answering lines: finds line feeds and answers each line with the same envelopes,
// which are the program's arguments, one write for each.
#include <stdalign.h>
#include <stddef.h>
#include <string.h>
#include <unistd.h>

static const char greeting[] =
    "{\"hello\":{\"_0\":{\"bridgeVersion\":\"managed-process-3\",\"platform\":\"whatsapp\"}}}\n";
static const char state[] = "{\"stateChanged\":{\"_0\":{\"state\":{\"disconnected\":{}}}}}\n";

struct Answers {
  char** texts;  // each ends with a line feed
  size_t sizes[8];
  int count;
};

static int answer(const struct Answers* answers) {
  for (int index = 0; index < answers->count; ++index) {
    if (write(STDOUT_FILENO, answers->texts[index], answers->sizes[index]) < 0) {
      return 0;
    }
  }
  return 1;
}

static int answerLines(const struct Answers* answers, const char* begin, const char* end) {
  const char* lineFeed = NULL;
  while ((lineFeed = memchr(begin, '\n', (size_t)(end - begin))) != NULL) {
    if (!answer(answers)) {
      return 0;
    }
    begin = lineFeed + 1;
  }
  return 1;
}

int main(int argumentCount, char** arguments) {
  static alignas(4096) char buffer[128 << 10];
  struct Answers answers = {.texts = arguments + 1, .count = argumentCount - 1};
  if (answers.count > 8) {
    return 2;
  }
  for (int index = 0; index < answers.count; ++index) {
    answers.sizes[index] = strlen(answers.texts[index]);
  }
  if (write(STDOUT_FILENO, greeting, sizeof greeting - 1) < 0 ||
      write(STDOUT_FILENO, state, sizeof state - 1) < 0) {
    return 1;
  }
  for (;;) {
    const ssize_t count = read(STDIN_FILENO, buffer, sizeof buffer);
    if (count <= 0) {
      return count < 0;
    }
    if (!answerLines(&answers, buffer, buffer + count)) {
      return 1;
    }
  }
}
