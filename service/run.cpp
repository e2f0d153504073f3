#include "service/run.h"

#include <new>
#include <optional>
#include <string>

#include "backend/backend_location.h"
#include "backend/conversation.h"
#include "backend/run_delegation.h"
#include "platform/io.h"
#include "platform/paths.h"
#include "platform/standard_streams.h"
#include "protocol/line_buffer.h"
#include "service/run_stub.h"
#include "text/utf8.h"

namespace ferncrest {

namespace {

// The host's next line where nothing but the host is waited for.
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
  service.accountDisplayName = "Ferncrest Managed Bridge (stub fallback)";
  // A text for people, unlike the path in it.
  service.fallbackReason =
      repairedUtf8("Delegated backend launch failed at " + executable + ": " + failure.description);
  host.appendDiagnostics("[BridgeService] " + *service.fallbackReason + "\n");
  host.look();
}

Outcome delegateOrFallBack(BridgeService& service, const std::string& executable,
                           Conversation& host) {
  Outcome delegated = runDelegation(executable, service.platform, service.environment, host);
  if (delegated) {
    return delegated;
  }
  fallBack(service, executable, delegated.error(), host);
  return runStub(service, [&host] { return host.nextLine(); });
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
  return runStub(service, [&input] { return readLine(input); });
}

}  // namespace ferncrest
