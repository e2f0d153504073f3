#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <expected>

#include "platform/failure.h"

namespace ferncrest {

/// Unpredictable bytes from the operating system, fetched in batches so that most calls cost no
/// system call.
class RandomBytes {
 public:
  using Block = std::array<std::uint8_t, 16>;

  /// Sixteen bytes that were never given before, or the system's words if it has none to give.
  [[nodiscard]] std::expected<Block, Failure> next();

 private:
  static constexpr std::size_t batchSize = 16;
  std::array<Block, batchSize> batch_{};  // 256 bytes: the most that one request may ask for
  std::size_t used_ = batchSize;
};

}  // namespace ferncrest
