#include <cerrno>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "platform/environment.h"
#include "platform/failure.h"
#include "platform/standard_streams.h"
#include "service/bridge_service.h"
#include "service/launch_authorization.h"
#include "service/output.h"
#include "service/platform_argument.h"
#include "service/run.h"

namespace ferncrest {

namespace {

constexpr int exitServed = 0;
constexpr int exitFatal = 1;
constexpr int exitNotAuthorized = 64;

int fail(const std::string& description) {
  writeDiagnostic("[BridgeService] fatal error: " + description + "\n");
  return exitFatal;
}

int serve(const std::vector<std::string>& arguments) {
  Environment environment = readEnvironment();
  if (!isLaunchAuthorized(environment)) {
    writeDiagnostic("This component must be launched by Ferncrest.\n");
    return exitNotAuthorized;
  }
  BridgeService service{.platform = platformArgument(arguments),
                        .environment = std::move(environment)};
  const Outcome served = run(service);
  return served ? exitServed : fail(served.error().description);
}

// Memory that runs out is the one failure that arrives as an exception.
int serveOrFail(const std::vector<std::string>& arguments) {
  try {
    return serve(arguments);
  } catch (const std::bad_alloc&) {
    return fail(systemFailure(ENOMEM).description);
  }
}

}  // namespace

}  // namespace ferncrest

int main(int argumentCount, char** arguments) {
  ferncrest::reserveStandardStreams();
  ferncrest::ignoreBrokenPipeSignal();
  const int programName = argumentCount > 0 ? 1 : 0;
  return ferncrest::serveOrFail({arguments + programName, arguments + argumentCount});
}
