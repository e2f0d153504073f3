#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>

#include "protocol/envelope.h"
#include "stub/synthetic_messages.h"

// The service's own answers to a host that no backend serves. They do not depend on the connection
// state, so the stub does not remember it.

namespace ferncrest {

/// The lines of envelopes for the host, in this order, borrowed until the stub is called again.
using Lines = std::span<const std::string>;

/// The settings of the stub, and the memory in which it builds its answers.
struct StubBridge {
  std::string platform;  ///< valid UTF-8
  std::string bridgeVersion = "managed-process-3";
  std::string accountDisplayName = "Ferncrest Managed Bridge (stub)";
  /// Why delegation to a backend failed, a sentence in valid UTF-8; none when it has not failed.
  std::optional<std::string> fallbackReason = std::nullopt;

  /// Kept from one answer to the next, which then needs less new memory and less encoding.
  struct Kept {
    std::array<std::string, 4> fixedLines;          ///< hello, disconnected, connecting, connected
    BridgeEnvelope message = BridgeInboundEvent{};  ///< the last one; the next one overwrites it
    std::string line;                               ///< the last one that was encoded
    MessageStamps stamps;
  };
  Kept kept = {};
};

/// `hello` and the state at the start. To be called before any request is answered, when the
/// account's name will not change any more.
[[nodiscard]] Lines announce(StubBridge& stub);

/// The answers to the requests of these names.
[[nodiscard]] Lines handleConnect(const StubBridge& stub);
[[nodiscard]] Lines handleDisconnect(const StubBridge& stub);
[[nodiscard]] Lines handleStartListening(StubBridge& stub, BridgeScope scope);
[[nodiscard]] Lines handleSendMessage(StubBridge& stub, BridgeOutboundMessage message);

/// The answer that consists of this envelope.
[[nodiscard]] Lines answerWith(StubBridge& stub, const BridgeEnvelope& envelope);

/// Gives back the memory of a long answer. Its lines are gone then.
void releaseSpareMemory(StubBridge& stub);

}  // namespace ferncrest
