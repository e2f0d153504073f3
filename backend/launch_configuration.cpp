#include "backend/launch_configuration.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/files.h"
#include "platform/system.h"
#include "text/characters.h"
#include "text/utf8.h"

namespace ferncrest {

namespace {

constexpr std::string_view searchedPlatform = "whatsapp";
constexpr std::array<std::string_view, 4> backendDisableValues{"1", "true", "yes", "on"};

// ASCII is enough: the lower case of no other character is a letter of these words.
std::string lowerCased(std::string_view text) {
  std::string lower(text);
  for (char& byte : lower) {
    if (byte >= 'A' && byte <= 'Z') {
      byte = static_cast<char>(byte - 'A' + 'a');
    }
  }
  return lower;
}

std::vector<std::string> candidatePaths() {
  std::vector<std::string> directories;
  if (const auto own = ownExecutablePath()) {
    directories.emplace_back(directoryOf(*own));
  }
  for (const std::string_view build :
       {".build/debug", ".build/arm64-apple-macosx/debug", ".build/x86_64-apple-macosx/debug"}) {
    directories.emplace_back(build);
  }
  for (std::string& directory : directories) {
    directory.append("/").append(backendExecutableName);
  }
  return directories;
}

constexpr std::string_view dataDirectoryVariable = "FERNCREST_MANAGED_BRIDGE_DATA_DIR";
constexpr std::string_view platformVariable = "FERNCREST_MANAGED_BRIDGE_PLATFORM";

std::string temporaryDirectory(const Environment& environment) {
  if (const auto ofUser = userTemporaryDirectory()) {
    return *ofUser;
  }
  const std::string_view general = valueOf(environment, "TMPDIR");
  return std::string(general.empty() ? "/tmp" : general);
}

}  // namespace

bool isBackendDisabled(const Environment& environment) {
  const std::string value =
      lowerCased(trimmed(valueOf(environment, "FERNCREST_MANAGED_BRIDGE_DISABLE_BACKEND")));
  return std::ranges::find(backendDisableValues, value) != backendDisableValues.end();
}

std::optional<std::string> findBackendExecutable(std::string_view platform,
                                                 std::string_view currentDirectory) {
  if (lowerCased(platform) != searchedPlatform) {
    return std::nullopt;
  }
  for (const std::string& candidate : candidatePaths()) {
    std::string path = normalizedPath(candidate, currentDirectory);
    if (isExecutable(path)) {
      return path;
    }
  }
  return std::nullopt;
}

std::optional<std::string> locateBackendExecutable(std::string_view platform,
                                                   const Environment& environment,
                                                   std::string_view currentDirectory) {
  if (isBackendDisabled(environment)) {
    return std::nullopt;
  }
  const std::string_view named =
      trimmed(valueOf(environment, "FERNCREST_MANAGED_BRIDGE_BACKEND_PATH"));
  if (named.empty()) {
    return findBackendExecutable(platform, currentDirectory);
  }
  std::string path = normalizedPath(named, currentDirectory);
  return isExecutable(path) ? std::optional(std::move(path)) : std::nullopt;
}

std::optional<std::string> userTemporaryDirectory() {
  const std::string name = repairedUtf8(userTemporaryDirectoryName());
  const std::string_view path = trimmed(name);
  return path.empty() ? std::nullopt : std::optional(std::string(path));
}

std::string resolveDataDirectory(const Environment& environment, std::string_view platform) {
  const std::string_view named = trimmed(valueOf(environment, dataDirectoryVariable));
  if (!named.empty()) {
    return normalizedPath(named, currentDirectory());
  }
  return normalizedPath(
      temporaryDirectory(environment) + "/Ferncrest/ManagedBridge/" + std::string(platform),
      currentDirectory());
}

std::string trustedDirectory(const Environment& environment, const std::string& dataDirectory) {
  const bool isNamed = !trimmed(valueOf(environment, dataDirectoryVariable)).empty();
  return isNamed ? dataDirectory
                 : normalizedPath(temporaryDirectory(environment), currentDirectory());
}

Environment makeBackendEnvironment(Environment environment, const std::string& dataDirectory,
                                   const std::string& platform) {
  environment.insert_or_assign(std::string(dataDirectoryVariable), dataDirectory);
  environment.insert_or_assign(std::string(platformVariable), platform);
  return environment;
}

std::vector<std::string> makeBackendArguments(const std::string& platform) {
  return {"--stdio", "--platform", platform};
}

}  // namespace ferncrest
