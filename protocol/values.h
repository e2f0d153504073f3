#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

// The values inside the envelopes' records. All strings are valid UTF-8 and can have any character.

namespace ferncrest {

struct BridgeConversationScope {
  std::string id;
  std::string title;
  bool operator==(const BridgeConversationScope&) const = default;
};

struct BridgeChannelScope {
  std::string id;
  std::string title;
  bool operator==(const BridgeChannelScope&) const = default;
};

struct BridgeThreadScope {
  std::string id;
  std::optional<std::string> title;
  bool operator==(const BridgeThreadScope&) const = default;
};

/// A scope for trying out a host, named by its title alone.
struct BridgeTestOnlyScope {
  std::string title;
  bool operator==(const BridgeTestOnlyScope&) const = default;
};

/// What to listen to.
using BridgeScope = std::variant<BridgeConversationScope, BridgeChannelScope, BridgeThreadScope,
                                 BridgeTestOnlyScope>;

struct BridgeDisconnectedState {
  bool operator==(const BridgeDisconnectedState&) const = default;
};

struct BridgeConnectingState {
  bool operator==(const BridgeConnectingState&) const = default;
};

struct BridgeConnectedState {
  std::optional<std::string> accountDisplayName;
  bool operator==(const BridgeConnectedState&) const = default;
};

struct BridgeErrorState {
  std::string message;
  bool operator==(const BridgeErrorState&) const = default;
};

/// The state of the connection to the messaging platform.
using BridgeConnectionState = std::variant<BridgeDisconnectedState, BridgeConnectingState,
                                           BridgeConnectedState, BridgeErrorState>;

/// A file that goes with a message. The service interprets none of its fields.
struct BridgeAttachment {
  std::optional<std::string> id;
  std::string kind;
  std::string fileName;
  std::string mimeType;
  std::optional<std::string> localPath;
  std::optional<std::string> dataBase64;
  std::optional<std::string> caption;
  bool operator==(const BridgeAttachment&) const = default;
};

/// A message that the host wants sent.
struct BridgeOutboundMessage {
  std::string conversationId;
  std::string text;
  std::optional<std::string> replyToMessageId;
  std::optional<std::vector<BridgeAttachment>> attachments;  ///< absent is not the same as empty
  bool operator==(const BridgeOutboundMessage&) const = default;
};

/// A message received on the platform.
struct BridgeInboundMessageEvent {
  std::string messageId;
  std::string conversationId;
  std::string conversationTitle;
  std::string senderId;
  std::string senderDisplayName;
  std::string text;
  std::string timestampISO8601;
  bool isDirectMessage = false;
  std::optional<std::string> rawReference;
  bool operator==(const BridgeInboundMessageEvent&) const = default;
};

}  // namespace ferncrest
