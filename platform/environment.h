#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace ferncrest {

/// Variable name to value, both as the bytes that the system handed over.
using Environment = std::map<std::string, std::string, std::less<>>;

/// The environment of this process. Entries without a name or without "=" are left out; of two
/// entries with one name the first counts.
Environment readEnvironment();

/// The variable's value, or nothing when it is not set.
std::string_view valueOf(const Environment& environment, std::string_view name);

}  // namespace ferncrest
