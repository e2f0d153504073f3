#include "stub/stub_bridge.h"

#include <cstddef>
#include <utility>
#include <variant>

#include "protocol/coding.h"

namespace ferncrest {

namespace {

template <typename Make>
Lines answerWithMessage(StubBridge& stub, Make make) {
  make(std::get<BridgeInboundEvent>(stub.kept.message).event);
  return answerWith(stub, stub.kept.message);
}

// The sentence is built in the title's own string, which may be large.
Lines reportScopeUnavailable(StubBridge& stub, std::string title) {
  if (stub.fallbackReason) {
    title.insert(0, "Managed bridge backend is unavailable for '");
    title.append("': ").append(*stub.fallbackReason);
  } else {
    title.insert(0, "Managed bridge service is running, but real WhatsApp capture for '");
    title.append("' is not implemented yet.");
  }
  return answerWith(stub, BridgeErrorEvent{std::move(title)});
}

Lines listenTo(StubBridge& stub, BridgeTestOnlyScope& scope) {
  return answerWithMessage(stub, [&](BridgeInboundMessageEvent& event) {
    makeSelfTestMessage(stub.kept.stamps, std::move(scope.title), event);
  });
}

Lines listenTo(StubBridge& stub, BridgeThreadScope& scope) {
  return reportScopeUnavailable(stub, std::move(scope.title).value_or("Thread"));
}

Lines listenTo(StubBridge& stub, BridgeConversationScope& scope) {
  return reportScopeUnavailable(stub, std::move(scope.title));
}

Lines listenTo(StubBridge& stub, BridgeChannelScope& scope) {
  return reportScopeUnavailable(stub, std::move(scope.title));
}

}  // namespace

Lines announce(StubBridge& stub) {
  const auto lineOf = [](BridgeConnectionState state) {
    return encodeEnvelopeLine(BridgeStateChangedEvent{std::move(state)});
  };
  stub.kept.fixedLines = {encodeEnvelopeLine(BridgeHello{stub.platform, stub.bridgeVersion}),
                          lineOf(BridgeDisconnectedState{}), lineOf(BridgeConnectingState{}),
                          lineOf(BridgeConnectedState{stub.accountDisplayName})};
  return Lines(stub.kept.fixedLines).first(2);
}

Lines handleConnect(const StubBridge& stub) {
  return Lines(stub.kept.fixedLines).last(2);
}

Lines handleDisconnect(const StubBridge& stub) {
  return Lines(stub.kept.fixedLines).subspan(1, 1);
}

Lines handleStartListening(StubBridge& stub, BridgeScope scope) {
  return std::visit([&](auto& kind) { return listenTo(stub, kind); }, scope);
}

Lines handleSendMessage(StubBridge& stub, BridgeOutboundMessage message) {
  return answerWithMessage(stub, [&](BridgeInboundMessageEvent& event) {
    makeEchoMessage(stub.kept.stamps, std::move(message), event);
  });
}

Lines answerWith(StubBridge& stub, const BridgeEnvelope& envelope) {
  encodeEnvelopeLine(envelope, stub.kept.line);
  return {&stub.kept.line, 1};
}

void releaseSpareMemory(StubBridge& stub) {
  constexpr std::size_t usualCapacity = std::size_t{16} << 10U;
  if (stub.kept.line.capacity() > usualCapacity) {
    // An assignment would keep the memory.
    std::string().swap(stub.kept.line);
    stub.kept.message.emplace<BridgeInboundEvent>();
  }
}

}  // namespace ferncrest
