#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <expected>
#include <memory>

#include "platform/byte_buffer.h"
#include "platform/event.h"
#include "platform/failure.h"
#include "platform/fd.h"
#include "platform/latch.h"
#include "platform/output_stream.h"

namespace ferncrest {

/// How long a host that takes nothing is waited for at the end.
inline constexpr std::chrono::seconds hostPatience{1};

/// Copies one pipe of the backend to one of our streams, unchanged and at once, on a thread of its
/// own. That thread owns the pipe end and shares this object, so it may outlive every other owner
/// while it waits for a host that does not read.
class Relay {
 public:
  /// Starts copying `source`. Once `over` is raised, what is in the pipe then is still copied, and
  /// that is the end. Fails with the system's words when no thread can be had.
  [[nodiscard]] static std::expected<std::shared_ptr<Relay>, Failure> start(
      Fd source, OutputStream& destination, std::shared_ptr<const Event> over);

  Relay(Fd source, OutputStream& destination, std::shared_ptr<const Event> over);

  /// Waits until nothing more is copied. Any thread.
  void waitForEnd() { ended_.wait(); }

  /// The same with a deadline that is put off to `hostPatience` after anything was copied. Returns
  /// the deadline as it stands then. Any thread.
  Latch::TimePoint waitForEnd(Latch::TimePoint deadline);

 private:
  void run();
  std::size_t relayChunk(std::size_t most);
  void relayRest();

  Fd source_;
  OutputStream& destination_;
  std::shared_ptr<const Event> over_;
  ByteBuffer buffer_;
  bool movesInSystem_ = true;

  std::atomic<Latch::TimePoint> lastCopied_;  // of what was left when the conversation was over
  Latch ended_;
};

}  // namespace ferncrest
