#pragma once

#include <string>
#include <variant>

#include "protocol/values.h"

// The messages of every stream between host, service and backend, one a line.

namespace ferncrest {

struct BridgeHello {
  std::string platform;
  std::string bridgeVersion;
  bool operator==(const BridgeHello&) const = default;
};

struct BridgeConnectRequest {
  std::string platform;
  bool operator==(const BridgeConnectRequest&) const = default;
};

struct BridgeDisconnectRequest {
  std::string platform;
  bool operator==(const BridgeDisconnectRequest&) const = default;
};

struct BridgeStartListeningRequest {
  std::string platform;
  BridgeScope scope;
  bool operator==(const BridgeStartListeningRequest&) const = default;
};

struct BridgeStopListeningRequest {
  std::string platform;
  bool operator==(const BridgeStopListeningRequest&) const = default;
};

struct BridgeSendMessageRequest {
  std::string platform;
  BridgeOutboundMessage message;
  bool operator==(const BridgeSendMessageRequest&) const = default;
};

struct BridgeInboundEvent {
  BridgeInboundMessageEvent event;
  bool operator==(const BridgeInboundEvent&) const = default;
};

struct BridgeStateChangedEvent {
  BridgeConnectionState state;
  bool operator==(const BridgeStateChangedEvent&) const = default;
};

struct BridgeErrorEvent {
  std::string message;  ///< a sentence for the host to show or log
  bool operator==(const BridgeErrorEvent&) const = default;
};

/// One message: a request from the host, or the greeting or an event for it.
using BridgeEnvelope =
    std::variant<BridgeHello, BridgeConnectRequest, BridgeDisconnectRequest,
                 BridgeStartListeningRequest, BridgeStopListeningRequest, BridgeSendMessageRequest,
                 BridgeInboundEvent, BridgeStateChangedEvent, BridgeErrorEvent>;

}  // namespace ferncrest
