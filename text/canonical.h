#pragma once

#include <string_view>

namespace ferncrest {

/// Whether two texts are equal as Unicode counts: byte for byte, or by canonical equivalence when
/// both are valid UTF-8. Takes time of order n log n at the worst.
bool canonicallyEqual(std::string_view left, std::string_view right);

}  // namespace ferncrest
