#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <expected>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/byte_buffer.h"
#include "platform/event.h"
#include "platform/failure.h"
#include "platform/fd.h"
#include "platform/output_stream.h"

namespace ferncrest {

/// When a wait gives up; never, if there is none.
using Deadline = std::optional<std::chrono::steady_clock::time_point>;

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

  /// Waits until nothing more is copied; false when the deadline passes first. Any thread.
  bool waitForEnd(Deadline deadline);

 private:
  void run();
  std::size_t relayChunk(std::size_t most);
  void relayRest();

  Fd source_;
  OutputStream& destination_;
  std::shared_ptr<const Event> over_;
  ByteBuffer buffer_;
  bool movesInSystem_ = true;

  std::mutex mutex_;
  std::condition_variable ended_;
  bool hasEnded_ = false;
};

}  // namespace ferncrest
