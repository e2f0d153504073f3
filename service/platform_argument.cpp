#include "service/platform_argument.h"

#include <algorithm>

namespace ferncrest {

std::string platformArgument(const std::vector<std::string>& arguments) {
  const auto option = std::ranges::find(arguments, "--platform");
  const bool hasValue = arguments.end() - option > 1;
  return hasValue ? *(option + 1) : "whatsapp";
}

}  // namespace ferncrest
