#pragma once

#include <string_view>

namespace ferncrest {

/// Whether two texts are the same bytes or, when both are valid UTF-8, canonically equivalent (the
/// same after Unicode decomposition). Takes O(n log n) at worst.
bool canonicallyEqual(std::string_view left, std::string_view right);

}  // namespace ferncrest
