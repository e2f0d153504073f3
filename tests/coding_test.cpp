#include "protocol/coding.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

// Envelopes to JSON and back. A row that fails is printed as it stands in its table.

namespace ferncrest::testing {

namespace {

// The envelope written again, or the fault: kind, expected type and path, for a missing key also
// its name, for a choice without exactly one case that sentence.
std::string outcomeOf(std::string_view line) {
  const auto envelope = decodeEnvelope(line);
  if (envelope) {
    return encodeEnvelope(*envelope);
  }
  const auto& [kind, type, path, description] = envelope.error();
  constexpr const char* kinds[] = {"mismatch ", "missing ", "null ", "invalid "};
  std::string outcome = kinds[static_cast<std::size_t>(kind)];
  outcome += type;
  for (const std::string& key : path) {
    outcome.append("/").append(key);
  }
  if (const std::size_t quote = description.find('"'); quote != std::string::npos) {
    outcome += ' ';
    outcome += description.substr(quote, description.rfind('"') - quote + 1);
  }
  return description.starts_with("Invalid") ? outcome + ": " + description : outcome;
}

// Each row: what stands between `before` and `after`, and the outcome of the whole line.
void expectOutcomes(const std::string& before, const std::string& rows, const std::string& after) {
  std::istringstream lines(rows);
  for (std::string row; std::getline(lines >> std::ws, row);) {
    const std::size_t arrow = row.find(" => ");
    const std::string line = before + row.substr(0, arrow) + after;
    EXPECT_EQ(outcomeOf(line), row.substr(arrow + 4)) << "row " << row;
  }
}

TEST(Decode, readsEnvelopesAndRequests) {
  expectOutcomes("", R"~(
      {"connect":{"_0":{"platform":""}}} => {"connect":{"_0":{"platform":""}}}
      { "connect" : { "_0" : { "platform" : "p" } } }  => {"connect":{"_0":{"platform":"p"}}}
      {"connect":{"_0":{"platform":"p"}},"id":7,"Hello":{}} => {"connect":{"_0":{"platform":"p"}}}
      {"connect":{"x":[null],"_0":{"_0":{},"platform":"p"},"hello":{}}} => {"connect":{"_0":{"platform":"p"}}}
      {"\u0063onnect":{"\u005F0":{"pl\u0061tform":"\u0070"}}} => {"connect":{"_0":{"platform":"p"}}}
      {"connect":{"_0":{"platform":"p"}},"connect":7} => {"connect":{"_0":{"platform":"p"}}}
      {"connect":{"_0":{"platform":"p"},"_0":null}} => {"connect":{"_0":{"platform":"p"}}}
      {"connect":{"_0":{"platform":"p","platform":7}}} => {"connect":{"_0":{"platform":"p"}}}
      {"connect":{"_0":{"platform":7,"platform":"p"}}} => mismatch String/connect/_0/platform
      {"connect":{"_0":7},"connect":{"_0":{"platform":"p"}}} => mismatch BridgeConnectRequest/connect/_0
      [1] => mismatch BridgeEnvelope
      null => null BridgeEnvelope
      {} => mismatch BridgeEnvelope: Invalid number of keys found, expected one.
      {"Connect":{"_0":{"platform":"p"}}} => mismatch BridgeEnvelope: Invalid number of keys found, expected one.
      {"connect\u0000":{"_0":{"platform":"p"}}} => mismatch BridgeEnvelope: Invalid number of keys found, expected one.
      {"connect":7,"x":0,"hello":7,"connect":8} => mismatch BridgeEnvelope: Invalid number of keys found, expected one.
      {"hello":null} => null Object/hello
      {"hello":"_0"} => mismatch Object/hello
      {"hello":{}} => missing BridgeHello/hello "_0"
      {"hello":{"_0":null}} => null BridgeHello/hello/_0
      {"hello":{"_0":[]}} => mismatch BridgeHello/hello/_0
      {"hello":{"_0":{}}} => missing BridgeHello/hello/_0 "platform"
      {"hello":{"_0":{"platform":"p"}}} => missing BridgeHello/hello/_0 "bridgeVersion"
      {"hello":{"_0":{"bridgeVersion":1,"Platform":"p"}}} => missing BridgeHello/hello/_0 "platform"
      {"hello":{"_0":{"bridgeVersion":1,"platform":null}}} => null String/hello/_0/platform
      {"hello":{"_0":{"bridgeVersion":true,"platform":"p"}}} => mismatch String/hello/_0/bridgeVersion
      {"hello":{"_0":{"bridgeVersion":7,"platform":8}}} => mismatch String/hello/_0/platform
      {"hello":{"_0":{"platform":8,"bridgeVersion":7}}} => mismatch String/hello/_0/platform
      {"hello":{"_0":{"platform":7}},"x":tru} => invalid BridgeEnvelope)~",
                 "");
  EXPECT_EQ(outcomeOf(R"({"error":{"_0":{"message":"\u00e9\u20AC\ud83D\uDe00\b\f\r\t/"}}})"),
            "{\"error\":{\"_0\":{\"message\":\"\u00E9\u20AC\U0001F600\\b\\f\\r\\t\\/\"}}}");
}

TEST(Decode, readsScopesAndStates) {
  expectOutcomes(R"({"stateChanged":{"_0":{"state":)", R"~(
      {"connected":{"accountDisplayName":null}} => {"stateChanged":{"_0":{"state":{"connected":{}}}}}
      {"disconnected":{"message":7},"x":0} => {"stateChanged":{"_0":{"state":{"disconnected":{}}}}}
      {"connecting":"now"} => mismatch BridgeConnectingState/stateChanged/_0/state/connecting
      {"error":{}} => missing BridgeErrorState/stateChanged/_0/state/error "message"
      {} => mismatch BridgeConnectionState/stateChanged/_0/state: Invalid number of keys found, expected one.
      {"connecting":{},"error":7} => mismatch BridgeConnectionState/stateChanged/_0/state: Invalid number of keys found, expected one.)~",
                 "}}}");
  expectOutcomes(R"({"startListening":{"_0":{"scope":)", R"~(
      {"thread":{"title":null,"id":"i"}} => {"startListening":{"_0":{"platform":"p","scope":{"thread":{"id":"i"}}}}}
      {"thread":{"title":7}} => missing BridgeThreadScope/startListening/_0/scope/thread "id"
      {"thread":{"title":7,"id":"i"}} => mismatch String/startListening/_0/scope/thread/title
      {"Thread":{"id":"i"}} => mismatch BridgeScope/startListening/_0/scope: Invalid number of keys found, expected one.
      null,"platform":7 => mismatch String/startListening/_0/platform)~",
                 R"(,"platform":"p"}}})");
}

TEST(Decode, readsMessages) {
  expectOutcomes(R"({"sendMessage":{"_0":{"platform":"p","message":{"text":"t",)", R"~(
      "conversationId":"c","attachments":null,"replyToMessageId":null => {"sendMessage":{"_0":{"message":{"conversationId":"c","text":"t"},"platform":"p"}}}
      "attachments":7 => missing BridgeOutboundMessage/sendMessage/_0/message "conversationId"
      "attachments":{},"conversationId":"c" => mismatch Array/sendMessage/_0/message/attachments
      "attachments":[0],"conversationId":"c" => mismatch BridgeAttachment/sendMessage/_0/message/attachments/0
      "attachments":[{"kind":"","fileName":"","mimeType":""},{"kind":"","caption":1},0],"conversationId":"c" => missing BridgeAttachment/sendMessage/_0/message/attachments/1 "fileName")~",
                 "}}}}");
  expectOutcomes(
      R"({"inboundEvent":{"_0":{"event":{"isDirectMessage":)", R"~(
      null => null Bool/inboundEvent/_0/event/isDirectMessage
      "true" => mismatch Bool/inboundEvent/_0/event/isDirectMessage
      0 => mismatch Bool/inboundEvent/_0/event/isDirectMessage)~",
      R"(,"messageId":"","conversationId":"","conversationTitle":"","senderId":"","senderDisplayName":"","text":"","timestampISO8601":""}}}})");
}

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

bool isWellFormed(std::string_view text) {
  const auto envelope = decodeEnvelope(text);
  return envelope || envelope.error().kind != DecodingError::Kind::invalidJson;
}

// Each value between the bars of `values`: as the text, where nobody needs it and where a name is
// expected.
void expectVerdict(bool wellFormed, const std::string& values) {
  std::istringstream stream(values);
  for (std::string value; std::getline(stream, value, '|');) {
    for (const std::string& line :
         {value, "[" + value + "]", R"({"hello":{"_0":{"platform":)" + value + "}}}",
          R"({"x":)" + value + R"(,"connect":{"_0":{"platform":"p"}}})",
          R"({"connect":{"_0":{"platform":"p"},"x":)" + value + "}}",
          R"({"stateChanged":{"_0":{"state":{"connecting":{"x":[)" + value + "]}}}}}"}) {
      EXPECT_EQ(isWellFormed(line), wellFormed) << "row " << value << " in " << line;
    }
  }
}

TEST(JsonReader, judgesEveryValueToItsEnd) {
  expectVerdict(true, R"(0|-0|10|-1.50|0e1|0E+0|1e-05|1.0E10|1e999|123456789012345678901)");
  expectVerdict(true,
                R"(true|false|null|[]|{}|[ ]|[0 , [1]]|{"a":{},"a":[]}|{"":{"\u0000":"\\"}})");
  expectVerdict(true, R"(""|"\"\\\/\b\f\n\r\t"|"\u0000\uFFFF\ud7ff\uE000"|"\ud83d\uDE00")");
  expectVerdict(true, "{\t}\r\n|\"\x7F\u0080\u2028\uFFFD\U0010FFFF\"");
  expectVerdict(false, "-|+1|01|-01|00|1.|.5|-.5|1e|1e+|1.e1|0x1|1a|1_0|1 2|- 1|NaN|Infinity|1,");
  expectVerdict(false, "True|tru|truely|nul|nulll|'a'|[|]|[,]|[1,]|[1}|[1 2]|{}{}|[]]|/**/1|//\n1");
  expectVerdict(false,
                R"({|}|{,}|{"a"}|{"a":}|{1:2}|{"a":1,}|{"a":1]|{"a" 1}|{a:1}|{"a":1 "b":2})");
  expectVerdict(false, R"("|"a|"\"|"a""b"|"\x"|"\U0041"|"\'"|"\u12"|"\u12G4"|"\u 123"|{"\x":1})");
  expectVerdict(false, R"("\ud800"|"\udc00"|"\ud800\ud800"|"\ud800x"|"\ud800\n"|"\ud800\u0041")");
  expectVerdict(false, R"("\udc00\ud800"|"\udc00\udc00"|{"\ud800":1}|{"a":1:2})");
  expectVerdict(false, "\"\n\"|\"\t\"|\"\x1F\"|\v1|1\f|1\u00A0|\uFEFF1");
  expectVerdict(false, std::string("\"\0\"|\0|1\0", 8));
  EXPECT_FALSE(isWellFormed(""));
}

TEST(JsonReader, nestsUpTo1024Levels) {
  const auto lists = [](std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
  };
  EXPECT_TRUE(isWellFormed(lists(1024)));
  EXPECT_FALSE(isWellFormed(lists(1025)));
  EXPECT_TRUE(isWellFormed(R"({"a":{"b":)" + lists(1022) + "}}"));
  EXPECT_FALSE(isWellFormed(R"({"a":{"b":)" + lists(1023) + "}}"));
  std::string siblings = "[[]";
  for (int count = 0; count < 3000; ++count) {
    siblings += ",[{}]";
  }
  EXPECT_TRUE(isWellFormed(siblings + "]"));
}

}  // namespace

}  // namespace ferncrest::testing
