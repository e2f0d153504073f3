#pragma once

#include <poll.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>

#include "backend/relay.h"
#include "platform/child_process.h"
#include "platform/fd.h"
#include "protocol/line_buffer.h"

namespace ferncrest {

/// The host's three streams and the backend's end, served by one thread in one wait: whatever is
/// waited for, the relays go on and the end is noticed. Outlives the backend's part of the
/// conversation, so that the stub after it still delivers what the host has not read of it.
class Conversation {
 public:
  using EndHandler = std::function<void(int terminationStatus)>;

  static constexpr std::chrono::milliseconds forever{-1};

  /// The input is read from standard input, behind what is in the buffer already.
  explicit Conversation(LineBuffer& input);
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;

  /// Copies these pipes of a backend to standard output and standard error.
  void relay(Fd output, Fd errors);
  /// Copies no more than the pipes hold now.
  void limitRelays();
  /// Owns the child until it is reaped and calls `onEnd` then, once, during a wait.
  const ChildProcess& watch(ChildProcess child, EndHandler onEnd);
  void forgetEndHandler() { onEnd_ = nullptr; }

  /// These lines follow the last byte that is relayed to the stream.
  void appendEvents(std::string_view lines) { output_.append(lines); }
  void appendDiagnostics(std::string_view lines) { errors_.append(lines); }

  /// The next line of the host, waiting for it. Nothing at the end of the input; an input that
  /// fails has ended.
  [[nodiscard]] std::optional<MessageLine> nextLine();

  /// Waits until `wanted` is ready, something else happened or the time is over. Says whether
  /// `wanted` is ready.
  bool wait(pollfd wanted, std::chrono::milliseconds timeout);
  /// Takes what has happened already.
  void look();
  /// Waits until the backend's end has been noticed or the time is over.
  void waitForEnd(std::chrono::milliseconds timeout);
  /// Waits until standard output has everything, as long as the host takes to read it.
  void finishOutput();
  /// Waits until both streams have everything, or the host has read nothing for a second.
  void finish();

 private:
  void readInput();
  void noticeEnd(ChildProcess& child);
  [[nodiscard]] bool looksByTime() const;
  [[nodiscard]] std::size_t outstanding();

  LineBuffer& input_;
  Relay output_;
  Relay errors_;
  std::optional<ChildProcess> child_;
  EndHandler onEnd_;
  std::ptrdiff_t leftOfBurst_ = 0;  // bytes of lines until the next look
};

}  // namespace ferncrest
