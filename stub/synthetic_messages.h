#pragma once

#include <expected>
#include <string>

#include "platform/failure.h"
#include "platform/random.h"
#include "protocol/values.h"

// The messages that the stub makes up. Each fails only when the system gives no randomness for its
// identifier.

namespace ferncrest {

/// The answer to listening to a test scope with this title.
[[nodiscard]] std::expected<BridgeInboundMessageEvent, Failure> makeSelfTestMessage(
    RandomBytes& random, std::string title);

/// The sent message as it comes back. Takes the message over: its text may be large.
[[nodiscard]] std::expected<BridgeInboundMessageEvent, Failure> makeEchoMessage(
    RandomBytes& random, BridgeOutboundMessage message);

}  // namespace ferncrest
