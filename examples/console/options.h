#pragma once

#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/failure.h"

namespace ferncrest {

struct Options {
  std::string service;                 ///< a path, or a name to be found through PATH
  std::optional<std::string> backend;  ///< an absolute path
  std::string platform = "whatsapp";
  bool help = false;
};

std::string_view optionHelp();

/// Parses the command line; `program` is argv[0], beside which the service is looked for.
[[nodiscard]] std::expected<Options, Failure> parseOptions(
    const std::string& program, const std::vector<std::string>& arguments);

}  // namespace ferncrest
