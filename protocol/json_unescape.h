#pragma once

#include <string>
#include <string_view>

namespace ferncrest {

/// The text of a JSON string given the characters between its quotation marks, which must have been
/// found well-formed.
std::string unescaped(std::string_view escaped);

}  // namespace ferncrest
