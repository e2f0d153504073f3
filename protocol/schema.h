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

template <typename Record, typename Value>
struct Field {
  std::string_view key;
  Value Record::* member;
};

// Compilers before clang 17 do not derive this guide for an aggregate by themselves.
template <typename Record, typename Value>
Field(std::string_view, Value Record::*) -> Field<Record, Value>;

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
  static constexpr std::tuple fields{Field{"id", &BridgeConversationScope::id},
                                     Field{"title", &BridgeConversationScope::title}};
};

template <>
struct Schema<BridgeChannelScope> {
  static constexpr std::string_view name = "BridgeChannelScope";
  static constexpr std::tuple fields{Field{"id", &BridgeChannelScope::id},
                                     Field{"title", &BridgeChannelScope::title}};
};

template <>
struct Schema<BridgeThreadScope> {
  static constexpr std::string_view name = "BridgeThreadScope";
  static constexpr std::tuple fields{Field{"id", &BridgeThreadScope::id},
                                     Field{"title", &BridgeThreadScope::title}};
};

template <>
struct Schema<BridgeTestOnlyScope> {
  static constexpr std::string_view name = "BridgeTestOnlyScope";
  static constexpr std::tuple fields{Field{"title", &BridgeTestOnlyScope::title}};
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
      Field{"accountDisplayName", &BridgeConnectedState::accountDisplayName}};
};

template <>
struct Schema<BridgeErrorState> {
  static constexpr std::string_view name = "BridgeErrorState";
  static constexpr std::tuple fields{Field{"message", &BridgeErrorState::message}};
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
  static constexpr std::tuple fields{Field{"id", &BridgeAttachment::id},
                                     Field{"kind", &BridgeAttachment::kind},
                                     Field{"fileName", &BridgeAttachment::fileName},
                                     Field{"mimeType", &BridgeAttachment::mimeType},
                                     Field{"localPath", &BridgeAttachment::localPath},
                                     Field{"dataBase64", &BridgeAttachment::dataBase64},
                                     Field{"caption", &BridgeAttachment::caption}};
};

template <>
struct Schema<BridgeOutboundMessage> {
  static constexpr std::string_view name = "BridgeOutboundMessage";
  static constexpr std::tuple fields{
      Field{"conversationId", &BridgeOutboundMessage::conversationId},
      Field{"text", &BridgeOutboundMessage::text},
      Field{"replyToMessageId", &BridgeOutboundMessage::replyToMessageId},
      Field{"attachments", &BridgeOutboundMessage::attachments}};
};

template <>
struct Schema<BridgeInboundMessageEvent> {
  static constexpr std::string_view name = "BridgeInboundMessageEvent";
  static constexpr std::tuple fields{
      Field{"messageId", &BridgeInboundMessageEvent::messageId},
      Field{"conversationId", &BridgeInboundMessageEvent::conversationId},
      Field{"conversationTitle", &BridgeInboundMessageEvent::conversationTitle},
      Field{"senderId", &BridgeInboundMessageEvent::senderId},
      Field{"senderDisplayName", &BridgeInboundMessageEvent::senderDisplayName},
      Field{"text", &BridgeInboundMessageEvent::text},
      Field{"timestampISO8601", &BridgeInboundMessageEvent::timestampISO8601},
      Field{"isDirectMessage", &BridgeInboundMessageEvent::isDirectMessage},
      Field{"rawReference", &BridgeInboundMessageEvent::rawReference}};
};

template <>
struct Schema<BridgeHello> {
  static constexpr std::string_view name = "BridgeHello";
  static constexpr std::tuple fields{Field{"platform", &BridgeHello::platform},
                                     Field{"bridgeVersion", &BridgeHello::bridgeVersion}};
};

template <>
struct Schema<BridgeConnectRequest> {
  static constexpr std::string_view name = "BridgeConnectRequest";
  static constexpr std::tuple fields{Field{"platform", &BridgeConnectRequest::platform}};
};

template <>
struct Schema<BridgeDisconnectRequest> {
  static constexpr std::string_view name = "BridgeDisconnectRequest";
  static constexpr std::tuple fields{Field{"platform", &BridgeDisconnectRequest::platform}};
};

template <>
struct Schema<BridgeStartListeningRequest> {
  static constexpr std::string_view name = "BridgeStartListeningRequest";
  static constexpr std::tuple fields{Field{"platform", &BridgeStartListeningRequest::platform},
                                     Field{"scope", &BridgeStartListeningRequest::scope}};
};

template <>
struct Schema<BridgeStopListeningRequest> {
  static constexpr std::string_view name = "BridgeStopListeningRequest";
  static constexpr std::tuple fields{Field{"platform", &BridgeStopListeningRequest::platform}};
};

template <>
struct Schema<BridgeSendMessageRequest> {
  static constexpr std::string_view name = "BridgeSendMessageRequest";
  static constexpr std::tuple fields{Field{"platform", &BridgeSendMessageRequest::platform},
                                     Field{"message", &BridgeSendMessageRequest::message}};
};

template <>
struct Schema<BridgeInboundEvent> {
  static constexpr std::string_view name = "BridgeInboundEvent";
  static constexpr std::tuple fields{Field{"event", &BridgeInboundEvent::event}};
};

template <>
struct Schema<BridgeStateChangedEvent> {
  static constexpr std::string_view name = "BridgeStateChangedEvent";
  static constexpr std::tuple fields{Field{"state", &BridgeStateChangedEvent::state}};
};

template <>
struct Schema<BridgeErrorEvent> {
  static constexpr std::string_view name = "BridgeErrorEvent";
  static constexpr std::tuple fields{Field{"message", &BridgeErrorEvent::message}};
};

template <>
struct Schema<BridgeEnvelope> {
  static constexpr std::string_view name = "BridgeEnvelope";
  static constexpr std::array<std::string_view, 9> cases{
      "hello",       "connect",      "disconnect",   "startListening", "stopListening",
      "sendMessage", "inboundEvent", "stateChanged", "error"};
};

}  // namespace ferncrest
