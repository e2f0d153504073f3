#include "platform/environment.h"

#include <unistd.h>

extern char** environ;  // NOLINT(readability-redundant-declaration): macOS headers have none

namespace ferncrest {

Environment readEnvironment() {
  Environment environment;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    const std::size_t equals = text.find('=');
    if (equals != std::string_view::npos && equals > 0) {
      environment.emplace(text.substr(0, equals), text.substr(equals + 1));
    }
  }
  return environment;
}

std::string_view valueOf(const Environment& environment, std::string_view name) {
  const auto found = environment.find(name);
  return found == environment.end() ? std::string_view() : std::string_view(found->second);
}

}  // namespace ferncrest
