#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/process.h"

// Which backend is started, if any, and with what. Paths and the platform's name are bytes and are
// never repaired to valid UTF-8.

namespace ferncrest {

inline constexpr std::string_view backendExecutableName = "FerncrestManagedWhatsAppBackend";

/// Whether the environment disables delegation to a backend.
bool isBackendDisabled(const Environment& environment);

/// The first executable backend for `platform`: beside the service, else in the build directories
/// below `currentDirectory` (empty when unknown). Only the platform "whatsapp" is looked for.
std::optional<std::string> findBackendExecutable(std::string_view platform,
                                                 std::string_view currentDirectory);

/// The backend to start: none when delegation is disabled; the one that the environment names, or
/// none if that is not executable; without such a name the one that findBackendExecutable finds.
std::optional<std::string> locateBackendExecutable(std::string_view platform,
                                                   const Environment& environment,
                                                   std::string_view currentDirectory);

/// The directory for this user's temporary files, where the operating system keeps one (macOS).
std::optional<std::string> userTemporaryDirectory();

/// Where the backend keeps its data: the directory that the environment names, or one for
/// `platform` among the temporary files. The directory need not exist.
std::string resolveDataDirectory(const Environment& environment, std::string_view platform);

/// The front part of `dataDirectory`, as resolved from this environment, whose owner and
/// permissions are not checked: all of it where the environment names it, else the directory for
/// temporary files.
std::string trustedDirectory(const Environment& environment, const std::string& dataDirectory);

/// The backend's whole environment: the service's own with two variables set.
Environment makeBackendEnvironment(Environment environment, const std::string& dataDirectory,
                                   const std::string& platform);

/// The backend's arguments, without the program's name.
std::vector<std::string> makeBackendArguments(const std::string& platform);

}  // namespace ferncrest
