#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>

#include "protocol/coding.h"

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
    EXPECT_EQ(outcomeOf(line), row.substr(arrow + 4)) << line;
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

}  // namespace
}  // namespace ferncrest::testing
