#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "benchmarks/pipeline.h"

namespace ferncrest::benchmarks {

/// What is run and how much of it; each measure uses its part of this.
struct Plan {
  std::vector<Command> stages;
  std::size_t watched = 0;    ///< the stage whose processor time and memory are reported
  std::size_t greeting = 0;   ///< lines that come by themselves before the measure starts
  std::string order;          ///< a line for the backend behind the greeting
  std::string line;           ///< what is sent, with its line feed
  std::size_t lines = 1;      ///< how often it is sent
  std::size_t answers = 1;    ///< lines that come back for each
  std::size_t bytes = 0;      ///< to receive
  std::size_t block = 65536;  ///< bytes in a write
  std::size_t runs = 1;       ///< of a start
  std::string first;          ///< what the output must begin with
};

struct Result {
  double seconds = 0;
  double processorSeconds = 0;
  double peakKibibytes = 0;
};

/// The backend writes `bytes`, `block` of them a write; ends with the last byte's arrival.
Result receive(const Plan& plan);
/// The lines go to the backend, `block` bytes a write; ends when it says that it has them all.
Result send(const Plan& plan);
/// The lines are sent in bulk, behind the order if there is one, while their answers are read.
Result answerInBulk(const Plan& plan);
/// The lines go to the backend, which stamps events meanwhile: how long an event is on its way, in
/// the median.
Result eventsInFlood(const Plan& plan);
/// Each line is sent when the one before it is answered.
Result exchange(const Plan& plan);
/// From the start of the process to its first byte; the median of all runs.
Result startToFirstByte(const Plan& plan);
/// From the start of the process to its end with an empty input; the median of all runs.
Result startToEnd(const Plan& plan);
/// How unsteady this processor is: the time lost in the worst of many equal pieces of work.
Result noise();

}  // namespace ferncrest::benchmarks
