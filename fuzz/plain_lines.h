#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "text/characters.h"
#include "text/utf8.h"

namespace ferncrest::testing {

/// What a line reader gives, cut the plain way: whole input in, all lines out.
inline std::vector<std::string> plainlyCut(std::string_view input) {
  std::vector<std::string> lines;
  while (!input.empty()) {
    const std::size_t end = std::min(input.find('\n'), input.size());
    const std::string repaired = repairedUtf8(input.substr(0, end));
    if (const std::string_view text = trimmed(repaired); !text.empty()) {
      lines.emplace_back(text);
    }
    input.remove_prefix(std::min(end + 1, input.size()));
  }
  return lines;
}

}  // namespace ferncrest::testing
