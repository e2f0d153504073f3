#include <gtest/gtest.h>

#include <algorithm>
#include <expected>
#include <string>
#include <variant>

#include "protocol/coding.h"
#include "protocol/line_buffer.h"
#include "table.h"

// Envelopes and faults in lines, as users of the library get them, and the memory of long lines.

namespace ferncrest::testing {

namespace {

std::string exchanged(std::string text, char old, char other) {
  std::ranges::replace(text, old, other);
  return text;
}

using Decoded = std::expected<BridgeEnvelope, DecodingError>;

Decoded withoutAttachments(Decoded decoded) {
  auto* const request = decoded ? std::get_if<BridgeSendMessageRequest>(&*decoded) : nullptr;
  if (request != nullptr && request->message.attachments) {
    request->message.attachments->clear();
  }
  return decoded;
}

// The envelope written again, or the fault: kind, expected type and path; for a missing key also
// its name, and for a choice without exactly one case that sentence. In the JSON, ' stands for ".
std::string outcomeOf(const std::string& line) {
  const std::string json = exchanged(line, '\'', '"');
  const Decoded envelope = decodeEnvelope(json);
  EXPECT_EQ(decodeEnvelope(json, Attachments::dropped), withoutAttachments(envelope)) << json;
  if (envelope) {
    return exchanged(encodeEnvelope(*envelope), '"', '\'');
  }
  const auto& [kind, type, path, description] = envelope.error();
  constexpr const char* kinds[] = {"mismatch ", "missing ", "null ", "invalid "};
  std::string outcome = kinds[static_cast<std::size_t>(kind)];
  outcome += type;
  for (const std::string& key : path) {
    outcome.append("/").append(key);
  }
  const std::size_t detail = std::min(description.find('"'), description.find("Invalid"));
  if (detail != std::string::npos) {
    outcome.append(" ").append(description, detail);
  }
  return exchanged(outcome, '"', '\'');
}

TEST(Decode, givesTheEnvelopeOrItsFirstFault) {
  const std::string connect = "{'connect':{'_0':{'platform':'p'}}}";
  const std::string invalidNumber = " Invalid number of keys found, expected one.";
  const std::string message = "{'sendMessage':{'_0':{'message':{'conversationId':'c','text':'t'";
  expectEach<std::string, std::string>(
      outcomeOf,
      {{" {\t'connect' : { '_0' : { 'platform' : 'p' } } }\r\n", connect},
       {"{'connect':{'_0':{'platform':'p'}},'id':7,'Hello':{}}", connect},
       {"{'connect':{'x':[null],'_0':{'_0':{},'platform':'p'},'hello':{}}}", connect},
       {"{'\\u0063onnect':{'\\u005F0':{'pl\\u0061tform':'\\u0070'}}}", connect},
       // Of equal keys the first one counts.
       {"{'connect':{'_0':{'platform':'p','platform':7},'_0':null},'connect':7}", connect},
       {"{'connect':{'_0':{'platform':7,'platform':'p'}}}", "mismatch String/connect/_0/platform"},
       {"{'connect':{'_0':7},'connect':{}}", "mismatch BridgeConnectRequest/connect/_0"},
       {"[1]", "mismatch BridgeEnvelope"},
       {"{'Connect':{'_0':{'platform':'p'}}}", "mismatch BridgeEnvelope" + invalidNumber},
       {"{'connect\\u0000':{'_0':{'platform':'p'}}}", "mismatch BridgeEnvelope" + invalidNumber},
       {"{'connect':7,'x':0,'hello':7,'connect':8}", "mismatch BridgeEnvelope" + invalidNumber},
       {"{'startListening':{'_0':{'platform':'p','scope':{'Thread':{'id':'i'}}}}}",
        "mismatch BridgeScope/startListening/_0/scope" + invalidNumber},
       {"{'hello':null}", "null Object/hello"},
       {"{'hello':{}}", "missing BridgeHello/hello '_0'."},
       {"{'hello':{'_0':{'platform':7}},'x':tru}", "invalid BridgeEnvelope"},
       {"[", "invalid BridgeEnvelope"},
       // Faults are looked for in the order in which the fields are declared.
       {"{'hello':{'_0':{'platform':''}}}", "missing BridgeHello/hello/_0 'bridgeVersion'."},
       {"{'hello':{'_0':{'bridgeVersion':1}}}", "missing BridgeHello/hello/_0 'platform'."},
       {"{'hello':{'_0':{'platform':7}}}", "mismatch String/hello/_0/platform"},
       {"{'hello':{'_0':{'bridgeVersion':7,'platform':8}}}", "mismatch String/hello/_0/platform"},
       {"{'hello':{'_0':{'platform':8,'bridgeVersion':7}}}", "mismatch String/hello/_0/platform"},
       {"{'stateChanged':{'_0':{'state':{'connected':{'accountDisplayName':null}}}}}",
        "{'stateChanged':{'_0':{'state':{'connected':{}}}}}"},
       {"{'stateChanged':{'_0':{'state':{'disconnected':{'message':7},'x':0}}}}",
        "{'stateChanged':{'_0':{'state':{'disconnected':{}}}}}"},
       {message + ",'attachments':null,'replyToMessageId':null},'platform':'p'}}}",
        message + "},'platform':'p'}}}"},
       {message + ",'attachments':{}},'platform':'p'}}}",
        "mismatch Array/sendMessage/_0/message/attachments"},
       {message +
            ",'attachments':[{'kind':'','fileName':'','mimeType':''},{},0]},'platform':'p'}}}",
        "missing BridgeAttachment/sendMessage/_0/message/attachments/1 'kind'."},
       {"{'inboundEvent':{'_0':{'event':{'messageId':'','conversationId':'','conversationTitle':'',"
        "'senderId':'','senderDisplayName':'','text':'','timestampISO8601':'',"
        "'isDirectMessage':0}}}}",
        "mismatch Bool/inboundEvent/_0/event/isDirectMessage"}});
}

TEST(Encode, writesEachMemberUnderItsName) {
  const BridgeAttachment full{"i", "k", "f", "m", "l", "d", "c"};
  for (const auto& [message, text] :
       {std::pair<BridgeOutboundMessage, std::string>{
            {"id", "t", {}, {{}}}, "'attachments':[],'conversationId':'id','text':'t'"},
        {{"id", "t", "r", {{full, {}}}},
         "'attachments':[{'caption':'c','dataBase64':'d','fileName':'f','id':'i','kind':'k',"
         "'localPath':'l','mimeType':'m'},{'fileName':'','kind':'','mimeType':''}],"
         "'conversationId':'id','replyToMessageId':'r','text':'t'"}}) {
    const BridgeEnvelope envelope = BridgeSendMessageRequest{"p", message};
    const std::string line =
        exchanged("{'sendMessage':{'_0':{'message':{" + text + "},'platform':'p'}}}", '\'', '"');
    EXPECT_EQ(encodeEnvelope(envelope), line);
    EXPECT_EQ(encodeEnvelopeLine(envelope), line + "\n");
    const Decoded decoded = decodeEnvelope(line);
    EXPECT_EQ(decoded, envelope) << line;
    EXPECT_EQ(decodeEnvelope(line, Attachments::dropped), withoutAttachments(decoded)) << line;
  }
}

TEST(Encode, hasRoomForTheLongestEscapes) {
  for (const std::size_t count : std::initializer_list<std::size_t>{1, 20, 256, 257, 100'000}) {
    std::string escaped;
    for (std::size_t index = 0; index < count; ++index) {
      escaped += "\\u001f";
    }
    EXPECT_EQ(encodeEnvelope(BridgeErrorEvent{std::string(count, '\x1F')}),
              R"({"error":{"_0":{"message":")" + escaped + R"("}}})");
  }
}

TEST(LineBuffer, holdsTheMemoryOfALongLineNoLongerThanAsked) {
  LineBuffer buffer;
  const std::size_t usual = buffer.room().size();
  const std::string rest(usual - 1000, 'r');
  buffer.append(std::string(std::size_t{5} << 20U, 'x') + "\n" + rest);
  EXPECT_FALSE(buffer.holdsSpareMemory());
  EXPECT_TRUE(buffer.next());
  EXPECT_TRUE(buffer.holdsSpareMemory());
  buffer.releaseSpareMemory();
  EXPECT_FALSE(buffer.holdsSpareMemory());
  EXPECT_LT(buffer.room().size(), 2 * usual);
  buffer.append(" \r\n");
  EXPECT_EQ(buffer.next()->terminated, rest + "\n");
}

}  // namespace

}  // namespace ferncrest::testing
