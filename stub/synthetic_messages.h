#pragma once

#include <chrono>
#include <string>

#include "platform/failure.h"
#include "platform/random.h"
#include "protocol/values.h"

// The messages that the stub makes up. Making one fails only when the operating system gives no
// random bytes for its identifier, and then with its error text.

namespace ferncrest {

/// Gives messages their identifiers and times.
class MessageStamps {
 public:
  /// Puts a new random UUID (version 4) in upper case into `id`.
  [[nodiscard]] Outcome newMessageId(std::string& id);

  /// The current UTC time as ISO 8601 with whole seconds and "Z", borrowed until the next call.
  const std::string& currentTimestamp();

 private:
  RandomBytes random_;
  std::chrono::sys_seconds second_;  // the one that timestamp_ tells
  std::string timestamp_;
};

/// Makes `event` the answer to listening to a test scope with this title.
[[nodiscard]] Outcome makeSelfTestMessage(MessageStamps& stamps, std::string title,
                                          BridgeInboundMessageEvent& event);

/// Makes `event` the echo of a sent message.
[[nodiscard]] Outcome makeEchoMessage(MessageStamps& stamps, BridgeOutboundMessage message,
                                      BridgeInboundMessageEvent& event);

}  // namespace ferncrest
