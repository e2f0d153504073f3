#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "protocol/coding.h"
#include "stub/message_identity.h"
#include "stub/stub_bridge.h"

namespace ferncrest::testing {
namespace {

using Action = std::function<Outcome(const StubBridge&)>;

// Collects the lines that the stub says, and fails to take one of them: the first, the second...
struct Host {
  int refused = 0;  // none
  std::optional<std::string> fallbackReason;
  BridgeConnectionState state = BridgeErrorState{"e"};
  std::string heard;
  RandomBytes random;

  Outcome ask(const Action& action) {
    const EnvelopeSink emit = [this](const BridgeEnvelope& envelope) -> Outcome {
      if (--refused == 0) {
        return std::unexpected(Failure{"refused"});
      }
      heard += encodeEnvelopeLine(envelope);
      return {};
    };
    return action({"p", "v", "account", fallbackReason, state, random, emit});
  }
};

Action listen(const BridgeScope& scope) {
  return [scope](const StubBridge& stub) { return handleStartListening(stub, scope); };
}

Action send(const BridgeOutboundMessage& message) {
  return [message](const StubBridge& stub) { return handleSendMessage(stub, message); };
}

TEST(Stub, reportsItsStateAndStopsWhereTheHostTakesNoMore) {
  const auto changed = [](const std::string& state) {
    return R"({"stateChanged":{"_0":{"state":)" + state + "}}}\n";
  };
  const std::string hello = "{\"hello\":{\"_0\":{\"bridgeVersion\":\"v\",\"platform\":\"p\"}}}\n";
  const std::string before = changed(R"({"error":{"message":"e"}})");
  const std::string connecting = changed(R"({"connecting":{}})");
  const std::string connected = changed(R"({"connected":{"accountDisplayName":"account"}})");
  using Case = std::tuple<Action, int, std::string, BridgeConnectionState>;
  const Case cases[] = {{announce, 0, hello + before, BridgeErrorState{"e"}},
                        {announce, 1, "", BridgeErrorState{"e"}},
                        {announce, 2, hello, BridgeErrorState{"e"}},
                        {handleConnect, 0, connecting + connected, BridgeConnectedState{"account"}},
                        {handleConnect, 1, "", BridgeConnectingState{}},
                        {handleConnect, 2, connecting, BridgeConnectedState{"account"}},
                        {handleDisconnect, 0, changed(R"({"disconnected":{}})"), {}},
                        {handleDisconnect, 1, "", {}}};
  for (const auto& [action, refused, heard, after] : cases) {
    Host host;
    host.refused = refused;
    EXPECT_EQ(host.ask(action), refused == 0 ? Outcome() : std::unexpected(Failure{"refused"}));
    EXPECT_EQ(host.heard, heard);
    EXPECT_EQ(host.state, after);
  }
}

TEST(Stub, refusesRealScopesByTheirTitle) {
  const std::pair<BridgeScope, std::string> cases[] = {
      {BridgeConversationScope{"i", " 'b'\n"}, " 'b'\\n"},
      {BridgeChannelScope{"i", "\u00E9/"}, "\u00E9\\/"},
      {BridgeThreadScope{"i", ""}, ""},
      {BridgeThreadScope{"i", {}}, "Thread"}};
  for (const auto& [scope, title] : cases) {
    Host host;
    host.refused = 3;
    EXPECT_TRUE(host.ask(listen(scope)));
    host.fallbackReason = "why";
    EXPECT_TRUE(host.ask(listen(scope)));
    EXPECT_FALSE(host.ask(listen(scope)));
    EXPECT_EQ(host.heard,
              "{\"error\":{\"_0\":{\"message\":\"Managed bridge service is running, but real "
              "WhatsApp capture for '" +
                  title +
                  "' is not implemented yet.\"}}}\n"
                  "{\"error\":{\"_0\":{\"message\":\"Managed bridge backend is unavailable for '" +
                  title + "': why\"}}}\n");
    EXPECT_EQ(host.state, BridgeConnectionState(BridgeErrorState{"e"}));
  }
}

TEST(Stub, makesUpMessages) {
  const auto replaceBehind = [](std::string& text, const std::string& key, std::size_t length) {
    text.replace(text.find(key) + key.size(), length, "...");
  };
  const auto echo = [](const std::string& conversation, const std::string& text) {
    return R"({"inboundEvent":{"_0":{"event":{"conversationId":")" + conversation +
           R"(","conversationTitle":"Managed Bridge Echo","isDirectMessage":false,"messageId":"...",)"
           R"("rawReference":"managed-bridge-echo","senderDisplayName":"Ferncrest Managed Bridge",)"
           R"("senderId":"managed-bridge-echo","text":"echo: )" +
           text + "\",\"timestampISO8601\":\"...\"}}}}\n";
  };
  const std::pair<Action, std::string> cases[] = {
      {listen(BridgeTestOnlyScope{" Smoke "}),
       R"({"inboundEvent":{"_0":{"event":{"conversationId":"managed-test-conversation",)"
       R"("conversationTitle":" Smoke ","isDirectMessage":true,"messageId":"...",)"
       R"("rawReference":"managed-bridge-self-test","senderDisplayName":"Ferncrest Managed Bridge",)"
       R"("senderId":"managed-bridge","text":"\/fern help","timestampISO8601":"..."}}}})"
       "\n"},
      {send({"c", "te\nxt", "r", {{BridgeAttachment{}}}}), echo("c", "te\\nxt")},
      {send({}), echo("", "")}};
  for (const auto& [action, expected] : cases) {
    Host host;
    host.refused = 2;
    host.fallbackReason = "why";
    EXPECT_TRUE(host.ask(action));
    EXPECT_FALSE(host.ask(action));
    replaceBehind(host.heard, "messageId\":\"", 36);
    replaceBehind(host.heard, "timestampISO8601\":\"", 20);
    EXPECT_EQ(host.heard, expected);
  }
}

TEST(Stub, givesEachMessageItsOwnIdentifier) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  RandomBytes random;
  std::set<std::string> ids;
  for (int count = 0; count < 500; ++count) {
    std::string id = newMessageId(random).value();
    EXPECT_TRUE(ids.insert(id).second) << id;
    EXPECT_EQ(id.at(14), '4') << id;
    EXPECT_TRUE(std::string_view("89AB").contains(id.at(19))) << id;
    std::ranges::replace_if(id, [&](char digit) { return digits.contains(digit); }, 'x');
    EXPECT_EQ(id, "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx");
  }
}

TEST(Stub, stampsMessagesWithTheTimeInUtc) {
  const auto now = [] {
    // Not std::time, whose clock may lag behind the exact one by a few milliseconds.
    using std::chrono::system_clock;
    const std::time_t time = system_clock::to_time_t(system_clock::now());
    std::tm parts{};
    char text[21];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", ::gmtime_r(&time, &parts));
    return std::string(text);
  };
  const std::string before = now();
  const std::string stamp = currentTimestamp();
  EXPECT_LE(before, stamp);
  EXPECT_LE(stamp, now());
}

}  // namespace
}  // namespace ferncrest::testing
