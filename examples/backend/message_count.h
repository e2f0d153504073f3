#pragma once

#include <cstdint>
#include <string>

#include "platform/failure.h"

namespace ferncrest {

/// How many messages this backend has sent since its data directory was created: an example of data
/// that outlives the process.
class MessageCount {
 public:
  /// Starts from the count stored in `directory`, which must exist, or from 0.
  explicit MessageCount(const std::string& directory);

  [[nodiscard]] std::uint64_t value() const { return value_; }

  /// Adds one and stores the count, or says why it could not be stored.
  [[nodiscard]] Outcome increment();

 private:
  std::string path_;
  std::uint64_t value_ = 0;
};

}  // namespace ferncrest
