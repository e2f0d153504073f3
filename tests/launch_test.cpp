#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
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
#include "table.h"
#include "text/canonical.h"

// Whether the service may start, what its arguments say, where a backend is looked for and what it
// is started with.

extern char** environ;  // NOLINT(readability-redundant-declaration): macOS headers have none

namespace ferncrest::testing {

namespace {

namespace fs = std::filesystem;

const std::string disable = "FERNCREST_MANAGED_BRIDGE_DISABLE_BACKEND";
const std::string backendPath = "FERNCREST_MANAGED_BRIDGE_BACKEND_PATH";
const std::string dataDir = "FERNCREST_MANAGED_BRIDGE_DATA_DIR";

using Start = std::pair<std::string, Environment>;  // the platform first

bool isAuthorized(const std::string& token, const std::string& path) {
  return isLaunchAuthorized(
      {{"FERNCREST_HELPER_LAUNCH_TOKEN", token}, {"FERNCREST_HELPER_LAUNCH_TOKEN_FILE", path}});
}

std::string times(int count, const std::string& text) {
  std::string repeated;
  for (int index = 0; index < count; ++index) {
    repeated += text;
  }
  return repeated;
}

TEST(LaunchAuthorization, needsTheSameLongTokenTwice) {
  const TemporaryDirectory directory;
  const std::string t = times(16, "aB");
  const std::string blank((std::size_t{16} << 20U) - t.size(), ' ');
  // A canonical order by exchange of neighbours would not be found in time.
  const std::string marks = times(300'000, "\u0301\u0323\u0308");
  const std::string ordered = times(300'000, "\u0323") + times(300'000, "\u0301\u0308");
  const std::tuple<const char*, std::string, std::string, bool> cases[] = {
      {"white space around it", " \t\u00A0" + t + "\r\n", "\u2028\n" + t + "\u0085 ", true},
      {"canonically equal", t + "e\u0301", t + "\u00E9", true},
      {"long runs of marks", t + marks, t + ordered, true},
      {"31 letters and white space", t.substr(1) + " ", t.substr(1) + " ", false},
      {"other case", t, times(16, "ab"), false},
      {"one byte more", t, t + '\0', false},
      {"empty file", t, "", false},
      {"not UTF-8", t + "\xFF", t + "\xFF", false},
      {"not UTF-8 in the variable", t + "\xFF\u00E9", t + "\uFFFD\u00E9", false},
      {"the largest file", t, t + blank, true},
      {"a larger file", t, t + blank + " ", false}};
  for (const auto& [name, token, content, authorized] : cases) {
    EXPECT_EQ(isAuthorized(token, directory.file("token", content)), authorized) << name;
  }
  EXPECT_FALSE(canonicallyEqual("\xFF\u00E9", "\uFFFD\u00E9"));
}

TEST(LaunchAuthorization, countsWhatAPersonSeesAsOneCharacter) {
  const TemporaryDirectory directory;
  for (const std::string character :
       {"a", "\r\n", "e\u0301\u0323", "1\uFE0F\u20E3", "\u1100\u1161\u11A8", "\U0001F1E9\U0001F1EA",
        "\U0001F468\u200D\U0001F469\u200D\U0001F467", "\U0001F44D\U0001F3FD"}) {
    for (const int count : {31, 32}) {
      const std::string token = times(1, "a") + times(count - 2, character) + "b";
      EXPECT_EQ(isAuthorized(token, directory.file("token", token)), count == 32) << token;
    }
  }
}

TEST(LaunchAuthorization, needsAFileOrPipeThatCanBeRead) {
  const TemporaryDirectory directory;
  const std::string token(32, 'a');
  const std::string path = directory.file("token", token);
  const std::string pipe = directory.path("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  expectEach<std::string, bool>([&](const std::string& file) { return isAuthorized(token, file); },
                                {{" " + path + "\n", true},
                                 {fs::relative(path), true},
                                 {" \t\u3000", false},
                                 {path + "x", false},
                                 {directory.path(), false},
                                 {"/dev/zero", false},
                                 {pipe, false}});             // gives up waiting for a writer
  std::thread writer([&] { std::ofstream(pipe) << token; });  // waits for a reader to come
  EXPECT_TRUE(isAuthorized(token, pipe));
  writer.join();
}

TEST(Arguments, giveThePlatformAfterTheFirstOption) {
  expectEach<std::vector<std::string>, std::string>(
      platformArgument, {{{"-x", "y", "--platform", " T ", "z"}, " T "},
                         {{"--platform", ""}, ""},
                         {{"--platform", "--platform", "b"}, "--platform"},
                         {{"--platform", "a", "--platform", "b"}, "a"},
                         {{"--platform"}, "whatsapp"},
                         {{"--platform=telegram", "b"}, "whatsapp"},
                         {{"--Platform", "b"}, "whatsapp"}});
}

TEST(BackendLocation, isSwitchedOffByFourWords) {
  for (const std::string value : {"1", " Yes\n", "TRUE", "\xC2\xA0oN"}) {
    EXPECT_TRUE(isBackendDisabled({{disable, value}})) << value;
  }
  for (const std::string value : {"", "0", "no", "enable", "11"}) {
    EXPECT_FALSE(isBackendDisabled({{disable, value}})) << value;
  }
}

TEST(BackendLocation, takesTheFirstExecutableThatApplies) {
  const TemporaryDirectory directory;
  const std::string name = "debug/FerncrestManagedWhatsAppBackend";
  fs::create_directories(directory.path(".build/debug"));
  fs::create_directories(directory.path(".build/arm64-apple-macosx/debug"));
  const std::string arm = directory.file(".build/arm64-apple-macosx/" + name, "", 0700);
  const std::string plain = directory.file("plain", "", 0600);
  const std::string named = directory.file("named", "", 0700);
  const auto located = [&](const Start& start) {
    return locateBackendExecutable(start.first, start.second, directory.path());
  };
  expectEach<Start, std::optional<std::string>>(
      located, {{{"WhatsApp", {{backendPath, " \n"}}}, arm},
                {{"whatsapp ", {}}, {}},
                {{"telegram", {}}, {}},
                {{"telegram", {{backendPath, " " + named + "/../named/ "}}}, named},
                {{"whatsapp", {{backendPath, "./x/../named"}}}, named},
                {{"whatsapp", {{backendPath, plain}}}, {}},
                {{"whatsapp", {{backendPath, named}, {disable, "1"}}}, {}}});
  const std::string debug = directory.file(".build/" + name, "", 0700);
  EXPECT_EQ(findBackendExecutable("whatsapp", directory.path()), debug);
}

TEST(BackendLocation, prefersTheBackendBesideTheService) {
  const TemporaryDirectory directory;
  fs::copy_file(SERVICE_PATH, directory.path("service"));
  static_cast<void>(directory.file("FerncrestManagedWhatsAppBackend",
                                   "#!/bin/sh\npwd; rm service; echo found; exec cat\n", 0700));
  Service service(
      {.setUp = "cd '" + directory.path() + "'", .executable = directory.path("service")});
  EXPECT_EQ(service.readLine(), directory.path() + "\n");
  EXPECT_EQ(service.readLine(), "found\n");
}

TEST(DataDirectory, isTheNamedOneOrOneAmongTheTemporaryFiles) {
  const std::string here = currentDirectory();
  const auto resolved = [](const Start& start) {
    const std::string directory = resolveDataDirectory(start.second, start.first);
    return directory + " in " + trustedDirectory(start.second, directory);
  };
  expectEach<Start, std::string>(
      resolved, {{{"x", {{dataDir, "\t/a//b/../c/./... "}}}, "/a/c/... in /a/c/..."},
                 {{"x", {{dataDir, "/../.."}}}, "/ in /"},
                 {{"x", {{dataDir, "\xFF/../data"}}}, here + "/data in " + here + "/data"}});
  if (!userTemporaryDirectory()) {
    expectEach<Start, std::string>(
        resolved,
        {{{"/w/", {{"TMPDIR", ""}}}, "/tmp/Ferncrest/ManagedBridge/w in /tmp"},
         {{" /w ", {{"TMPDIR", "/t/"}, {dataDir, " "}}}, "/t/Ferncrest/ManagedBridge/ /w  in /t"}});
  }
  // Where the current directory has no name.
  EXPECT_EQ(normalizedPath("../../b/.", ""), "../../b");
  EXPECT_EQ(normalizedPath("a/..", ""), ".");
}

// Among shared temporary files, whoever comes first could read what the backend writes.
TEST(DataDirectory, isPrivateAndOwnedByThisUser) {
  const auto permissionsOf = [](const std::string& path) { return fs::status(path).permissions(); };
  // Only root can give a directory away.
  const char* const givenAway = ::geteuid() == 0 ? "install -d -o 1" : "mkdir -m 777";
  for (const std::string make : {"mkdir -m 755", "mkdir -m 777", "touch", "ln -s /", givenAway}) {
    for (const std::string name : {"a", "a/b", "a/b/c"}) {
      SCOPED_TRACE(make + " " + name);
      const TemporaryDirectory directory;
      const std::string path = directory.path(name);
      EXPECT_EQ(createDirectories(path, directory.path()), Outcome());
      EXPECT_EQ(permissionsOf(path), fs::perms(0700));
      fs::remove(path);
      ASSERT_EQ(std::system((make + " '" + path + "'").c_str()), 0);
      const fs::perms permissions = permissionsOf(path);
      const Outcome refused = std::unexpected(Failure{path + ": Permission denied"});
      EXPECT_EQ(createDirectories(directory.path("a/b/c"), directory.path()),
                make == "mkdir -m 755" ? Outcome() : refused);
      EXPECT_EQ(permissionsOf(path), permissions);
      EXPECT_EQ(createDirectories(path, path).has_value(), make != "touch");
    }
  }
}

TEST(BackendEnvironment, isTheServicesOwnWithTwoVariablesSet) {
  char entries[][8] = {"A=1", "=x", "B", "A=2", "C=d=\xFF"};
  char* list[] = {entries[0], entries[1], entries[2], entries[3], entries[4], nullptr};
  char** const own = std::exchange(environ, list);
  Environment environment = readEnvironment();
  environ = own;
  EXPECT_EQ(environment, (Environment{{"A", "1"}, {"C", "d=\xFF"}}));
  const std::string platform = "FERNCREST_MANAGED_BRIDGE_PLATFORM";
  environment.insert({{dataDir, " d "}, {platform, "old"}});
  EXPECT_EQ(makeBackendEnvironment(environment, "/d", "Whats App"),
            (Environment{{"A", "1"}, {"C", "d=\xFF"}, {dataDir, "/d"}, {platform, "Whats App"}}));
}

}  // namespace

}  // namespace ferncrest::testing
