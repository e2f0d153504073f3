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

/// Copies one pipe of the backend to one of the host's streams, unchanged and in order. Passive: it
/// says which descriptor it waits for, and does one step when that is ready. It never waits itself.
class Relay {
 public:
  /// Allocates the buffer; everything else here but append() cannot fail.
  explicit Relay(int stream) : destination_(stream) {}

  /// Copies from `source` on, the read end of a pipe in non-blocking mode.
  void begin(Fd source) { source_ = std::move(source); }

  /// Ends with what the pipe holds now, so that whoever still writes to it prolongs nothing.
  void limit();

  /// Writes these lines, each in one write, behind the end of what is copied.
  void append(std::string_view lines);

  [[nodiscard]] bool isDone() const;

  /// What to wait for; no descriptor (-1) when nothing or when time alone helps.
  [[nodiscard]] pollfd need() const;
  /// Whether poll says that the stream has room and the stream does not take what comes next:
  /// step() is to be tried again after a while.
  [[nodiscard]] bool isHeldBack() const { return isHeldBack_; }

  /// Moves what can be moved now. A stream that fails loses what was meant for it and no more, so
  /// that the backend never stalls on a host that has gone.
  void step();

  /// After limit(): the bytes that the host has not read, those in its stream included. Shrinks
  /// when the host reads, and only then. 0 when done.
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
