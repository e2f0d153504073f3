#pragma once

#include <cstddef>
#include <string_view>

namespace ferncrest {

/// The number of user-perceived characters (extended grapheme clusters). An ill-formed sequence
/// counts like the one replacement character that it would be repaired to.
std::size_t graphemeCount(std::string_view text);

}  // namespace ferncrest
