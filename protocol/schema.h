#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <numeric>
#include <string_view>
#include <tuple>

#include "protocol/envelope.h"
#include "protocol/values.h"

// The names that the protocol's types have in JSON. A record lists its fields in the order in which
// faults in them are reported; a choice lists its cases in the order of its variant.

namespace ferncrest {

/// The key of an envelope's record inside its case's object.
inline constexpr std::string_view payloadKey = "_0";

/// A field of a record: the member that holds it and its key.
template <auto member_>
struct Field {
  static constexpr auto member = member_;
  std::string_view key;
};

template <typename Type>
struct Schema;

/// The positions of a record's fields in the order in which they are written: by key, byte by byte.
template <typename Record>
consteval auto writtenOrder() {
  constexpr std::size_t count = std::tuple_size_v<decltype(Schema<Record>::fields)>;
  const auto keys = std::apply(
      [](const auto&... field) { return std::array<std::string_view, count>{field.key...}; },
      Schema<Record>::fields);
  std::array<std::size_t, count> order{};
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::sort(order, {}, [&](std::size_t index) { return keys.at(index); });
  return order;
}

template <>
struct Schema<BridgeConversationScope> {
  static constexpr std::string_view name = "BridgeConversationScope";
  static constexpr std::tuple fields{Field<&BridgeConversationScope::id>{"id"},
                                     Field<&BridgeConversationScope::title>{"title"}};
};

template <>
struct Schema<BridgeChannelScope> {
  static constexpr std::string_view name = "BridgeChannelScope";
  static constexpr std::tuple fields{Field<&BridgeChannelScope::id>{"id"},
                                     Field<&BridgeChannelScope::title>{"title"}};
};

template <>
struct Schema<BridgeThreadScope> {
  static constexpr std::string_view name = "BridgeThreadScope";
  static constexpr std::tuple fields{Field<&BridgeThreadScope::id>{"id"},
                                     Field<&BridgeThreadScope::title>{"title"}};
};

template <>
struct Schema<BridgeTestOnlyScope> {
  static constexpr std::string_view name = "BridgeTestOnlyScope";
  static constexpr std::tuple fields{Field<&BridgeTestOnlyScope::title>{"title"}};
};

template <>
struct Schema<BridgeScope> {
  static constexpr std::string_view name = "BridgeScope";
  static constexpr std::array<std::string_view, 4> cases{"conversation", "channel", "thread",
                                                         "testOnly"};
};

template <>
struct Schema<BridgeDisconnectedState> {
  static constexpr std::string_view name = "BridgeDisconnectedState";
  static constexpr std::tuple<> fields{};
};

template <>
struct Schema<BridgeConnectingState> {
  static constexpr std::string_view name = "BridgeConnectingState";
  static constexpr std::tuple<> fields{};
};

template <>
struct Schema<BridgeConnectedState> {
  static constexpr std::string_view name = "BridgeConnectedState";
  static constexpr std::tuple fields{
      Field<&BridgeConnectedState::accountDisplayName>{"accountDisplayName"}};
};

template <>
struct Schema<BridgeErrorState> {
  static constexpr std::string_view name = "BridgeErrorState";
  static constexpr std::tuple fields{Field<&BridgeErrorState::message>{"message"}};
};

template <>
struct Schema<BridgeConnectionState> {
  static constexpr std::string_view name = "BridgeConnectionState";
  static constexpr std::array<std::string_view, 4> cases{"disconnected", "connecting", "connected",
                                                         "error"};
};

template <>
struct Schema<BridgeAttachment> {
  static constexpr std::string_view name = "BridgeAttachment";
  static constexpr std::tuple fields{Field<&BridgeAttachment::id>{"id"},
                                     Field<&BridgeAttachment::kind>{"kind"},
                                     Field<&BridgeAttachment::fileName>{"fileName"},
                                     Field<&BridgeAttachment::mimeType>{"mimeType"},
                                     Field<&BridgeAttachment::localPath>{"localPath"},
                                     Field<&BridgeAttachment::dataBase64>{"dataBase64"},
                                     Field<&BridgeAttachment::caption>{"caption"}};
};

template <>
struct Schema<BridgeOutboundMessage> {
  static constexpr std::string_view name = "BridgeOutboundMessage";
  static constexpr std::tuple fields{
      Field<&BridgeOutboundMessage::conversationId>{"conversationId"},
      Field<&BridgeOutboundMessage::text>{"text"},
      Field<&BridgeOutboundMessage::replyToMessageId>{"replyToMessageId"},
      Field<&BridgeOutboundMessage::attachments>{"attachments"}};
};

template <>
struct Schema<BridgeInboundMessageEvent> {
  static constexpr std::string_view name = "BridgeInboundMessageEvent";
  static constexpr std::tuple fields{
      Field<&BridgeInboundMessageEvent::messageId>{"messageId"},
      Field<&BridgeInboundMessageEvent::conversationId>{"conversationId"},
      Field<&BridgeInboundMessageEvent::conversationTitle>{"conversationTitle"},
      Field<&BridgeInboundMessageEvent::senderId>{"senderId"},
      Field<&BridgeInboundMessageEvent::senderDisplayName>{"senderDisplayName"},
      Field<&BridgeInboundMessageEvent::text>{"text"},
      Field<&BridgeInboundMessageEvent::timestampISO8601>{"timestampISO8601"},
      Field<&BridgeInboundMessageEvent::isDirectMessage>{"isDirectMessage"},
      Field<&BridgeInboundMessageEvent::rawReference>{"rawReference"}};
};

template <>
struct Schema<BridgeHello> {
  static constexpr std::string_view name = "BridgeHello";
  static constexpr std::tuple fields{Field<&BridgeHello::platform>{"platform"},
                                     Field<&BridgeHello::bridgeVersion>{"bridgeVersion"}};
};

template <>
struct Schema<BridgeConnectRequest> {
  static constexpr std::string_view name = "BridgeConnectRequest";
  static constexpr std::tuple fields{Field<&BridgeConnectRequest::platform>{"platform"}};
};

template <>
struct Schema<BridgeDisconnectRequest> {
  static constexpr std::string_view name = "BridgeDisconnectRequest";
  static constexpr std::tuple fields{Field<&BridgeDisconnectRequest::platform>{"platform"}};
};

template <>
struct Schema<BridgeStartListeningRequest> {
  static constexpr std::string_view name = "BridgeStartListeningRequest";
  static constexpr std::tuple fields{Field<&BridgeStartListeningRequest::platform>{"platform"},
                                     Field<&BridgeStartListeningRequest::scope>{"scope"}};
};

template <>
struct Schema<BridgeStopListeningRequest> {
  static constexpr std::string_view name = "BridgeStopListeningRequest";
  static constexpr std::tuple fields{Field<&BridgeStopListeningRequest::platform>{"platform"}};
};

template <>
struct Schema<BridgeSendMessageRequest> {
  static constexpr std::string_view name = "BridgeSendMessageRequest";
  static constexpr std::tuple fields{Field<&BridgeSendMessageRequest::platform>{"platform"},
                                     Field<&BridgeSendMessageRequest::message>{"message"}};
};

template <>
struct Schema<BridgeInboundEvent> {
  static constexpr std::string_view name = "BridgeInboundEvent";
  static constexpr std::tuple fields{Field<&BridgeInboundEvent::event>{"event"}};
};

template <>
struct Schema<BridgeStateChangedEvent> {
  static constexpr std::string_view name = "BridgeStateChangedEvent";
  static constexpr std::tuple fields{Field<&BridgeStateChangedEvent::state>{"state"}};
};

template <>
struct Schema<BridgeErrorEvent> {
  static constexpr std::string_view name = "BridgeErrorEvent";
  static constexpr std::tuple fields{Field<&BridgeErrorEvent::message>{"message"}};
};

template <>
struct Schema<BridgeEnvelope> {
  static constexpr std::string_view name = "BridgeEnvelope";
  static constexpr std::array<std::string_view, 9> cases{
      "hello",       "connect",      "disconnect",   "startListening", "stopListening",
      "sendMessage", "inboundEvent", "stateChanged", "error"};
};

}  // namespace ferncrest
