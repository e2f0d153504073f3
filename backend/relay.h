#pragma once

#include <poll.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/byte_buffer.h"
#include "platform/fd.h"
#include "platform/output_stream.h"

namespace ferncrest {

/// Copies one pipe of the backend to one of the host's streams, unchanged and in order. It never
/// waits itself: it names the descriptor that it needs, and does one step when that is ready.
class Relay {
 public:
  /// Allocates the buffer; everything else here but append() cannot fail.
  explicit Relay(int stream) : destination_(stream) {}

  /// Starts to copy from `source`, the read end of a pipe in non-blocking mode. Takes ownership.
  void begin(Fd source) { source_ = std::move(source); }

  /// Copies only the bytes that are in the pipe now, so that a process that still writes to it
  /// cannot delay the end.
  void limit();

  /// Adds lines to write after the last byte that is copied, each with one write.
  void append(std::string_view lines);

  [[nodiscard]] bool isDone() const;

  /// The descriptor and event to wait for; the descriptor is -1 when there is nothing to wait for,
  /// or when step() has to be tried again after a while.
  [[nodiscard]] pollfd need() const;
  /// Whether poll reports room in the stream but the stream does not take the next bytes. Then
  /// step() has to be tried again after a while.
  [[nodiscard]] bool isHeldBack() const { return isHeldBack_; }

  /// Copies what can be copied now. When the stream fails, its bytes are dropped and reading goes
  /// on, so that the backend is never blocked by a host that has gone.
  void step();

  /// After limit(): how many bytes the host has not read yet, with those in its stream. The number
  /// shrinks only when the host reads. 0 when done.
  [[nodiscard]] std::size_t outstanding();

 private:
  enum class End { source, destination };

  static constexpr std::size_t chunkSize = std::size_t{64} << 10U;

  void relayChunk();
  bool moveChunk();
  void readChunk();
  void writeChunk();
  void writeLine();
  std::size_t bytesDone(std::ptrdiff_t count, std::size_t size);
  void take(std::size_t count);

  Fd source_;
  OutputStream destination_;
  ByteBuffer buffer_{chunkSize};
  std::string_view chunk_;           // in the buffer, read but not yet written
  std::optional<std::size_t> rest_;  // bytes of the source still to be taken, after limit()
  std::string lines_;                // to be written when the source has ended
  End awaited_ = End::source;
  bool movesInSystem_ = true;
  bool isHeldBack_ = false;
};

}  // namespace ferncrest
