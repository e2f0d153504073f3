#include "service/start_up.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string_view>

#include "platform/files.h"
#include "text/canonical.h"
#include "text/characters.h"
#include "text/utf8.h"

namespace ferncrest {

bool isLaunchAuthorized(const Environment& environment) {
  constexpr std::size_t shortestToken = 32;
  constexpr std::size_t largestTokenFile = std::size_t{16} << 20U;
  constexpr std::chrono::seconds writerPatience{2};
  const std::string_view token = trimmed(valueOf(environment, "FERNCREST_HELPER_LAUNCH_TOKEN"));
  const std::string_view path = trimmed(valueOf(environment, "FERNCREST_HELPER_LAUNCH_TOKEN_FILE"));
  if (graphemeCount(token) < shortestToken || path.empty()) {
    return false;
  }
  const auto content = readFileOrPipe(std::string(path), largestTokenFile, writerPatience);
  return content && isValidUtf8(*content) && canonicallyEqual(trimmed(*content), token);
}

std::string platformArgument(const std::vector<std::string>& arguments) {
  const auto option = std::ranges::find(arguments, "--platform");
  const bool hasValue = arguments.end() - option > 1;
  return hasValue ? *(option + 1) : "whatsapp";
}

}  // namespace ferncrest
