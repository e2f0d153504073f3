#pragma once

#include <string_view>

namespace ferncrest {

/// Decodes what stands between the quotation marks of a JSON string and writes it to `to`, where
/// there must be room for escaped.size() bytes. Returns the end of what was written, or null if
/// there is a malformed escape or a control character.
char* unescape(std::string_view escaped, char* to);

}  // namespace ferncrest
