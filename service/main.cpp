#include <cerrno>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "platform/environment.h"
#include "platform/failure.h"
#include "platform/output_stream.h"
#include "platform/standard_streams.h"
#include "protocol/line_reader.h"
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

int fail(const ServiceOutput& output, const std::string& description) {
  writeDiagnostic(output.diagnostics, "[BridgeService] fatal error: " + description + "\n");
  return exitFatal;
}

int serve(const std::vector<std::string>& arguments, const ServiceOutput& output) {
  Environment environment = readEnvironment();
  if (!isLaunchAuthorized(environment)) {
    writeDiagnostic(output.diagnostics, "This component must be launched by Ferncrest.\n");
    return exitNotAuthorized;
  }
  BridgeService service{.platform = platformArgument(arguments),
                        .environment = std::move(environment)};
  LineReader input(standardInput);
  const Outcome served = run(service, input, output);
  return served ? exitServed : fail(output, served.error().description);
}

// Memory that runs out is the one failure that arrives as an exception.
int serveOrFail(const std::vector<std::string>& arguments, const ServiceOutput& output) {
  try {
    return serve(arguments, output);
  } catch (const std::bad_alloc&) {
    return fail(output, systemFailure(ENOMEM).description);
  }
}

}  // namespace

}  // namespace ferncrest

int main(int argumentCount, char** arguments) {
  ferncrest::reserveStandardStreams();
  ferncrest::ignoreBrokenPipeSignal();
  ferncrest::OutputStream events(ferncrest::standardOutput);
  ferncrest::OutputStream diagnostics(ferncrest::standardError);
  const int programName = argumentCount > 0 ? 1 : 0;
  const int status = ferncrest::serveOrFail({arguments + programName, arguments + argumentCount},
                                            {.events = events, .diagnostics = diagnostics});
  // The one way out. Not by return: a thread may still be writing to the two streams.
  std::exit(status);  // NOLINT(concurrency-mt-unsafe): nothing registers exit handlers
}
