#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/environment.h"

// What a backend is started with. Paths and the platform's name are bytes and never repaired.

namespace ferncrest {

/// The directory for this user's temporary files, where the system keeps one.
std::optional<std::string> userTemporaryDirectory();

/// Where the backend keeps its data: the directory that the environment names, or one for
/// `platform` among the temporary files. The directory need not exist.
std::string resolveDataDirectory(const Environment& environment, std::string_view platform);

/// The part of `dataDirectory`, as resolved from this environment, that may be anybody's: all of it
/// where the environment names it, else the directory for temporary files.
std::string trustedDirectory(const Environment& environment, const std::string& dataDirectory);

/// The backend's whole environment: the service's own with two variables set.
Environment makeBackendEnvironment(const Environment& environment, const std::string& dataDirectory,
                                   const std::string& platform);

/// The backend's arguments, without the program's name.
std::vector<std::string> makeBackendArguments(const std::string& platform);

}  // namespace ferncrest
