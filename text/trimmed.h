#pragma once

#include <string_view>

namespace ferncrest {

/// `text` without the white space and line ends at its two ends: General Category Z, U+0009 to
/// U+000D and U+0085. Bytes that are not valid UTF-8 are no white space. The result lies in `text`.
std::string_view trimmed(std::string_view text);

}  // namespace ferncrest
