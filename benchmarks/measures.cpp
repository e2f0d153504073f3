#include "benchmarks/measures.h"

#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

#include "benchmarks/process_usage.h"

namespace ferncrest::benchmarks {

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Nanoseconds on the clock that the backend writes into its events; steady_clock may be another.
double backendsClock() {
  timespec time{};
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

// Measures elapsed time and processor time from its construction to finish().
class Watch {
 public:
  explicit Watch(pid_t process)
      : process_(process), before_(usageOf(process)), start_(Clock::now()) {}

  [[nodiscard]] Result finish() const {
    const double seconds = secondsSince(start_);
    const ProcessUsage after = usageOf(process_);
    return {.seconds = seconds,
            .processorSeconds = after.processorSeconds - before_.processorSeconds,
            .peakKibibytes = after.peakKibibytes};
  }

 private:
  pid_t process_;
  ProcessUsage before_;
  Clock::time_point start_;
};

// The line repeated, so that most writes have the full block size.
std::string repeatedLine(const std::string& line, std::size_t most) {
  constexpr std::size_t enough = std::size_t{1} << 20U;
  const std::size_t copies = std::clamp<std::size_t>(enough / line.size(), 1, most);
  std::string text;
  text.reserve(copies * line.size());
  for (std::size_t copy = 0; copy < copies; ++copy) {
    text += line;
  }
  return text;
}

void writeBlocks(const Pipeline& pipeline, std::string_view text, std::size_t block) {
  for (; !text.empty(); text.remove_prefix(std::min(text.size(), block))) {
    pipeline.write(text.substr(0, block));
  }
}

void writeLines(const Pipeline& pipeline, const Plan& plan, std::string_view repeated) {
  for (std::size_t left = plan.lines * plan.line.size(); left > 0;) {
    const std::string_view text = repeated.substr(0, left);
    writeBlocks(pipeline, text, plan.block);
    left -= text.size();
  }
}

// Closes the pipeline and returns the result.
Result ended(Pipeline& pipeline, const Result& result) {
  pipeline.closeInput();
  while (!pipeline.read().empty()) {
  }
  pipeline.awaitEnd();
  return result;
}

Result medianOf(std::vector<Result> results) {
  std::ranges::sort(results, {}, &Result::seconds);
  return results[results.size() / 2];
}

}  // namespace

Result receive(const Plan& plan) {
  Pipeline pipeline(plan.stages);
  pipeline.awaitLines(plan.greeting);
  pipeline.write("generate 1 1\n");
  pipeline.awaitBytes(1);
  const Watch watch(pipeline.process(plan.watched));
  pipeline.write("generate " + std::to_string(plan.bytes) + ' ' + std::to_string(plan.block) +
                 '\n');
  pipeline.awaitBytes(plan.bytes);
  return ended(pipeline, watch.finish());
}

Result send(const Plan& plan) {
  Pipeline pipeline(plan.stages);
  const std::string repeated = repeatedLine(plan.line, plan.lines);
  pipeline.awaitLines(plan.greeting);
  pipeline.write("swallow 2\nx\n");
  pipeline.awaitLines(1);
  const Watch watch(pipeline.process(plan.watched));
  pipeline.write("swallow " + std::to_string(plan.lines * plan.line.size()) + '\n');
  writeLines(pipeline, plan, repeated);
  pipeline.awaitLines(1);
  const Result result = watch.finish();
  // Fails if the program in between has added bytes: they would be read as part of this order.
  pipeline.write("swallow 0\n");
  pipeline.awaitLines(1);
  return ended(pipeline, result);
}

Result answerInBulk(const Plan& plan) {
  Pipeline pipeline(plan.stages);
  const std::string repeated = repeatedLine(plan.line, plan.lines);
  pipeline.awaitLines(plan.greeting);
  pipeline.write(plan.order);
  const Watch watch(pipeline.process(plan.watched));
  std::thread writer([&] { writeLines(pipeline, plan, repeated); });
  pipeline.awaitLines(plan.lines * plan.answers);
  writer.join();
  return ended(pipeline, watch.finish());
}

Result eventsInFlood(const Plan& plan) {
  Pipeline pipeline(plan.stages);
  const std::string repeated = repeatedLine(plan.line, SIZE_MAX);
  pipeline.awaitLines(plan.greeting);
  pipeline.write("stamp\n");
  std::atomic<bool> enough = false;
  std::thread writer([&] {
    while (!enough) {
      writeBlocks(pipeline, repeated, plan.block);
    }
  });
  std::vector<double> ways;
  while (ways.size() < plan.events) {
    const double sent = std::stod(pipeline.readLine());
    ways.push_back(backendsClock() - sent);
  }
  enough = true;
  writer.join();
  std::ranges::sort(ways);
  return ended(pipeline, {.seconds = ways.at((ways.size() - 1) * plan.percent / 100) / 1e9});
}

Result exchange(const Plan& plan) {
  Pipeline pipeline(plan.stages);
  pipeline.awaitLines(plan.greeting);
  pipeline.write(plan.order);
  const Watch watch(pipeline.process(plan.watched));
  for (std::size_t line = 0; line < plan.lines; ++line) {
    writeBlocks(pipeline, plan.line, plan.block);
    pipeline.awaitLines(plan.answers);
  }
  return ended(pipeline, watch.finish());
}

Result startToFirstByte(const Plan& plan) {
  std::vector<Result> results;
  for (std::size_t run = 0; run < plan.runs; ++run) {
    const auto start = Clock::now();
    Pipeline pipeline(plan.stages);
    if (const auto bytes = pipeline.read(); bytes.empty() || !bytes.starts_with(plan.first)) {
      fail("the output does not begin as expected");
    }
    const double seconds = secondsSince(start);
    pipeline.closeInput();
    results.push_back({.seconds = seconds, .processorSeconds = pipeline.awaitEnd()});
  }
  return medianOf(std::move(results));
}

Result startToEnd(const Plan& plan) {
  std::vector<Result> results;
  for (std::size_t run = 0; run < plan.runs; ++run) {
    const auto start = Clock::now();
    Pipeline pipeline(plan.stages);
    pipeline.closeInput();
    const double processorSeconds = pipeline.awaitEnd();
    results.push_back({.seconds = secondsSince(start), .processorSeconds = processorSeconds});
  }
  return medianOf(std::move(results));
}

Result noise() {
  constexpr int pieces = 300;
  constexpr int stepsInPiece = 400'000;
  std::vector<double> times;
  for (int piece = 0; piece < pieces; ++piece) {
    const auto start = Clock::now();
    volatile int steps = 0;
    while (steps < stepsInPiece) {
      steps = steps + 1;
    }
    times.push_back(secondsSince(start));
  }
  std::ranges::sort(times);
  return {.seconds = times[times.size() * 95 / 100] - times.front()};
}

}  // namespace ferncrest::benchmarks
