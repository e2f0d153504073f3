#include "examples/console/console.h"

#include <langinfo.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <utility>
#include <variant>

#include "examples/console/signal_pipe.h"
#include "platform/fd.h"
#include "platform/io.h"
#include "platform/process.h"
#include "protocol/coding.h"
#include "text/utf8.h"

namespace ferncrest {

namespace {

constexpr int patience = 5000;  // milliseconds without output until an ending service is killed
constexpr std::size_t backlog = std::size_t{1} << 20U;  // unsent bytes at which commands wait

bool isEditable(const Environment& environment) {
  const std::string_view terminal = valueOf(environment, "TERM");
  return ::isatty(standardInput) == 1 && ::isatty(standardOutput) == 1 && !terminal.empty() &&
         terminal != "dumb";
}

TextStyle styleOfOutput(const Environment& environment) {
  const bool isTerminal = ::isatty(standardOutput) == 1;
  const std::string_view codeset =
      ::nl_langinfo(CODESET);  // NOLINT(concurrency-mt-unsafe): one thread
  return {.colour = isTerminal && valueOf(environment, "NO_COLOR").empty() &&
                    valueOf(environment, "TERM") != "dumb",
          .unicode = !isTerminal || codeset == "UTF-8"};
}

std::string timeOfDay() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  std::array<char, 16> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%H:%M:%S", &local)};
}

// Reads what is there; false at the end of the stream.
bool readInto(LineBuffer& lines, int fd) {
  lines.add(readSome(fd, lines.room()).value_or(0));
  return !lines.hasEnded();
}

}  // namespace

Console::Console(ServiceProcess& service, int signals, std::string_view platform)
    : service_(service), signals_(signals), platform_(repairedUtf8(platform)) {
  const Environment environment = readEnvironment();
  style_ = styleOfOutput(environment);
  if (isEditable(environment)) {
    editor_.emplace(escaped(platform_, style_) + "> ");
    show("Type help for the commands; quit or Ctrl-D ends.\n");
    if (!style_.unicode) {
      show("Only ASCII can be typed: the locale is not UTF-8.\n");
    }
  }
}

ConsoleEnd Console::run() {
  while (service_.events.isOpen() || service_.diagnostics.isOpen()) {
    if (!step()) {
      break;
    }
  }
  editor_.reset();
  return end_;
}

// Waits once and handles what is ready; false when there is nothing more to wait for.
bool Console::step() {
  const int commands = takesCommands() ? standardInput : -1;
  const int requests = hasRequests() ? service_.requests.get() : -1;
  std::array<pollfd, 5> waiting{{{signals_, POLLIN, 0},
                                 {commands, POLLIN, 0},
                                 {requests, POLLOUT, 0},
                                 {service_.events.get(), POLLIN, 0},
                                 {service_.diagnostics.get(), POLLIN, 0}}};
  const int ready = ::poll(waiting.data(), waiting.size(), end_.wasAsked ? patience : -1);
  if (ready <= 0) {
    return ready < 0 && errno == EINTR;
  }
  if (waiting[1].revents != 0) {
    readCommands();
  }
  if (waiting[2].revents != 0) {
    sendRequests();
  }
  if (waiting[3].revents != 0) {
    readEvents();
  }
  if (waiting[4].revents != 0) {
    readDiagnostics();
  }
  return waiting[0].revents == 0 || handleSignals();
}

bool Console::takesCommands() const {
  return !end_.wasAsked && requests_.size() - sent_ < backlog;
}

// False at a second signal that asks to end: the user does not want to wait for the service.
bool Console::handleSignals() {
  while (const auto signal = takeSignal(signals_)) {
    if (*signal == SIGWINCH || *signal == SIGCONT) {
      if (editor_) {
        editor_->refresh();
      }
    } else if (*signal != SIGCHLD) {
      if (end_.wasAsked) {
        return false;
      }
      end_.signal = *signal;
      askToEnd();
    }
  }
  return true;
}

void Console::readCommands() {
  const bool more = editor_ ? editor_->readKey(commands_) : readInto(commands_, standardInput);
  while (const auto line = commands_.next()) {
    if (!end_.wasAsked) {
      carryOut(std::string(line->text()));
    }
  }
  if (!more) {
    askToEnd();
  }
}

void Console::carryOut(const std::string& line) {
  auto command = parseCommand(line, platform_);
  if (command) {
    std::visit([this](const auto& wanted) { perform(wanted); }, *command);
    return;
  }
  end_.commandsFailed = true;
  const std::string message = escaped(command.error().description, style_) + "\n";
  if (editor_) {
    return show(message);
  }
  static_cast<void>(writeAll(standardError, message));
}

void Console::perform(const BridgeEnvelope& request) {
  requests_ += encodeEnvelopeLine(request);
  sendRequests();
}

void Console::perform(const RawLine& line) {
  requests_ += line.text + "\n";
  sendRequests();
}

void Console::perform(ShowHelp /*help*/) {
  show(std::string(commandHelp()));
}

void Console::perform(Quit /*quit*/) {
  askToEnd();
}

// Writes as much as the pipe takes now; poll reports when it takes more.
void Console::sendRequests() {
  while (hasRequests()) {
    const std::ptrdiff_t count =
        writeSome(service_.requests.get(), std::string_view(requests_).substr(sent_));
    if (count == -EAGAIN) {
      return;
    }
    if (count < 0) {
      break;  // the service has closed its input; the end of its output will end this console
    }
    sent_ += static_cast<std::size_t>(count);
  }
  requests_.clear();
  sent_ = 0;
  if (end_.wasAsked) {
    service_.requests.reset();
  }
}

void Console::readEvents() {
  if (!readInto(events_, service_.events.get())) {
    service_.events.reset();
  }
  while (const auto line = events_.next()) {
    const auto envelope = decodeEnvelope(line->text());
    show((envelope ? eventLine(timeOfDay(), *envelope, style_)
                   : otherLine(timeOfDay(), "unknown", line->text(), style_)) +
         "\n");
  }
}

void Console::readDiagnostics() {
  if (!readInto(diagnostics_, service_.diagnostics.get())) {
    service_.diagnostics.reset();
  }
  while (const auto line = diagnostics_.next()) {
    show(otherLine(timeOfDay(), "log", line->text(), style_) + "\n");
  }
}

// The service ends at the end of its input, which is closed once all requests have been written.
void Console::askToEnd() {
  end_.wasAsked = true;
  editor_.reset();
  sendRequests();
}

void Console::show(const std::string& lines) {
  if (editor_) {
    return editor_->printAbove(lines);
  }
  if (const Outcome shown = writeAll(standardOutput, lines); !shown && !end_.outputFailed) {
    end_.outputFailed = shown.error();
    askToEnd();
  }
}

}  // namespace ferncrest
