#pragma once

#include <string>
#include <vector>

namespace ferncrest {

/// The platform that the command line (without the program's name) asks for: what follows the first
/// "--platform", unchanged, or "whatsapp".
std::string platformArgument(const std::vector<std::string>& arguments);

}  // namespace ferncrest
