#include "stub/stub_bridge.h"

#include <cstddef>
#include <utility>
#include <variant>

#include "protocol/coding.h"

namespace ferncrest {

namespace {

Outcome reportState(StubBridge& stub, StubBridge::State state) {
  stub.connectionState = state;
  return stub.write(stub.kept.stateLines.at(static_cast<std::size_t>(state)));
}

template <typename Make>
Outcome emitMessage(StubBridge& stub, Make make) {
  auto& event = std::get<BridgeInboundEvent>(stub.kept.message).event;
  if (Outcome made = make(event); !made) {
    return made;
  }
  return emitEnvelope(stub, stub.kept.message);
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
  return emitEnvelope(stub, BridgeErrorEvent{std::move(title)});
}

Outcome listenTo(StubBridge& stub, BridgeTestOnlyScope& scope) {
  return emitMessage(stub, [&](BridgeInboundMessageEvent& event) {
    return makeSelfTestMessage(stub.kept.stamps, std::move(scope.title), event);
  });
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

Outcome emitEnvelope(StubBridge& stub, const BridgeEnvelope& envelope) {
  constexpr std::size_t usualCapacity = std::size_t{16} << 10U;
  encodeEnvelopeLine(envelope, stub.kept.line);
  Outcome written = stub.write(stub.kept.line);
  if (stub.kept.line.capacity() > usualCapacity) {
    // An assignment would keep the memory.
    std::string().swap(stub.kept.line);
    stub.kept.message.emplace<BridgeInboundEvent>();
  }
  return written;
}

Outcome announce(StubBridge& stub) {
  const auto lineOf = [](BridgeConnectionState state) {
    return encodeEnvelopeLine(BridgeStateChangedEvent{std::move(state)});
  };
  stub.kept.stateLines = {lineOf(BridgeDisconnectedState{}), lineOf(BridgeConnectingState{}),
                          lineOf(BridgeConnectedState{stub.accountDisplayName})};
  const Outcome greeted = emitEnvelope(stub, BridgeHello{stub.platform, stub.bridgeVersion});
  return greeted ? reportState(stub, stub.connectionState) : greeted;
}

Outcome handleConnect(StubBridge& stub) {
  const Outcome reported = reportState(stub, StubBridge::State::connecting);
  return reported ? reportState(stub, StubBridge::State::connected) : reported;
}

Outcome handleDisconnect(StubBridge& stub) {
  return reportState(stub, StubBridge::State::disconnected);
}

Outcome handleStartListening(StubBridge& stub, BridgeScope scope) {
  return std::visit([&](auto& kind) { return listenTo(stub, kind); }, scope);
}

Outcome handleSendMessage(StubBridge& stub, BridgeOutboundMessage message) {
  return emitMessage(stub, [&](BridgeInboundMessageEvent& event) {
    return makeEchoMessage(stub.kept.stamps, std::move(message), event);
  });
}

}  // namespace ferncrest
