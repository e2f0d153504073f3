#include "backend/backend_location.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "backend/launch_configuration.h"
#include "platform/paths.h"
#include "process.h"

// Where a backend is looked for and what it is started with, without starting any.

namespace ferncrest::testing {

namespace {

const std::string disable = "FERNCREST_MANAGED_BRIDGE_DISABLE_BACKEND";
const std::string backendPath = "FERNCREST_MANAGED_BRIDGE_BACKEND_PATH";
const std::string dataDir = "FERNCREST_MANAGED_BRIDGE_DATA_DIR";

TEST(BackendLocation, isSwitchedOffByFourWords) {
  for (const std::string value : {"1", " Yes\n", "TRUE", "\xC2\xA0oN"}) {
    EXPECT_TRUE(isBackendDisabled({{disable, value}})) << value;
  }
  for (const std::string value : {"", " ", "0", "no", "enable", "11"}) {
    EXPECT_FALSE(isBackendDisabled({{disable, value}})) << value;
  }
  EXPECT_FALSE(isBackendDisabled({}));
}

TEST(BackendLocation, normalizesPathsByTheirText) {
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"/a//b/./c/", "/x", "/a/b/c"},
      {"b/../c", "/x/y", "/x/y/c"},
      {"../../../c", "/x/y", "/c"},
      {"/..", "/x", "/"},
      {"/", "/x", "/"},
      {"", "/x/", "/x"},
      {"../b/.", "", "../b"},
      {"a/..", "", "."},
      {"\xFF/\xFE", "/", "/\xFF/\xFE"},
      {"/a/...", "/", "/a/..."},
      {"/link/../b", "/", "/b"},
  };
  for (const auto& [path, directory, expected] : cases) {
    EXPECT_EQ(normalizedPath(path, directory), expected) << path;
  }
}

TEST(BackendLocation, takesTheFirstExecutableThatApplies) {
  const TemporaryDirectory directory;
  const std::string name = "debug/FerncrestManagedWhatsAppBackend";
  std::filesystem::create_directories(directory.path(".build/debug"));
  std::filesystem::create_directories(directory.path(".build/arm64-apple-macosx/debug"));
  const std::string arm = directory.file(".build/arm64-apple-macosx/" + name, "", 0700);
  const std::string plain = directory.file("plain", "", 0600);
  const std::string named = directory.file("named", "", 0700);
  std::filesystem::create_symlink("nowhere", directory.path("dangling"));
  const std::tuple<std::string, Environment, std::optional<std::string>> cases[] = {
      {"whatsapp", {}, arm},
      {"WhatsApp", {{backendPath, " \n"}}, arm},
      {"whatsapp ", {}, std::nullopt},
      {"telegram", {}, std::nullopt},
      {"telegram", {{backendPath, " " + named + "/../named/ "}}, named},
      {"whatsapp", {{backendPath, "./x/../named"}}, named},
      {"whatsapp", {{backendPath, plain}}, std::nullopt},
      {"whatsapp", {{backendPath, directory.path("dangling")}}, std::nullopt},
      {"whatsapp", {{backendPath, named}, {disable, "1"}}, std::nullopt},
  };
  for (const auto& [platform, environment, expected] : cases) {
    EXPECT_EQ(locateBackendExecutable(platform, environment, directory.path()), expected)
        << platform << " " << valueOf(environment, backendPath);
  }
  const std::string debug = directory.file(".build/" + name, "", 0700);
  EXPECT_EQ(findBackendExecutable("whatsapp", directory.path()), debug);
}

TEST(BackendLocation, prefersTheBackendBesideTheService) {
  const TemporaryDirectory directory;
  std::filesystem::copy_file(SERVICE_PATH, directory.path("service"));
  static_cast<void>(directory.file("FerncrestManagedWhatsAppBackend",
                                   "#!/bin/sh\npwd; rm service; echo found; exec cat\n", 0700));
  Service service({.inChild = [&] { std::filesystem::current_path(directory.path()); },
                   .executable = directory.path("service")});
  EXPECT_EQ(service.readLine(), directory.path() + "\n");
  EXPECT_EQ(service.readLine(), "found\n");
}

TEST(LaunchConfiguration, resolvesTheDataDirectory) {
  const std::string here = currentDirectory();
  std::vector<std::tuple<Environment, std::string, std::string>> cases{
      {{{dataDir, "\t/a/../b/ "}}, "x", "/b"},
      {{{dataDir, "data"}}, "x", here + "/data"},
  };
  if (!userTemporaryDirectory()) {
    cases.push_back({{}, "WhatsApp", "/tmp/Ferncrest/ManagedBridge/WhatsApp"});
    cases.push_back({{{"TMPDIR", ""}}, "/w/", "/tmp/Ferncrest/ManagedBridge/w"});
    cases.push_back(
        {{{"TMPDIR", "/t/"}, {dataDir, " "}}, " /w ", "/t/Ferncrest/ManagedBridge/ /w "});
  }
  for (const auto& [environment, platform, expected] : cases) {
    EXPECT_EQ(resolveDataDirectory(environment, platform), expected);
  }
}

TEST(LaunchConfiguration, handsTheEnvironmentOnWithTwoVariablesSet) {
  const Environment own{
      {"A", "\xFF"}, {"FERNCREST_MANAGED_BRIDGE_PLATFORM", "old"}, {dataDir, " d "}};
  EXPECT_EQ(
      makeBackendEnvironment(own, "/d", "Whats App"),
      (Environment{
          {"A", "\xFF"}, {"FERNCREST_MANAGED_BRIDGE_PLATFORM", "Whats App"}, {dataDir, "/d"}}));
}

TEST(LaunchConfiguration, makesPrivateDirectoriesAndLeavesOthersAlone) {
  namespace fs = std::filesystem;
  const TemporaryDirectory directory;
  fs::create_directory(directory.path("theirs"));
  fs::permissions(directory.path("theirs"), fs::perms(0755));
  const std::string trusted = directory.path("theirs");
  EXPECT_TRUE(createDirectories(directory.path("theirs/a/b"), trusted).has_value());
  EXPECT_TRUE(createDirectories(directory.path("theirs/a/b"), trusted).has_value());
  EXPECT_EQ(fs::status(directory.path("theirs")).permissions(), fs::perms(0755));
  EXPECT_EQ(fs::status(directory.path("theirs/a")).permissions(), fs::perms(0700));
  EXPECT_EQ(fs::status(directory.path("theirs/a/b")).permissions(), fs::perms(0700));
}

// Among shared temporary files, whoever comes first could read what the backend writes.
TEST(LaunchConfiguration, takesNoDefaultDirectoryThatCouldBeAnothers) {
  namespace fs = std::filesystem;
  if (userTemporaryDirectory()) {
    GTEST_SKIP() << "the system keeps a directory for each user";
  }
  const std::vector<std::tuple<std::string, std::function<void(const std::string&)>, bool>> cases{
      {"made by us", [](const std::string& path) { fs::create_directory(path); }, true},
      {"a link", [](const std::string& path) { fs::create_directory_symlink("/", path); }, false},
      {"a file", [](const std::string& path) { std::ofstream(path).put('x'); }, false},
      {"open to others",
       [](const std::string& path) {
         fs::create_directory(path);
         fs::permissions(path, fs::perms::all);
       },
       false},
      {"another's",
       [](const std::string& path) {
         fs::create_directory(path);
         EXPECT_EQ(::chown(path.c_str(), 1, 1), 0);
       },
       false}};
  for (const auto& [name, make, isTaken] : cases) {
    if (name == "another's" && ::geteuid() != 0) {
      continue;  // only root can give a directory away
    }
    for (const std::string component :
         {"Ferncrest", "Ferncrest/ManagedBridge", "Ferncrest/ManagedBridge/whatsapp"}) {
      SCOPED_TRACE(name + " at " + component);
      const TemporaryDirectory directory;
      const std::string path = directory.path(component);
      fs::create_directories(fs::path(path).parent_path());
      make(path);
      const Environment environment{{"TMPDIR", directory.path()}};
      const std::string resolved = resolveDataDirectory(environment, "whatsapp");
      const Outcome created = createDirectories(resolved, trustedDirectory(environment, resolved));
      EXPECT_EQ(created,
                isTaken ? Outcome() : std::unexpected(Failure{path + ": Permission denied"}));
      const Environment named{{dataDir, path}};
      EXPECT_EQ(createDirectories(path, trustedDirectory(named, path)).has_value(),
                name != "a file");
    }
  }
}

}  // namespace

}  // namespace ferncrest::testing
