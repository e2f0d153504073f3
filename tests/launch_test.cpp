#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "backend/launch_configuration.h"
#include "platform/files.h"
#include "platform/process.h"
#include "process.h"
#include "service/start_up.h"

// Whether the service may start, where a backend is looked for and what it is started with.

extern char** environ;  // NOLINT(readability-redundant-declaration): macOS headers have none

namespace ferncrest::testing {

namespace {

const std::string disable = "FERNCREST_MANAGED_BRIDGE_DISABLE_BACKEND";
const std::string backendPath = "FERNCREST_MANAGED_BRIDGE_BACKEND_PATH";
const std::string dataDir = "FERNCREST_MANAGED_BRIDGE_DATA_DIR";

bool isAuthorized(const std::string& token, const std::string& path) {
  return isLaunchAuthorized(
      {{"FERNCREST_HELPER_LAUNCH_TOKEN", token}, {"FERNCREST_HELPER_LAUNCH_TOKEN_FILE", path}});
}

std::string times(int count, const std::string& text) {
  return count == 0 ? "" : text + times(count - 1, text);
}

TEST(LaunchAuthorization, needsTheSameLongTokenTwice) {
  const TemporaryDirectory directory;
  const std::string t = times(16, "aB");
  const std::string family = "\U0001F468\u200D\U0001F469\u200D\U0001F467";
  const std::tuple<std::string, std::string, bool> cases[] = {
      {t, t, true},
      {" \t\u00A0" + t + "\r\n", "\u2028\n" + t + "\u0085 ", true},
      {t.substr(1) + "e\u0301", t.substr(1) + "\u00E9", true},
      {times(32, family), times(32, family), true},
      {times(31, family), times(31, family), false},
      {times(16, "e\u0301"), times(16, "e\u0301"), false},
      {t.substr(1) + " ", t.substr(1) + " ", false},
      {t, times(16, "ab"), false},
      {t, t + '\0', false},
      {t, "", false},
      {t + "\xFF", t + "\xFF", false}};
  for (const auto& [token, content, authorized] : cases) {
    EXPECT_EQ(isAuthorized(token, directory.file("token", content)), authorized) << token << "\n"
                                                                                 << content;
  }
}

TEST(LaunchAuthorization, needsAFileThatCanBeRead) {
  const TemporaryDirectory directory;
  const std::string token(32, 'a');
  const std::string path = directory.file("token", token);
  EXPECT_TRUE(isAuthorized(token, " " + path + "\n"));
  EXPECT_TRUE(isAuthorized(token, std::filesystem::relative(path)));
  const std::string blank = " \t\u3000";
  for (const std::string& unusable : {blank, path + "x", path + "/x", directory.path()}) {
    EXPECT_FALSE(isAuthorized(token, unusable)) << unusable;
  }
  EXPECT_FALSE(isAuthorized(token, "/dev/zero"));
  EXPECT_FALSE(isLaunchAuthorized({{"FERNCREST_HELPER_LAUNCH_TOKEN", token}}));
  EXPECT_FALSE(isLaunchAuthorized({{"FERNCREST_HELPER_LAUNCH_TOKEN_FILE", path}}));
}

TEST(LaunchAuthorization, readsAPipeWhoseWriterComesLaterAndWaitsNotForEver) {
  const TemporaryDirectory directory;
  const std::string token(32, 'a');
  const std::string pipe = directory.path("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_FALSE(isAuthorized(token, pipe));
  std::thread writer([&] { std::ofstream(pipe) << token; });  // waits for a reader to come
  EXPECT_TRUE(isAuthorized(token, pipe));
  writer.join();
}

TEST(LaunchAuthorization, readsNoMoreThanATokenCanBe) {
  const TemporaryDirectory directory;
  const std::string blank(std::size_t{16} << 20U, ' ');
  const std::string token(32, 'a');
  EXPECT_TRUE(isAuthorized(token, directory.file("most", token + blank.substr(token.size()))));
  EXPECT_FALSE(isAuthorized(token, directory.file("more", token + blank)));
}

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

TEST(LaunchConfiguration, takesTheFirstOfEqualVariables) {
  char entries[][8] = {"A=1", "=x", "B", "A=2", "C=d=e"};
  char* list[] = {entries[0], entries[1], entries[2], entries[3], entries[4], nullptr};
  char** const own = std::exchange(environ, list);
  const Environment environment = readEnvironment();
  environ = own;
  EXPECT_EQ(environment, (Environment{{"A", "1"}, {"C", "d=e"}}));
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
  using Make = void (*)(const std::string& path);
  const Make makeDirectory = [](const std::string& path) { fs::create_directory(path); };
  const std::tuple<std::string, Make, fs::perms, uid_t> cases[] = {
      {"ours", makeDirectory, fs::perms(0755), 0},
      {"a link", [](const std::string& path) { fs::create_directory_symlink("/", path); }, {}, 0},
      {"a file", [](const std::string& path) { std::ofstream(path).put('x'); }, fs::perms(0700), 0},
      {"open to others", makeDirectory, fs::perms::all, 0},
      {"another's", makeDirectory, fs::perms(0755), 1}};
  for (const auto& [name, make, permissions, owner] : cases) {
    if (owner != 0 && ::geteuid() != 0) {
      continue;  // only root can give a directory away
    }
    for (const std::string component :
         {"Ferncrest", "Ferncrest/ManagedBridge", "Ferncrest/ManagedBridge/whatsapp"}) {
      SCOPED_TRACE(name + " at " + component);
      const TemporaryDirectory directory;
      const std::string path = directory.path(component);
      fs::create_directories(fs::path(path).parent_path());
      make(path);
      if (name != "a link") {
        fs::permissions(path, permissions);
        EXPECT_EQ(::chown(path.c_str(), owner == 0 ? ::geteuid() : owner, ::getegid()), 0);
      }
      const Environment environment{{"TMPDIR", directory.path()}};
      const std::string resolved = resolveDataDirectory(environment, "whatsapp");
      const Outcome created = createDirectories(resolved, trustedDirectory(environment, resolved));
      EXPECT_EQ(created, name == "ours" ? Outcome()
                                        : std::unexpected(Failure{path + ": Permission denied"}));
      const Environment named{{dataDir, path}};
      EXPECT_EQ(createDirectories(path, trustedDirectory(named, path)).has_value(),
                name != "a file");
    }
  }
}

}  // namespace

}  // namespace ferncrest::testing
