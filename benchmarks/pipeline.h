#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/fd.h"

namespace ferncrest::benchmarks {

using Command = std::vector<std::string>;

/// Processes joined by pipes, with this program at both ends. One thread may write while another
/// reads. On any failure the program prints the reason and exits with status 1.
class Pipeline {
 public:
  explicit Pipeline(const std::vector<Command>& stages);

  void write(std::string_view bytes) const;
  /// The next bytes from the last stage, valid until the next call; empty at the end of its output.
  std::string_view read();
  /// The next line without its line feed. It reads ahead, so do not mix it with the other reads.
  std::string readLine();
  /// Reads exactly this many lines, or bytes; more than that is a failure too.
  void awaitLines(std::size_t count);
  void awaitBytes(std::size_t count);

  /// The process of a stage, counted from 0.
  [[nodiscard]] pid_t process(std::size_t stage) const { return processes_.at(stage); }

  void closeInput() { input_.reset(); }
  /// Waits until all processes have exited; returns the processor seconds that they used in total.
  double awaitEnd();

 private:
  Fd input_;           // of the first stage
  Fd output_;          // of the last stage
  std::string ahead_;  // read, but not yet returned by readLine
  std::vector<pid_t> processes_;
};

/// Writes the reason to standard error and ends the program with status 1.
[[noreturn]] void fail(const std::string& reason);

}  // namespace ferncrest::benchmarks
