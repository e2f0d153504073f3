#pragma once

#include <expected>
#include <string>

namespace ferncrest {

/// Why an operation failed, in the words that a person will read.
struct Failure {
  std::string description;

  bool operator==(const Failure&) const = default;
};

/// The outcome of an operation that gives nothing but its success.
using Outcome = std::expected<void, Failure>;

/// The operating system's own words for `errorNumber`, an errno value saved at the failing call.
///
Failure systemFailure(int errorNumber);

}  // namespace ferncrest
