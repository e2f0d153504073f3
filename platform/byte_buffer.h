#pragma once

#include <cstddef>

namespace ferncrest {

/// Memory for input that grows and shrinks without a second copy of its content and starts on a
/// page border, where the system's copies into it are fastest.
class ByteBuffer {
 public:
  /// Starts with `capacity` bytes, a multiple of the page size. Like every resize it throws
  /// std::bad_alloc when the system has no memory to give.
  explicit ByteBuffer(std::size_t capacity);
  ByteBuffer(const ByteBuffer&) = delete;
  ByteBuffer& operator=(const ByteBuffer&) = delete;
  ~ByteBuffer();

  [[nodiscard]] char* data() const { return data_; }
  [[nodiscard]] std::size_t capacity() const { return capacity_; }

  /// Changes the capacity, again a multiple of the page size; the content up to the smaller of the
  /// two stays, its address may change.
  void resize(std::size_t capacity);

 private:
  char* data_;
  std::size_t capacity_;
};

}  // namespace ferncrest
