#include "service/launch_authorization.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "text/canonical.h"
#include "text/graphemes.h"
#include "text/trimmed.h"
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

}  // namespace ferncrest
