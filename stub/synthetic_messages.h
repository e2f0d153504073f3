#pragma once

#include <chrono>
#include <random>
#include <string>

#include "protocol/values.h"

// The messages that the stub makes up.

namespace ferncrest {

/// Gives messages their identifiers and times.
class MessageStamps {
 public:
  /// Seeds the generator of identifiers, with random bytes of the operating system if it has any.
  MessageStamps();

  /// Puts a new random UUID (version 4) in upper case into `id`: unique, but no secret.
  void newMessageId(std::string& id);

  /// The current UTC time as ISO 8601 with whole seconds and "Z", borrowed until the next call.
  const std::string& currentTimestamp();

 private:
  std::mt19937_64 random_;
  std::chrono::sys_seconds second_;  // the one that timestamp_ tells
  std::string timestamp_;
};

/// Makes `event` the answer to listening to a test scope with this title.
void makeSelfTestMessage(MessageStamps& stamps, std::string title,
                         BridgeInboundMessageEvent& event);

/// Makes `event` the echo of a sent message.
void makeEchoMessage(MessageStamps& stamps, BridgeOutboundMessage message,
                     BridgeInboundMessageEvent& event);

}  // namespace ferncrest
