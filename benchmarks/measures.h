#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "benchmarks/pipeline.h"

namespace ferncrest::benchmarks {

/// What to run and how much of it; each measure uses some of these.
struct Plan {
  std::vector<Command> stages;
  std::size_t watched = 0;    ///< the stage whose processor time and memory are reported
  std::size_t greeting = 0;   ///< lines to read before the measurement starts
  std::string order;          ///< a command for the backend, sent after the greeting
  std::string line;           ///< the line to send, with its line feed
  std::size_t lines = 1;      ///< how often to send it
  std::size_t answers = 1;    ///< lines that come back for each
  std::size_t bytes = 0;      ///< to receive
  std::size_t block = 65536;  ///< bytes in a write
  std::size_t runs = 1;       ///< how often to start the program
  std::size_t events = 0;     ///< to receive
  std::size_t percent = 50;   ///< which percentile to report
  std::string first;          ///< what the output must begin with
};

struct Result {
  double seconds = 0;
  double processorSeconds = 0;
  double peakKibibytes = 0;
};

/// The backend writes `bytes`, in writes of `block` bytes; until the last byte has arrived.
Result receive(const Plan& plan);
/// Sends the lines to the backend, in writes of `block` bytes; until it reports that all arrived.
Result send(const Plan& plan);
/// Sends the order, if there is one, and all lines without waiting, while reading the answers.
Result answerInBulk(const Plan& plan);
/// Sends the line to the backend without end, while the backend writes events that hold the time:
/// the percentile `percent` of how long each of the `events` took to arrive.
Result eventsInFlood(const Plan& plan);
/// Sends each line after the one before it has been answered.
Result exchange(const Plan& plan);
/// From the start of the process to its first byte of output; the median of all runs.
Result startToFirstByte(const Plan& plan);
/// From the start of the process to its exit, with empty input; the median of all runs.
Result startToEnd(const Plan& plan);
/// How much the time of equal pieces of work varies on this processor: its 95th percentile less its
/// minimum.
Result noise();

}  // namespace ferncrest::benchmarks
