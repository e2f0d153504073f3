#pragma once

#include <concepts>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "platform/failure.h"
#include "protocol/values.h"
#include "text/canonical.h"

// The messages between host, service and backend. On a stream each is one line.

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

/// Calls the one of `answers` that takes the record in `envelope` and returns what it returns.
/// Returns `Result{}` without a call when none of them takes it, and when the request names another
/// platform than `platform`, compared by canonical equivalence.
template <typename Result = Outcome, typename... Answers>
[[nodiscard]] Result answerRequest(BridgeEnvelope& envelope, std::string_view platform,
                                   Answers... answers) {
  struct AnyAnswer : Answers... {
    using Answers::operator()...;
  };
  AnyAnswer answer{std::move(answers)...};
  return std::visit(
      [&]<typename Record>(Record& record) -> Result {
        if constexpr (std::invocable<AnyAnswer&, Record&>) {
          if (canonicallyEqual(record.platform, platform)) {
            return answer(record);
          }
        }
        return {};
      },
      envelope);
}

}  // namespace ferncrest
