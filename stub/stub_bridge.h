#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/failure.h"
#include "protocol/envelope.h"
#include "stub/synthetic_messages.h"

// The service's own answers to a host that no backend serves. A handler stops at the first envelope
// that cannot be emitted and returns that failure; what it changed before stays changed.

namespace ferncrest {

/// Writes the line of one envelope to the host, or says why that failed.
using LineSink = std::function<Outcome(std::string_view line)>;

/// What the stub tells the host about itself, the connection state that its handlers change, and
/// what they answer with.
struct StubBridge {
  enum class State : unsigned char { disconnected, connecting, connected };

  std::string platform;  ///< valid UTF-8
  std::string bridgeVersion = "managed-process-3";
  std::string accountDisplayName = "Ferncrest Managed Bridge (stub)";
  /// Why delegation to a backend failed, a sentence in valid UTF-8; none when it has not failed.
  std::optional<std::string> fallbackReason = std::nullopt;
  State connectionState = State::disconnected;
  LineSink write;

  /// Kept from one answer to the next, which then needs less new memory and less encoding.
  struct Kept {
    std::array<std::string, 3> stateLines;  ///< the report of each state, made by announce()
    BridgeEnvelope message = BridgeInboundEvent{};  ///< the last one; the next one overwrites it
    std::string line;                               ///< the last one, unless it was long
    MessageStamps stamps;
  };
  Kept kept = {};
};

/// Encodes an envelope and writes its line.
[[nodiscard]] Outcome emitEnvelope(StubBridge& stub, const BridgeEnvelope& envelope);

/// Emits `hello` and the current state. To be called before any request is answered, when the
/// account's name will not change any more.
[[nodiscard]] Outcome announce(StubBridge& stub);

[[nodiscard]] Outcome handleConnect(StubBridge& stub);
[[nodiscard]] Outcome handleDisconnect(StubBridge& stub);
[[nodiscard]] Outcome handleStartListening(StubBridge& stub, BridgeScope scope);
[[nodiscard]] Outcome handleSendMessage(StubBridge& stub, BridgeOutboundMessage message);

}  // namespace ferncrest
