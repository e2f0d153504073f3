#include "backend/launch_configuration.h"

#include "platform/paths.h"
#include "platform/system.h"
#include "text/trimmed.h"
#include "text/utf8.h"

namespace ferncrest {

namespace {

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

Environment makeBackendEnvironment(const Environment& environment, const std::string& dataDirectory,
                                   const std::string& platform) {
  Environment child = environment;
  child.insert_or_assign(std::string(dataDirectoryVariable), dataDirectory);
  child.insert_or_assign(std::string(platformVariable), platform);
  return child;
}

std::vector<std::string> makeBackendArguments(const std::string& platform) {
  return {"--stdio", "--platform", platform};
}

}  // namespace ferncrest
