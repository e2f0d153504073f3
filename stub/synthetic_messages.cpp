#include "stub/synthetic_messages.h"

#include <utility>

#include "stub/message_identity.h"

namespace ferncrest {

namespace {

constexpr const char* stubSenderName = "Ferncrest Managed Bridge";
constexpr const char* echoSenderId = "managed-bridge-echo";

}  // namespace

std::expected<BridgeInboundMessageEvent, Failure> makeSelfTestMessage(RandomBytes& random,
                                                                      std::string title) {
  auto id = newMessageId(random);
  if (!id) {
    return std::unexpected(id.error());
  }
  return BridgeInboundMessageEvent{.messageId = std::move(*id),
                                   .conversationId = "managed-test-conversation",
                                   .conversationTitle = std::move(title),
                                   .senderId = "managed-bridge",
                                   .senderDisplayName = stubSenderName,
                                   .text = "/fern help",
                                   .timestampISO8601 = currentTimestamp(),
                                   .isDirectMessage = true,
                                   .rawReference = "managed-bridge-self-test"};
}

std::expected<BridgeInboundMessageEvent, Failure> makeEchoMessage(RandomBytes& random,
                                                                  BridgeOutboundMessage message) {
  auto id = newMessageId(random);
  if (!id) {
    return std::unexpected(id.error());
  }
  return BridgeInboundMessageEvent{.messageId = std::move(*id),
                                   .conversationId = std::move(message.conversationId),
                                   .conversationTitle = "Managed Bridge Echo",
                                   .senderId = echoSenderId,
                                   .senderDisplayName = stubSenderName,
                                   .text = std::move(message.text.insert(0, "echo: ")),
                                   .timestampISO8601 = currentTimestamp(),
                                   .isDirectMessage = false,
                                   .rawReference = echoSenderId};
}

}  // namespace ferncrest
