#include "benchmarks/pipeline.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <span>
#include <utility>

#include "platform/io.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): macOS headers have none

namespace ferncrest::benchmarks {

namespace {

struct Pipe {
  Fd readEnd;
  Fd writeEnd;
};

Pipe newPipe() {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) {
    giveUp("cannot create a pipe: " + systemFailure(errno).description);
  }
  for (const int end : ends) {
    ::fcntl(end, F_SETFD, FD_CLOEXEC);
  }
  return {.readEnd = Fd(ends[0]), .writeEnd = Fd(ends[1])};
}

pid_t start(Command command, const Fd& input, const Fd& output) {
  std::vector<char*> arguments;
  for (std::string& argument : command) {
    arguments.push_back(argument.data());
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions{};
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, input.get(), STDIN_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, output.get(), STDOUT_FILENO);
  pid_t process = 0;
  const int failed =
      ::posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) {
    giveUp(command[0] + ": " + systemFailure(failed).description);
  }
  return process;
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

void giveUp(const std::string& reason) {
  std::cerr << "driver: " << reason << '\n';
  std::_Exit(1);
}

Pipeline::Pipeline(const std::vector<Command>& stages) {
  auto [input, inputEnd] = newPipe();
  input_ = std::move(inputEnd);
  for (const Command& stage : stages) {
    auto [output, outputEnd] = newPipe();
    processes_.push_back(start(stage, input, outputEnd));
    input = std::move(output);
  }
  output_ = std::move(input);
}

void Pipeline::write(std::string_view bytes) const {
  if (const Outcome written = writeAll(input_.get(), bytes); !written) {
    giveUp("cannot write the input: " + written.error().description);
  }
}

std::string_view Pipeline::read() {
  alignas(4096) static std::array<char, std::size_t{256} << 10U> buffer;
  const auto count = readSome(output_.get(), buffer);
  return {buffer.data(), count.value_or(0)};
}

std::string Pipeline::readLine() {
  std::size_t lineFeed = ahead_.find('\n');
  while (lineFeed == std::string::npos) {
    const std::string_view bytes = read();
    if (bytes.empty()) {
      giveUp("the output ends early");
    }
    ahead_ += bytes;
    lineFeed = ahead_.find('\n');
  }
  std::string line = ahead_.substr(0, lineFeed);
  ahead_.erase(0, lineFeed + 1);
  return line;
}

void Pipeline::awaitLines(std::size_t count) {
  while (count > 0) {
    const std::string_view bytes = read();
    const auto lines = static_cast<std::size_t>(std::ranges::count(bytes, '\n'));
    if (bytes.empty() || lines > count) {
      giveUp(bytes.empty() ? "the output ends early" : "more lines than awaited");
    }
    count -= lines;
  }
}

void Pipeline::awaitBytes(std::size_t count) {
  while (count > 0) {
    const std::string_view bytes = read();
    if (bytes.empty() || bytes.size() > count) {
      giveUp(bytes.empty() ? "the output ends early" : "more bytes than awaited");
    }
    count -= bytes.size();
  }
}

double Pipeline::awaitEnd() {
  double processorSeconds = 0;
  for (const pid_t process : processes_) {
    rusage usage{};
    while (::wait4(process, nullptr, 0, &usage) < 0 && errno == EINTR) {
    }
    processorSeconds += seconds(usage.ru_utime) + seconds(usage.ru_stime);
  }
  return processorSeconds;
}

}  // namespace ferncrest::benchmarks
