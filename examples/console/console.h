#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "examples/console/commands.h"
#include "examples/console/event_line.h"
#include "examples/console/line_editor.h"
#include "examples/console/service_process.h"
#include "platform/failure.h"
#include "protocol/line_buffer.h"

namespace ferncrest {

/// How a console ended.
struct ConsoleEnd {
  int signal = 0;                       ///< the signal that asked it to end, or 0
  bool wasAsked = false;                ///< by the user, a signal or the end of the commands
  bool commandsFailed = false;          ///< a command was not valid
  std::optional<Failure> outputFailed;  ///< why events could not be shown any more
};

/// Passes commands from a terminal or a pipe to a running service, and shows its events.
class Console {
 public:
  /// `signals` is the descriptor from openSignalPipe.
  Console(ServiceProcess& service, int signals, std::string_view platform);

  /// Shows events and sends commands until the service has closed its streams, or has been silent
  /// for 5 seconds after it was asked to end.
  ConsoleEnd run();

 private:
  bool step();
  [[nodiscard]] bool takesCommands() const;
  [[nodiscard]] bool hasRequests() const { return sent_ < requests_.size(); }
  bool handleSignals();
  void readCommands();
  void carryOut(const std::string& line);
  void perform(const BridgeEnvelope& request);
  void perform(const RawLine& line);
  void perform(ShowHelp help);
  void perform(Quit quit);
  void sendRequests();
  void readEvents();
  void readDiagnostics();
  void askToEnd();
  void show(const std::string& lines);

  ServiceProcess& service_;
  int signals_;
  std::string platform_;
  TextStyle style_;
  std::optional<LineEditor> editor_;  // only at a terminal
  LineBuffer commands_;
  LineBuffer events_;
  LineBuffer diagnostics_;
  std::string requests_;  // not yet written to the service
  std::size_t sent_ = 0;  // bytes at the front of requests_ that have been written
  ConsoleEnd end_;
};

}  // namespace ferncrest
