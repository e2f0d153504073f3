#pragma once

#include <cstdint>
#include <span>

#include "platform/failure.h"

namespace ferncrest {

/// Fills `bytes`, 256 at most, with cryptographically random ones. Fails with the error text of the
/// operating system.
[[nodiscard]] Outcome fillWithRandomBytes(std::span<std::uint8_t> bytes);

}  // namespace ferncrest
