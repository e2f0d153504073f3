#include "stub/stub_bridge.h"

#include <utility>
#include <variant>

#include "stub/synthetic_messages.h"

namespace ferncrest {

namespace {

Outcome reportState(StubBridge& stub) {
  return stub.emit(
      BridgeEnvelope(std::in_place_type<BridgeStateChangedEvent>, stub.connectionState));
}

Outcome emitMessage(StubBridge& stub, std::expected<BridgeInboundMessageEvent, Failure> message) {
  if (!message) {
    return std::unexpected(std::move(message.error()));
  }
  return stub.emit(BridgeEnvelope(std::in_place_type<BridgeInboundEvent>, std::move(*message)));
}

// The sentence is built in the title's own string, which may be large.
Outcome reportScopeUnavailable(StubBridge& stub, std::string title) {
  if (stub.fallbackReason) {
    title.insert(0, "Managed bridge backend is unavailable for '");
    title.append("': ").append(*stub.fallbackReason);
  } else {
    title.insert(0, "Managed bridge service is running, but real WhatsApp capture for '");
    title.append("' is not implemented yet.");
  }
  return stub.emit(BridgeErrorEvent{std::move(title)});
}

Outcome listenTo(StubBridge& stub, BridgeTestOnlyScope& scope) {
  return emitMessage(stub, makeSelfTestMessage(stub.random, std::move(scope.title)));
}

Outcome listenTo(StubBridge& stub, BridgeThreadScope& scope) {
  return reportScopeUnavailable(stub, std::move(scope.title).value_or("Thread"));
}

Outcome listenTo(StubBridge& stub, BridgeConversationScope& scope) {
  return reportScopeUnavailable(stub, std::move(scope.title));
}

Outcome listenTo(StubBridge& stub, BridgeChannelScope& scope) {
  return reportScopeUnavailable(stub, std::move(scope.title));
}

}  // namespace

Outcome announce(StubBridge& stub) {
  const Outcome greeted = stub.emit(BridgeHello{stub.platform, stub.bridgeVersion});
  return greeted ? reportState(stub) : greeted;
}

Outcome handleConnect(StubBridge& stub) {
  stub.connectionState = BridgeConnectingState{};
  if (const Outcome reported = reportState(stub); !reported) {
    return reported;
  }
  stub.connectionState = BridgeConnectedState{stub.accountDisplayName};
  return reportState(stub);
}

Outcome handleDisconnect(StubBridge& stub) {
  stub.connectionState = BridgeDisconnectedState{};
  return reportState(stub);
}

Outcome handleStartListening(StubBridge& stub, BridgeScope scope) {
  return std::visit([&](auto& kind) { return listenTo(stub, kind); }, scope);
}

Outcome handleSendMessage(StubBridge& stub, BridgeOutboundMessage message) {
  return emitMessage(stub, makeEchoMessage(stub.random, std::move(message)));
}

}  // namespace ferncrest
