#pragma once

#include <cstddef>

namespace ferncrest {

/// Memory for input that starts on a page boundary, where read() copies fastest, and that grows and
/// shrinks without a second copy of its content. Owns its memory; cannot be copied or moved.
class ByteBuffer {
 public:
  /// Starts with `capacity` bytes, a multiple of the page size. Throws std::bad_alloc when the
  /// operating system has no memory left, as resize() does.
  explicit ByteBuffer(std::size_t capacity);
  ByteBuffer(const ByteBuffer&) = delete;
  ByteBuffer& operator=(const ByteBuffer&) = delete;
  ~ByteBuffer();

  [[nodiscard]] char* data() const { return data_; }
  [[nodiscard]] std::size_t capacity() const { return capacity_; }

  /// Changes the capacity to another multiple of the page size. The content stays, as far as it
  /// fits; its address may change.
  void resize(std::size_t capacity);

 private:
  char* data_;
  std::size_t capacity_;
};

}  // namespace ferncrest
