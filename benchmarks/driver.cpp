// Measures one program, or several joined by pipes, and prints three numbers: the elapsed seconds,
// the processor seconds that the watched process used, and its peak memory in KiB.
//   driver MEASURE [--OPTION VALUE]... -- COMMAND [ARGUMENT]... ['|' COMMAND [ARGUMENT]...]...

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <span>
#include <string>

#include "benchmarks/measures.h"

namespace ferncrest::benchmarks {

namespace {

constexpr unsigned deadlineSeconds = 60;

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    fail("cannot read " + path);
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

void applyOption(Plan& plan, const std::string& name, const std::string& value) {
  const std::map<std::string, std::size_t*> numbers = {
      {"--watch", &plan.watched},   {"--greeting", &plan.greeting}, {"--lines", &plan.lines},
      {"--answers", &plan.answers}, {"--bytes", &plan.bytes},       {"--block", &plan.block},
      {"--runs", &plan.runs},       {"--events", &plan.events},     {"--percent", &plan.percent}};
  if (const auto number = numbers.find(name); number != numbers.end()) {
    *number->second = std::stoull(value);
  } else if (name == "--line") {
    plan.line = contentOf(value);
  } else if (name == "--order") {
    plan.order = value + '\n';
  } else if (name == "--first") {
    plan.first = value;
  } else {
    fail("unknown option " + name);
  }
}

Plan planFrom(std::span<char*> arguments) {
  Plan plan;
  std::size_t index = 0;
  for (; index + 1 < arguments.size() && std::string(arguments[index]) != "--"; index += 2) {
    applyOption(plan, arguments[index], arguments[index + 1]);
  }
  plan.stages.emplace_back();
  for (++index; index < arguments.size(); ++index) {
    if (const std::string word = arguments[index]; word == "|") {
      plan.stages.emplace_back();
    } else {
      plan.stages.back().push_back(word);
    }
  }
  return plan;
}

int runDriver(std::span<char*> arguments) {
  const std::map<std::string, std::function<Result(const Plan&)>> measures = {
      {"receive", receive},         {"send", send},
      {"answer", answerInBulk},     {"events-in-flood", eventsInFlood},
      {"exchange", exchange},       {"start-to-first-byte", startToFirstByte},
      {"start-to-end", startToEnd}, {"noise", [](const Plan&) { return noise(); }}};
  const auto measure = arguments.empty() ? measures.end() : measures.find(arguments[0]);
  if (measure == measures.end()) {
    fail("the first argument has to be a measure");
  }
  // The time limit: if the measured program never answers, SIGALRM ends this one, which closes the
  // other's input.
  ::alarm(deadlineSeconds);
  const Result result = measure->second(planFrom(arguments.subspan(1)));
  std::printf("%.9f %.9f %.0f\n", result.seconds, result.processorSeconds, result.peakKibibytes);
  return EXIT_SUCCESS;
}

}  // namespace

}  // namespace ferncrest::benchmarks

int main(int argumentCount, char** arguments) {
  try {
    return ferncrest::benchmarks::runDriver(
        {arguments + 1, static_cast<std::size_t>(argumentCount > 0 ? argumentCount - 1 : 0)});
  } catch (const std::exception& exception) {
    ferncrest::benchmarks::fail(exception.what());
  }
}
