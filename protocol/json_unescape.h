#pragma once

#include <string_view>

namespace ferncrest {

/// Writes the text of a JSON string, given the characters between its quotation marks, to `to`,
/// where there must be room for as many. Returns the end of the text, or null if a character or an
/// escape is malformed.
char* unescape(std::string_view escaped, char* to);

}  // namespace ferncrest
