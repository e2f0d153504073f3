#pragma once

#include <cstdint>
#include <string>

#include "platform/failure.h"

namespace ferncrest {

/// How many messages this backend has sent since its data directory was made: an example of
/// something that outlives the process.
class MessageCount {
 public:
  /// Goes on from the count in `directory`, which must exist, or from 0.
  explicit MessageCount(const std::string& directory);

  [[nodiscard]] std::uint64_t value() const { return value_; }

  /// Counts one more message, or says why that could not be kept.
  Outcome increment();

 private:
  std::string path_;
  std::uint64_t value_ = 0;
};

}  // namespace ferncrest
