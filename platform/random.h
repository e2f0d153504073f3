#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <expected>

#include "platform/failure.h"

namespace ferncrest {

/// Cryptographically random bytes from the operating system, fetched in batches: only one call in
/// sixteen makes a system call.
class RandomBytes {
 public:
  using Block = std::array<std::uint8_t, 16>;

  /// Sixteen new random bytes, or the error text of the operating system.
  [[nodiscard]] std::expected<Block, Failure> next();

 private:
  static constexpr std::size_t batchSize = 16;
  std::array<Block, batchSize> batch_{};  // 256 bytes, the most that getentropy gives at once
  std::size_t used_ = batchSize;
};

}  // namespace ferncrest
