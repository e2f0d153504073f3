#pragma once

#include <expected>
#include <string>

#include "platform/failure.h"
#include "platform/random.h"

namespace ferncrest {

/// A new random UUID (version 4) in upper case, or the system's words if it gives no randomness.
[[nodiscard]] std::expected<std::string, Failure> newMessageId(RandomBytes& random);

/// The current UTC time as ISO 8601 with whole seconds and "Z".
std::string currentTimestamp();

}  // namespace ferncrest
