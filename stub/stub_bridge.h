#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/failure.h"
#include "platform/random.h"
#include "protocol/envelope.h"

// The service's own answers to a host that no backend serves. A handler stops at the first envelope
// that cannot be emitted and returns that failure; what it changed before stays changed.

namespace ferncrest {

/// Takes an envelope to the host, or tells why that failed.
using EnvelopeSink = std::function<Outcome(const BridgeEnvelope&)>;

/// The stub's view of the service: what it reports, the one state that it changes, and its way out.
/// Everything is borrowed and must outlive the view.
struct StubBridge {
  std::string_view platform;
  std::string_view bridgeVersion;
  std::string_view accountDisplayName;
  const std::optional<std::string>& fallbackReason;
  BridgeConnectionState& connectionState;
  RandomBytes& random;
  const EnvelopeSink& emit;
};

/// Greets the host and reports the current state, before any request is read.
[[nodiscard]] Outcome announce(const StubBridge& stub);

[[nodiscard]] Outcome handleConnect(const StubBridge& stub);
[[nodiscard]] Outcome handleDisconnect(const StubBridge& stub);
[[nodiscard]] Outcome handleStartListening(const StubBridge& stub, BridgeScope scope);
[[nodiscard]] Outcome handleSendMessage(const StubBridge& stub, BridgeOutboundMessage message);

}  // namespace ferncrest
