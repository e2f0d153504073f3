#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ferncrest {

/// Why a text is not an envelope.
struct DecodingError {
  enum class Kind { typeMismatch, missingKey, nullValue, invalidJson };

  Kind kind = Kind::invalidJson;
  /// The type expected where the fault lies: a protocol type, or "String", "Bool", "Array",
  /// "Object".
  std::string_view type;
  /// The keys from the top-level object down to the fault; for array elements their index.
  std::vector<std::string> codingPath;
  /// A sentence for logs.
  std::string debugDescription;

  /// The sentence for the host: one for data in the wrong format, one for missing data.
  [[nodiscard]] std::string_view description() const;

  bool operator==(const DecodingError&) const = default;
};

}  // namespace ferncrest
