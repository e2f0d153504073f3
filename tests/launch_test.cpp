#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "process.h"
#include "service/launch_authorization.h"
#include "service/platform_argument.h"

namespace ferncrest::testing {
namespace {

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

TEST(PlatformArgument, isWhatFollowsTheFirstOption) {
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{}, "whatsapp"},
      {{"-x", "y", "--platform", " T \xFF", "z"}, " T \xFF"},
      {{"--platform", ""}, ""},
      {{"--platform", "--platform", "b"}, "--platform"},
      {{"--platform", "a", "--platform", "b"}, "a"},
      {{"--platform"}, "whatsapp"},
      {{"--platform=telegram", "b"}, "whatsapp"},
      {{"--Platform", "b"}, "whatsapp"}};
  for (const auto& [arguments, platform] : cases) {
    EXPECT_EQ(platformArgument(arguments), platform);
  }
}

}  // namespace
}  // namespace ferncrest::testing
