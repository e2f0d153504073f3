#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/failure.h"
#include "platform/random.h"
#include "protocol/envelope.h"

// The service's own answers to a host that no backend serves. A handler stops at the first envelope
// that cannot be emitted and returns that failure; what it changed before stays changed.

namespace ferncrest {

/// Writes an envelope to the host, or says why that failed.
using EnvelopeSink = std::function<Outcome(const BridgeEnvelope&)>;

/// What the stub tells the host about itself, the connection state that its handlers change, and
/// what they answer with.
struct StubBridge {
  std::string platform;  ///< valid UTF-8
  std::string bridgeVersion = "managed-process-3";
  std::string accountDisplayName = "Ferncrest Managed Bridge (stub)";
  /// Why delegation to a backend failed, a sentence in valid UTF-8; none when it has not failed.
  std::optional<std::string> fallbackReason = std::nullopt;
  BridgeConnectionState connectionState = BridgeDisconnectedState{};
  RandomBytes random = {};
  EnvelopeSink emit;
};

/// Emits `hello` and the current state. To be called before any request is answered.
[[nodiscard]] Outcome announce(StubBridge& stub);

[[nodiscard]] Outcome handleConnect(StubBridge& stub);
[[nodiscard]] Outcome handleDisconnect(StubBridge& stub);
[[nodiscard]] Outcome handleStartListening(StubBridge& stub, BridgeScope scope);
[[nodiscard]] Outcome handleSendMessage(StubBridge& stub, BridgeOutboundMessage message);

}  // namespace ferncrest
