#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "conversation.h"
#include "process.h"

// The running program without a backend.

namespace ferncrest::testing {

namespace {

std::string error(const std::string& message) {
  return R"({"error":{"_0":{"message":")" + message + "\"}}}\n";
}

// Not std::time, whose clock may lag behind the exact one by a few milliseconds.
std::string timeInUtc() {
  using std::chrono::system_clock;
  const std::time_t time = system_clock::to_time_t(system_clock::now());
  std::tm parts{};
  char text[21];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", ::gmtime_r(&time, &parts));
  return text;
}

std::string listen(const std::string& kind, const std::string& scope) {
  return R"({"startListening":{"_0":{"platform":"whatsapp","scope":{")" + kind + "\":" + scope +
         "}}}}\n";
}

std::string unavailable(const std::string& title) {
  return error("Managed bridge service is running, but real WhatsApp capture for '" + title +
               "' is not implemented yet.");
}

TEST(Stub, answersOnlyWhatItServes) {
  const std::string connect = connectRequest.substr(0, connectRequest.size() - 1);
  const std::string events = connectEvents();
  const std::string bad =
      error("The request could not be read because it is not in the correct format.");
  const std::string missing = error("The request could not be read because data in it is missing.");
  const std::pair<std::string, std::string> conversations[] = {
      {"", ""},
      {"\n  \t\n\r\n\xE2\x80\xA8\n", ""},
      {listen("conversation", R"({"id":"i","title":" 'b'\n"})"), unavailable(R"( 'b'\n)")},
      {listen("channel", "{\"id\":\"\",\"title\":\"\xE2\x82/\"}"), unavailable("\uFFFD\\/")},
      {listen("thread", R"({"id":"i","title":""})"), unavailable("")},
      {listen("thread", R"({"id":"i"})"), unavailable("Thread")},
      {"  " + connect + " \r\n", events},
      {connect, events},
      {connectRequest + connectRequest, events + events},
      {"{\"connect\":{\"_0\":{\"platform\":\"WhatsApp\"}}}\n", ""},
      {R"({"hello":{"_0":{"platform":"whatsapp","bridgeVersion":"1"}}})", ""},
      {R"({"stopListening":{"_0":{"platform":"whatsapp"}}})", ""},
      {R"({"error":{"_0":{"message":"x"}}})", ""},
      {"{\n{\"hello\":{}}\nnull\n" + connect, bad + missing + missing + events},
      {std::string("{}\0\n", 4) + connect, bad + events}};
  for (const auto& [requests, answers] : conversations) {
    SCOPED_TRACE(requests);
    Service service;
    service.write(requests);
    service.expectEnd(greeting + answers);
  }
}

TEST(Stub, answersEachLineBeforeTheNextIsThere) {
  Service service({.arguments = {"--platform", "tele/gram\xFF"}});
  const std::string disconnected = greeting.substr(greeting.find('\n') + 1);
  service.expect(
      "{\"hello\":{\"_0\":{\"bridgeVersion\":\"managed-process-3\","
      "\"platform\":\"tele\\/gram\xEF\xBF\xBD\"}}}\n" +
      disconnected);
  service.write("{\"disconnect\":{\"_0\":{\"platform\":\"tele/gram\xEF\xBF\xBD\"}}}\n");
  service.expect(disconnected);
  service.expectEnd("");
}

TEST(Stub, answersAPlatformThatIsCanonicallyItsOwn) {
  Service service({.arguments = {"--platform", "caf\u00E9"}});
  service.write("{\"connect\":{\"_0\":{\"platform\":\"cafe\u0301\"}}}\n");
  service.readLine();
  service.expectEnd(greeting.substr(greeting.find('\n') + 1) + connectEvents());
}

TEST(Stub, makesUpMessages) {
  const auto event = [](const std::string& conversation, const std::string& flag,
                        const std::string& reference, const std::string& sender,
                        const std::string& text) {
    return R"({"inboundEvent":{"_0":{"event":{"conversationId":")" + conversation +
           R"(","isDirectMessage":)" + flag + R"(,"messageId":"ID","rawReference":")" + reference +
           R"(","senderDisplayName":"Ferncrest Managed Bridge","senderId":")" + sender +
           R"(","text":")" + text + "\",\"timestampISO8601\":\"TIME\"}}}}\n";
  };
  const std::string echo = event(R"(c","conversationTitle":"Managed Bridge Echo)", "false",
                                 "managed-bridge-echo", "managed-bridge-echo", R"(echo: te\nxt)");
  const std::string selfTest =
      event(R"(managed-test-conversation","conversationTitle":" Smoke )", "true",
            "managed-bridge-self-test", "managed-bridge", R"(\/fern help)");
  const std::string send =
      R"({"sendMessage":{"_0":{"platform":"whatsapp","message":{"conversationId":"c",)"
      R"("text":"te\nxt","replyToMessageId":"r","attachments":[]}}}})";
  Service service;
  service.expect(greeting);
  const std::string before = timeInUtc();
  service.write(listen("testOnly", R"({"title":" Smoke "})"));
  std::set<std::string> ids;
  for (int count = 0; count < 40; ++count) {
    const std::string line = service.readLine();
    const std::string id = line.substr(line.find("messageId") + 12, 36);
    const std::string time = line.substr(line.find("timestampISO8601") + 19, 20);
    EXPECT_TRUE(std::regex_match(
        id, std::regex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")))
        << id;
    EXPECT_TRUE(ids.insert(id).second) << id;
    EXPECT_TRUE(before <= time && time <= timeInUtc()) << time;
    EXPECT_EQ(std::regex_replace(line, std::regex(id + "|" + time), "?"),
              std::regex_replace(count == 0 ? selfTest : echo, std::regex("ID|TIME"), "?"));
    service.write(send + "\n");
  }
}

TEST(Stub, servesThePlatformBehindTheFirstOption) {
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"-x", "y", "--platform", " T \xFF", "z"}, " T \uFFFD"},
      {{"--platform", ""}, ""},
      {{"--platform", "--platform", "b"}, "--platform"},
      {{"--platform", "a", "--platform", "b"}, "a"},
      {{"--platform"}, "whatsapp"},
      {{"--platform=telegram", "b"}, "whatsapp"},
      {{"--Platform", "b"}, "whatsapp"}};
  for (const auto& [arguments, platform] : cases) {
    Service service({.arguments = arguments});
    EXPECT_EQ(service.readLine(),
              R"({"hello":{"_0":{"bridgeVersion":"managed-process-3","platform":")" + platform +
                  "\"}}}\n");
  }
}

TEST(Stub, refusesALaunchThatTheHostDidNotMake) {
  Service service({.authorized = false});
  service.expectEnd("", refusal, 64);
}

TEST(Stub, failsOnceMoreIsAskedOfAClosedOutput) {
  for (const bool asked : {false, true}) {
    Service service;
    service.expect(greeting);
    service.closeOutput();
    service.write(asked ? connectRequest : "");
    service.closeInput();
    EXPECT_EQ(service.readErrors(), asked ? fatalLine("Broken pipe") : "");
    EXPECT_EQ(service.wait(), asked ? 1 : 0);
  }
}

TEST(Stub, keepsEveryByteOnNonBlockingStreams) {
  Service service({.streams = StreamKind::nonBlockingPipe});
  service.expect(greeting);
  // The host writes everything first: the answers fill the pipe, so the service has to wait for
  // room on one stream and, at the start, for bytes on the other.
  std::string requests;
  std::string answers;
  for (int request = 0; request < 1000; ++request) {
    requests += connectRequest;
    answers += connectEvents();
  }
  service.write(requests);
  service.expectEnd(answers);
}

}  // namespace

}  // namespace ferncrest::testing
