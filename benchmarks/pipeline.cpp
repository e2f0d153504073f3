#include "benchmarks/pipeline.h"

#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <utility>

#include "platform/io.h"
#include "platform/process.h"

namespace ferncrest::benchmarks {

namespace {

Pipe newPipe() {
  auto pipe = makePipe();
  if (!pipe) {
    fail("cannot create a pipe: " + pipe.error().description);
  }
  return std::move(*pipe);
}

pid_t start(const Command& command, const Fd& input, const Fd& output) {
  const auto process = spawnChild({.executable = command.at(0),
                                   .arguments = {command.begin() + 1, command.end()},
                                   .environment = readEnvironment(),
                                   .searchesPath = true},
                                  {.input = input.get(), .output = output.get()});
  if (!process) {
    fail(command[0] + ": " + process.error().description);
  }
  return *process;
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

void fail(const std::string& reason) {
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
    fail("cannot write the input: " + written.error().description);
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
      fail("the output ends early");
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
      fail(bytes.empty() ? "the output ends early" : "more lines than awaited");
    }
    count -= lines;
  }
}

void Pipeline::awaitBytes(std::size_t count) {
  while (count > 0) {
    const std::string_view bytes = read();
    if (bytes.empty() || bytes.size() > count) {
      fail(bytes.empty() ? "the output ends early" : "more bytes than awaited");
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
