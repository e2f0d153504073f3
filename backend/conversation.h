#pragma once

#include <poll.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>

#include "backend/relay.h"
#include "platform/fd.h"
#include "platform/process.h"
#include "protocol/line_buffer.h"

namespace ferncrest {

/// The host's three streams and the backend process, served by one thread with one poll: whatever
/// is waited for, the relays go on and the backend's exit is noticed. It lives longer than the
/// backend, so that the backend's last bytes still reach the host while the stub answers.
class Conversation {
 public:
  using EndHandler = std::function<void(int terminationStatus)>;

  static constexpr std::chrono::milliseconds forever{-1};

  /// `input` is borrowed. Standard input is read into it, after what is in it already.
  explicit Conversation(LineBuffer& input);
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;

  /// Starts to copy these pipes of a backend to standard output and standard error. Takes
  /// ownership.
  void relay(Fd output, Fd errors);
  /// From now on copies only the bytes that are in the pipes already.
  void limitRelays();
  /// Takes ownership of the child, reaps it when it has ended, and then calls `onEnd` once, from
  /// inside a wait. The reference is valid until then.
  const ChildProcess& watch(ChildProcess child, EndHandler onEnd);
  void forgetEndHandler() { onEnd_ = nullptr; }

  /// Write these lines to standard output or standard error, after the last byte that is relayed to
  /// it.
  void appendEvents(std::string_view lines) { output_.append(lines); }
  void appendDiagnostics(std::string_view lines) { errors_.append(lines); }

  /// Waits for the host's next line. Nothing at the end of the input, or when reading it fails.
  [[nodiscard]] std::optional<MessageLine> nextLine();

  /// Waits until `wanted` is ready, something else happened, or the time is over (negative: no
  /// limit). Returns whether `wanted` is ready.
  bool wait(pollfd wanted, std::chrono::milliseconds timeout);
  /// Handles what is ready now, without waiting.
  void look();
  /// Waits until the backend's end has been noticed or the time is over.
  void waitForEnd(std::chrono::milliseconds timeout);
  /// Waits until everything is written to standard output, however long the host takes to read it.
  void finishOutput();
  /// Waits until everything is written to both streams, or the host has read nothing for a second.
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
  std::ptrdiff_t leftOfBurst_ = 0;  // bytes of lines until the next look()
};

}  // namespace ferncrest
