#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/environment.h"

// Which backend executable is started, if any. Nothing here reports an error: without a backend the
// service answers by itself.

namespace ferncrest {

inline constexpr std::string_view backendExecutableName = "FerncrestManagedWhatsAppBackend";

/// Whether the environment switches delegation off.
bool isBackendDisabled(const Environment& environment);

/// The first executable among the places where a backend for `platform` is looked for: beside the
/// service, then in the build directories below `currentDirectory` (empty when unknown).
std::optional<std::string> findBackendExecutable(std::string_view platform,
                                                 std::string_view currentDirectory);

/// The backend to start: none when switched off; the one that the environment names, if that is
/// executable; else the one that is found.
std::optional<std::string> locateBackendExecutable(std::string_view platform,
                                                   const Environment& environment,
                                                   std::string_view currentDirectory);

}  // namespace ferncrest
