#pragma once

#include <expected>
#include <string>

namespace ferncrest {

/// Why an operation failed: a text for a person to read.
struct Failure {
  std::string description;

  bool operator==(const Failure&) const = default;
};

/// The result of an operation that either succeeds, with no value, or fails.
using Outcome = std::expected<void, Failure>;

/// The operating system's error text (strerror) for `errorNumber`, an errno value that was saved
/// right after the failing call.
Failure systemFailure(int errorNumber);

}  // namespace ferncrest
