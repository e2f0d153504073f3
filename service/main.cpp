#include <cerrno>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "platform/failure.h"
#include "platform/fd.h"
#include "platform/process.h"
#include "service/bridge_service.h"
#include "service/output.h"
#include "service/start_up.h"
#include "text/utf8.h"

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
  const std::string platform = platformArgument(arguments);
  // The host must be able to read the platform's name, and to send it back.
  BridgeService service{.platform = platform,
                        .environment = std::move(environment),
                        .stub = {.platform = repairedUtf8(platform)}};
  const Outcome served = run(service);
  return served ? exitServed : fail(served.error().description);
}

// Running out of memory is the only failure that arrives as an exception.
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
