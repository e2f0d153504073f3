#include "backend/run_delegation.h"

#include <memory>
#include <new>

#include "backend/backend_proxy.h"
#include "platform/paths.h"

namespace ferncrest {

namespace {

Outcome forwardLines(ManagedBridgeBackendProxy& proxy, LineReader& input) {
  while (const auto line = input.next()) {
    if (const auto sent = proxy.send(*line); !sent) {
      proxy.giveUp();
      return std::unexpected(Failure{sent.error().description()});
    }
  }
  proxy.stop();
  return {};
}

}  // namespace

Outcome runDelegation(const std::string& executablePath, const std::string& platform,
                      const Environment& environment, LineReader& input, OutputStream& events,
                      OutputStream& diagnostics) {
  const auto proxy = std::make_shared<ManagedBridgeBackendProxy>(
      ManagedBridgeBackendProxy::Configuration{
          .executableURL = normalizedPath(executablePath, currentDirectory()),
          .platform = platform,
          .environment = environment},
      events, diagnostics);
  if (Outcome started = ManagedBridgeBackendProxy::start(proxy); !started) {
    return started;
  }
  try {
    return forwardLines(*proxy, input);
  } catch (const std::bad_alloc&) {
    proxy->stop();
    throw;  // ends the process; the backend must not live on
  }
}

}  // namespace ferncrest
