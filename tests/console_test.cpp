#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "examples/console/attachment.h"
#include "examples/console/commands.h"
#include "examples/console/event_line.h"
#include "protocol/coding.h"

// What the example console understands and shows.

namespace ferncrest::testing {

namespace {

using Rows = std::vector<std::pair<std::string, std::string>>;

// The line that a command sends, or what it does instead; of a failure the first sentence.
std::string sentBy(const std::string& command) {
  const auto parsed = parseCommand(command, "p");
  if (!parsed) {
    return parsed.error().description.substr(0, parsed.error().description.find_first_of(".?"));
  }
  if (std::holds_alternative<ShowHelp>(*parsed) || std::holds_alternative<Quit>(*parsed)) {
    return std::holds_alternative<Quit>(*parsed) ? "quits" : "shows help";
  }
  const auto* const request = std::get_if<BridgeEnvelope>(&*parsed);
  return request != nullptr ? encodeEnvelope(*request) : std::get<RawLine>(*parsed).text;
}

TEST(ConsoleCommands, becomeRequests) {
  const std::string listen = R"({"startListening":{"_0":{"platform":"p","scope":)";
  const std::string send = R"({"sendMessage":{"_0":{"message":{"conversationId":)";
  const std::string end = R"(,"platform":"p"}}})";
  const Rows rows{
      {"connect", R"({"connect":{"_0":{"platform":"p"}}})"},
      {"disconnect", R"({"disconnect":{"_0":{"platform":"p"}}})"},
      {"stop", R"({"stopListening":{"_0":{"platform":"p"}}})"},
      {"listen test", listen + R"({"testOnly":{"title":"Test"}}}}})"},
      {"listen  test  A b ", listen + R"({"testOnly":{"title":"A b"}}}}})"},
      {"listen conversation 7", listen + R"({"conversation":{"id":"7","title":"7"}}}}})"},
      {"listen channel \"a b\" C d", listen + R"({"channel":{"id":"a b","title":"C d"}}}}})"},
      {"listen thread 7", listen + R"({"thread":{"id":"7"}}}}})"},
      {"listen thread 7 T", listen + R"({"thread":{"id":"7","title":"T"}}}}})"},
      {"send c say \"hi\"  now", send + R"("c","text":"say \"hi\"  now"},"platform":"p"}}})"},
      {"send --reply-to m c x", send + R"("c","replyToMessageId":"m","text":"x"})" + end},
      {"send c --reply-to m", send + R"("c","text":"--reply-to m"},"platform":"p"}}})"},
      {"send \"c x", send + R"("\"c","text":"x"})" + end},
      {"raw {\"x\": 1 }", "{\"x\": 1 }"},
      {"{\"x\": 1 }", "{\"x\": 1 }"},
      {"listen", "What to listen to"},
      {"listen channel", "Which channel"},
      {"send c", "What to send, and where"},
      {"send \"--file\" x", send + R"("--file","text":"x"},"platform":"p"}}})"},
      {"send --fil x y", "There is no option --fil for send"},
      {"send --file", "The option --file needs a value"},
      {"send --file /nonexistent/file c x",
       "Cannot attach /nonexistent/file: No such file or directory"},
      {"Connect", "There is no command 'Connect'"},
      {"?", "shows help"},
      {"-h", "shows help"},
      {"exit", "quits"},
  };
  for (const auto& [input, expected] : rows) {
    EXPECT_EQ(sentBy(input), expected) << input;
  }
}

TEST(ConsoleCommands, encodeAttachedBytes) {
  const Rows rows{
      {"", ""}, {std::string(1, '\0'), "AA=="}, {"\xFF\xFE", "//4="}, {"\xFF\xFE\xFD", "//79"}};
  for (const auto& [input, expected] : rows) {
    EXPECT_EQ(base64(input), expected);
  }
}

TEST(ConsoleEvents, becomeReadableLines) {
  const Rows rows{
      {R"({"hello":{"_0":{"bridgeVersion":"v","platform":"p"}}})", "T  hello    p, bridge v"},
      {R"({"stateChanged":{"_0":{"state":{"connected":{}}}}})", "T  state    connected"},
      {R"({"stateChanged":{"_0":{"state":{"connected":{"accountDisplayName":"a"}}}}})",
       "T  state    connected as a"},
      {R"({"stateChanged":{"_0":{"state":{"error":{"message":"m"}}}}})", "T  state    error: m"},
      {R"({"error":{"_0":{"message":"a\n\t\u001b[2J\u007f\u009b\u202e\u00e9"}}})",
       "T  error    a\\n\\t\\u{1B}[2J\\u{7F}\\u{9B}\\u{202E}\xC3\xA9"},
      {R"({"inboundEvent":{"_0":{"event":{"conversationId":"c","conversationTitle":"t",)"
       R"("isDirectMessage":true,"messageId":"m\r","senderDisplayName":"s\u0000","senderId":"i",)"
       R"("text":"x","timestampISO8601":"z"}}}})",
       "T  message  s\\u{0} directly in t: x  [c m\\u{D}]"},
      {R"({"connect":{"_0":{"platform":"p"}}})",
       R"(T  request  {"connect":{"_0":{"platform":"p"}}})"},
  };
  for (const auto& [input, expected] : rows) {
    const auto envelope = decodeEnvelope(input);
    ASSERT_TRUE(envelope) << input;
    EXPECT_EQ(eventLine("T", *envelope, {}), expected);
  }
  EXPECT_EQ(escaped("a\xC3\xA9", {.unicode = false}), "a\\u{E9}");
  EXPECT_EQ(otherLine("T", "log", "\x1B", {.colour = true}),
            "\x1B[2mT\x1B[0m  \x1B[2mlog\x1B[0m      \\u{1B}");
}

}  // namespace

}  // namespace ferncrest::testing
