#pragma once

#include <expected>
#include <string>

#include "platform/failure.h"
#include "platform/random.h"
#include "protocol/values.h"

// The messages that the stub makes up. Making one fails only when the operating system gives no
// random bytes for its identifier, and then with its error text.

namespace ferncrest {

/// A new random UUID (version 4) in upper case.
[[nodiscard]] std::expected<std::string, Failure> newMessageId(RandomBytes& random);

/// The current UTC time as ISO 8601 with whole seconds and "Z".
std::string currentTimestamp();

/// The answer to listening to a test scope with this title.
[[nodiscard]] std::expected<BridgeInboundMessageEvent, Failure> makeSelfTestMessage(
    RandomBytes& random, std::string title);

/// The echo of a sent message. Takes its strings over instead of copying them, as the text may be
/// large.
[[nodiscard]] std::expected<BridgeInboundMessageEvent, Failure> makeEchoMessage(
    RandomBytes& random, BridgeOutboundMessage message);

}  // namespace ferncrest
