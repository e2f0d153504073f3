#include "service/run_stub.h"

#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "platform/random.h"
#include "protocol/coding.h"
#include "service/output.h"
#include "stub/stub_bridge.h"
#include "text/canonical.h"
#include "text/utf8.h"

namespace ferncrest {

namespace {

Outcome answer(const StubBridge& stub, BridgeConnectRequest& /*request*/) {
  return handleConnect(stub);
}

Outcome answer(const StubBridge& stub, BridgeDisconnectRequest& /*request*/) {
  return handleDisconnect(stub);
}

Outcome answer(const StubBridge& stub, BridgeStartListeningRequest& request) {
  return handleStartListening(stub, std::move(request.scope));
}

Outcome answer(const StubBridge& stub, BridgeSendMessageRequest& request) {
  return handleSendMessage(stub, std::move(request.message));
}

template <typename Record>
concept Answered = requires(const StubBridge& stub, Record& record) { answer(stub, record); };

// What the stub has no answer to, and what is meant for another platform, is ignored.
Outcome route(const StubBridge& stub, BridgeEnvelope& envelope) {
  return std::visit(
      [&]<typename Record>(Record& record) -> Outcome {
        if constexpr (Answered<Record>) {
          if (canonicallyEqual(record.platform, stub.platform)) {
            return answer(stub, record);
          }
        }
        return {};
      },
      envelope);
}

Outcome answerLine(const StubBridge& stub, std::string_view text) {
  auto envelope = decodeEnvelope(text);
  if (!envelope) {
    return std::unexpected(Failure{std::string(envelope.error().description())});
  }
  return route(stub, *envelope);
}

}  // namespace

Outcome runStub(BridgeService& service, const LineSource& nextLine) {
  const EnvelopeSink emit = emitEnvelope;
  // The host must be able to read the platform's name, and to send it back.
  const std::string platform = repairedUtf8(service.platform);
  RandomBytes random;
  const StubBridge stub{.platform = platform,
                        .bridgeVersion = service.bridgeVersion,
                        .accountDisplayName = service.accountDisplayName,
                        .fallbackReason = service.fallbackReason,
                        .connectionState = service.connectionState,
                        .random = random,
                        .emit = emit};
  if (Outcome announced = announce(stub); !announced) {
    return announced;
  }
  while (const auto line = nextLine()) {
    if (Outcome answered = answerLine(stub, line->text()); !answered) {
      if (Outcome told = emit(BridgeErrorEvent{std::move(answered.error().description)}); !told) {
        return told;
      }
    }
  }
  return {};
}

}  // namespace ferncrest
