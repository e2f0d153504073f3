#pragma once

#include <cstddef>
#include <string_view>

namespace ferncrest {

/// `text` without white space at its start and end. White space is the General Category Z, U+0009
/// to U+000D and U+0085; bytes that are not valid UTF-8 are none. The result is borrowed from
/// `text`.
std::string_view trimmed(std::string_view text);

/// The number of user-perceived characters (extended grapheme clusters). An ill-formed sequence
/// counts as the one replacement character that repairedUtf8 puts in its place.
std::size_t graphemeCount(std::string_view text);

}  // namespace ferncrest
