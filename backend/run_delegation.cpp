#include "backend/run_delegation.h"

#include <utility>

#include "backend/backend_proxy.h"
#include "platform/files.h"
#include "platform/system.h"

namespace ferncrest {

namespace {

Outcome forwardLines(ManagedBridgeBackendProxy& proxy, Conversation& host) {
  while (const auto line = host.nextLine()) {
    if (const auto sent = proxy.send(*line); !sent) {
      proxy.stop();
      host.finishOutput();
      return std::unexpected(Failure{sent.error().description()});
    }
  }
  proxy.stop();
  return {};
}

}  // namespace

Outcome runDelegation(const std::string& executablePath, const std::string& platform,
                      Environment environment, Conversation& host) {
  ManagedBridgeBackendProxy proxy(
      {.executableURL = normalizedPath(executablePath, currentDirectory()), .platform = platform},
      host);
  if (Outcome started = proxy.start(std::move(environment)); !started) {
    return started;
  }
  const bool hasJoined = joinBatchClass();  // after the launch: the backend would inherit it
  Outcome forwarded = forwardLines(proxy, host);
  if (hasJoined) {
    leaveBatchClass();
  }
  return forwarded;
}

}  // namespace ferncrest
