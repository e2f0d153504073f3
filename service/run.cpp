#include "service/run.h"

#include <string>

#include "backend/backend_location.h"
#include "backend/run_delegation.h"
#include "platform/paths.h"
#include "service/run_stub.h"
#include "text/utf8.h"

namespace ferncrest {

namespace {

void fallBack(BridgeService& service, const std::string& executable, const Failure& failure,
              OutputStream& diagnostics) {
  service.accountDisplayName = "Ferncrest Managed Bridge (stub fallback)";
  // A text for people, unlike the path in it.
  service.fallbackReason =
      repairedUtf8("Delegated backend launch failed at " + executable + ": " + failure.description);
  writeDiagnostic(diagnostics, "[BridgeService] " + *service.fallbackReason + "\n");
}

}  // namespace

Outcome run(BridgeService& service, LineReader& input, const ServiceOutput& output) {
  const auto executable =
      locateBackendExecutable(service.platform, service.environment, currentDirectory());
  if (executable) {
    const Outcome delegated = runDelegation(*executable, service.platform, service.environment,
                                            input, output.events, output.diagnostics);
    if (delegated) {
      return {};
    }
    fallBack(service, *executable, delegated.error(), output.diagnostics);
  }
  return runStub(service, input, output.events);
}

}  // namespace ferncrest
