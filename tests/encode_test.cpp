#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

#include "protocol/coding.h"

namespace ferncrest::testing {
namespace {

using Case = std::pair<BridgeEnvelope, std::string>;

Case listening(const BridgeScope& scope, const std::string& text) {
  return {BridgeStartListeningRequest{"p", scope},
          R"({"startListening":{"_0":{"platform":"p","scope":)" + text + "}}}"};
}

Case sending(const BridgeOutboundMessage& message, const std::string& text) {
  return {BridgeSendMessageRequest{"p", message},
          R"({"sendMessage":{"_0":{"message":{)" + text + R"(},"platform":"p"}}})"};
}

Case received(const BridgeInboundMessageEvent& event, const std::string& text) {
  return {BridgeInboundEvent{event},
          R"({"inboundEvent":{"_0":{"event":{"conversationId":"c","conversationTitle":"ct",)" +
              text + R"("senderDisplayName":"sn","senderId":"s","text":"t",)" +
              R"("timestampISO8601":"ts"}}}})"};
}

Case changed(const BridgeConnectionState& state, const std::string& text) {
  return {BridgeStateChangedEvent{state}, R"({"stateChanged":{"_0":{"state":)" + text + "}}}"};
}

TEST(Encode, writesTheExactBytesAndReadsThemBack) {
  const BridgeAttachment bare{{}, "k", "f", "m", {}, {}, {}};
  const BridgeAttachment full{"i", "k", "f", "m/n", "/l", "d==", "cap"};
  const Case cases[] = {
      {BridgeHello{.platform = "whatsapp", .bridgeVersion = "managed-process-3"},
       R"({"hello":{"_0":{"bridgeVersion":"managed-process-3","platform":"whatsapp"}}})"},
      {BridgeConnectRequest{"p"}, R"({"connect":{"_0":{"platform":"p"}}})"},
      {BridgeDisconnectRequest{"p"}, R"({"disconnect":{"_0":{"platform":"p"}}})"},
      {BridgeStopListeningRequest{""}, R"({"stopListening":{"_0":{"platform":""}}})"},
      {BridgeErrorEvent{"e"}, R"({"error":{"_0":{"message":"e"}}})"},
      listening(BridgeConversationScope{"i", "t"}, R"({"conversation":{"id":"i","title":"t"}})"),
      listening(BridgeChannelScope{"i", "t"}, R"({"channel":{"id":"i","title":"t"}})"),
      listening(BridgeThreadScope{"i", ""}, R"({"thread":{"id":"i","title":""}})"),
      listening(BridgeThreadScope{"i", {}}, R"({"thread":{"id":"i"}})"),
      listening(BridgeTestOnlyScope{"t"}, R"({"testOnly":{"title":"t"}})"),
      sending({"c", "t", {}, {}}, R"("conversationId":"c","text":"t")"),
      sending({"c", "t", "r", {{}}},
              R"("attachments":[],"conversationId":"c","replyToMessageId":"r","text":"t")"),
      sending({"c", "t", {}, {{bare, full}}},
              R"("attachments":[{"fileName":"f","kind":"k","mimeType":"m"},)"
              R"({"caption":"cap","dataBase64":"d==","fileName":"f","id":"i","kind":"k",)"
              R"("localPath":"\/l","mimeType":"m\/n"}],"conversationId":"c","text":"t")"),
      received({"m", "c", "ct", "s", "sn", "t", "ts", false, {}},
               R"("isDirectMessage":false,"messageId":"m",)"),
      received({"m", "c", "ct", "s", "sn", "t", "ts", true, "r"},
               R"("isDirectMessage":true,"messageId":"m","rawReference":"r",)"),
      changed(BridgeDisconnectedState{}, R"({"disconnected":{}})"),
      changed(BridgeConnectingState{}, R"({"connecting":{}})"),
      changed(BridgeConnectedState{}, R"({"connected":{}})"),
      changed(BridgeConnectedState{"a"}, R"({"connected":{"accountDisplayName":"a"}})"),
      changed(BridgeErrorState{"e"}, R"({"error":{"message":"e"}})")};
  for (const auto& [envelope, text] : cases) {
    EXPECT_EQ(encodeEnvelope(envelope), text);
    EXPECT_EQ(encodeEnvelopeLine(envelope), text + "\n");
    EXPECT_EQ(decodeEnvelope(text), envelope) << text;
  }
}

TEST(Encode, escapesWhatMustBeAtEveryPlaceOfAWord) {
  constexpr std::string_view named = "\"\\/\b\f\n\r\t";
  constexpr std::string_view letters = "\"\\/bfnrt";
  for (char character = 0; character < 0x7F; ++character) {
    std::string written{character};
    if (const std::size_t index = named.find(character); index != std::string_view::npos) {
      written = "\\" + std::string(letters.substr(index, 1));
    } else if (character < 0x20) {
      char escape[7];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character));
      written = escape;
    }
    for (std::size_t place = 0; place < 18; ++place) {
      const std::string before(place, '\x7F');
      const std::string after = "\u00E9!\U0001F600\u2028 #[].0";
      const BridgeEnvelope envelope = BridgeErrorEvent{before + character + after};
      const std::string text = encodeEnvelope(envelope);
      EXPECT_EQ(text, R"({"error":{"_0":{"message":")" + before + written + after + "\"}}}");
      EXPECT_EQ(decodeEnvelope(text), envelope);
    }
  }
}

}  // namespace
}  // namespace ferncrest::testing
