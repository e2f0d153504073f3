#include "service/bridge_service.h"

#include <expected>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "backend/conversation.h"
#include "backend/launch_configuration.h"
#include "backend/run_delegation.h"
#include "platform/fd.h"
#include "platform/files.h"
#include "platform/io.h"
#include "protocol/coding.h"
#include "protocol/line_buffer.h"
#include "service/output.h"
#include "stub/stub_bridge.h"
#include "text/utf8.h"

namespace ferncrest {

namespace {

std::expected<Lines, Failure> answerLine(StubBridge& stub, std::string_view text) {
  // No answer of the stub depends on a message's attachments.
  auto envelope = decodeEnvelope(text, Attachments::dropped);
  if (!envelope) {
    return std::unexpected(Failure{std::string(envelope.error().description())});
  }
  return answerRequest<Lines>(
      *envelope, stub.platform, [&](BridgeConnectRequest&) { return handleConnect(stub); },
      [&](BridgeDisconnectRequest&) { return handleDisconnect(stub); },
      [&](BridgeStartListeningRequest& request) {
        return handleStartListening(stub, std::move(request.scope));
      },
      [&](BridgeSendMessageRequest& request) {
        return handleSendMessage(stub, std::move(request.message));
      });
}

// Serves the host without a backend. `nextLine` gives the host's next line, waiting for it, and
// nothing at the end of the input. Fails when an envelope cannot be written to standard output.
template <typename NextLine>
Outcome runStub(StubBridge& stub, NextLine nextLine) {
  Outcome written = writeEvents(announce(stub));
  while (written) {
    const auto line = nextLine();
    if (!line) {
      return {};
    }
    const auto answer = answerLine(stub, line->text());
    written = answer ? writeEvents(*answer) : std::unexpected(answer.error());
    if (!written) {
      written = writeEvents(answerWith(stub, BridgeErrorEvent{written.error().description}));
    }
    releaseSpareMemory(stub);
  }
  return written;
}

// The host's next line when there is no backend, so that nothing else has to be waited for.
std::optional<MessageLine> readLine(LineBuffer& input) {
  for (;;) {
    if (const auto line = input.next()) {
      return line;
    }
    if (input.hasEnded()) {
      return std::nullopt;
    }
    if (input.holdsSpareMemory() && !isReadable(standardInput)) {
      input.releaseSpareMemory();
    }
    input.add(readSome(standardInput, input.room()).value_or(0));
  }
}

void fallBack(BridgeService& service, const std::string& executable, const Failure& failure,
              Conversation& host) {
  std::string reason =
      "Delegated backend launch failed at " + executable + ": " + failure.description;
  // The path in it is bytes; the reason goes into JSON.
  reason = repairedUtf8(reason);
  host.appendDiagnostics("[BridgeService] " + reason + "\n");
  service.stub.accountDisplayName = "Ferncrest Managed Bridge (stub fallback)";
  service.stub.fallbackReason = std::move(reason);
  host.look();
}

Outcome delegateOrFallBack(BridgeService& service, const std::string& executable,
                           Conversation& host) {
  Outcome delegated =
      runDelegation(executable, service.platform, std::move(service.environment), host);
  if (delegated) {
    return delegated;
  }
  fallBack(service, executable, delegated.error(), host);
  return runStub(service.stub, [&host] { return host.nextLine(); });
}

Outcome serveWithBackend(BridgeService& service, const std::string& executable) {
  LineBuffer input;
  Conversation host(input);
  try {
    Outcome served = delegateOrFallBack(service, executable, host);
    host.finish();
    return served;
  } catch (const std::bad_alloc&) {
    host.finish();
    throw;  // ends the process
  }
}

}  // namespace

Outcome run(BridgeService& service) {
  const auto executable =
      locateBackendExecutable(service.platform, service.environment, currentDirectory());
  if (executable) {
    return serveWithBackend(service, *executable);
  }
  LineBuffer input;
  return runStub(service.stub, [&input] { return readLine(input); });
}

}  // namespace ferncrest
