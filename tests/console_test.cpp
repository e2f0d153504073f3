#include <gtest/gtest.h>

#include <string>
#include <variant>

#include "examples/console/attachment.h"
#include "examples/console/commands.h"
#include "examples/console/event_line.h"
#include "protocol/coding.h"
#include "table.h"

// What the example console understands and shows.

namespace ferncrest::testing {

namespace {

// The line that a command sends, or what it does instead; of a failure the first sentence.
std::string sentBy(const std::string& command) {
  const auto parsed = parseCommand(command, "p");
  if (!parsed) {
    return parsed.error().description.substr(0, parsed.error().description.find_first_of(".?"));
  }
  if (const auto* const request = std::get_if<BridgeEnvelope>(&*parsed)) {
    return encodeEnvelope(*request);
  }
  if (const auto* const line = std::get_if<RawLine>(&*parsed)) {
    return line->text;
  }
  return std::holds_alternative<Quit>(*parsed) ? "quits" : "shows help";
}

TEST(ConsoleCommands, becomeRequests) {
  const std::string listen = R"({"startListening":{"_0":{"platform":"p","scope":)";
  const std::string send = R"({"sendMessage":{"_0":{"message":{"conversationId":)";
  const std::string end = R"(},"platform":"p"}}})";
  expectEach<std::string, std::string>(
      sentBy,
      {{"connect", R"({"connect":{"_0":{"platform":"p"}}})"},
       {"disconnect", R"({"disconnect":{"_0":{"platform":"p"}}})"},
       {"stop", R"({"stopListening":{"_0":{"platform":"p"}}})"},
       {"listen test", listen + R"({"testOnly":{"title":"Test"}}}}})"},
       {"listen  test  A b ", listen + R"({"testOnly":{"title":"A b"}}}}})"},
       {"listen conversation 7", listen + R"({"conversation":{"id":"7","title":"7"}}}}})"},
       {"listen channel \"a b\"\tC d", listen + R"({"channel":{"id":"a b","title":"C d"}}}}})"},
       {"listen thread 7", listen + R"({"thread":{"id":"7"}}}}})"},
       {"listen thread 7 T", listen + R"({"thread":{"id":"7","title":"T"}}}}})"},
       {"send c say \"hi\"  now", send + R"("c","text":"say \"hi\"  now")" + end},
       {"send --reply-to m c x", send + R"("c","replyToMessageId":"m","text":"x")" + end},
       {"send c --reply-to m", send + R"("c","text":"--reply-to m")" + end},
       {"send \"--c x", send + R"("\"--c","text":"x")" + end},
       {"send \"--file\" x", send + R"("--file","text":"x")" + end},
       {"raw {\"x\": 1 }", "{\"x\": 1 }"},
       {"{\"x\": 1 }", "{\"x\": 1 }"},
       {"listen", "What to listen to"},
       {"listen channel", "Which channel"},
       {"send c", "What to send, and where"},
       {"send --fil x y", "There is no option --fil for send"},
       {"send --file", "The option --file needs a value"},
       {"send --file /no/file c x", "Cannot attach /no/file: No such file or directory"},
       {"Connect", "There is no command 'Connect'"},
       {"?", "shows help"},
       {"exit", "quits"}});
}

TEST(ConsoleCommands, encodeAttachedBytes) {
  expectEach<std::string, std::string>(
      base64, {{"", ""}, {{"\0", 1}, "AA=="}, {"\xFF\xFE", "//4="}, {"\xFF\xFE\xFD", "//79"}});
}

TEST(ConsoleEvents, becomeReadableLines) {
  const auto shown = [](const BridgeEnvelope& event) { return eventLine("T", event, {}); };
  expectEach<BridgeEnvelope, std::string>(
      shown, {{BridgeHello{"p", "v"}, "T  hello    p, bridge v"},
              {BridgeStateChangedEvent{BridgeConnectedState{}}, "T  state    connected"},
              {BridgeStateChangedEvent{BridgeConnectedState{"a"}}, "T  state    connected as a"},
              {BridgeStateChangedEvent{BridgeErrorState{"m"}}, "T  state    error: m"},
              {BridgeErrorEvent{"a\n\t\x1B[2J\x7F\u009B\u202E\u00E9"},
               "T  error    a\\n\\t\\u{1B}[2J\\u{7F}\\u{9B}\\u{202E}\u00E9"},
              {BridgeInboundEvent{{"m\r", "c", "t", "i", {"s\0", 2}, "x", "z", true, {}}},
               "T  message  s\\u{0} directly in t: x  [c m\\u{D}]"},
              {BridgeConnectRequest{"p"}, R"(T  request  {"connect":{"_0":{"platform":"p"}}})"}});
  EXPECT_EQ(escaped("a\u00E9", {.unicode = false}), "a\\u{E9}");
  EXPECT_EQ(otherLine("T", "log", "\x1B", {.colour = true}),
            "\x1B[2mT\x1B[0m  \x1B[2mlog\x1B[0m      \\u{1B}");
}

}  // namespace

}  // namespace ferncrest::testing
