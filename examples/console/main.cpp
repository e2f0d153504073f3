// A console as an example of a host: service_process.h starts the service, launch_token.h creates
// the launch token, and console.cpp sends requests and shows events.

#include <sys/wait.h>

#include <chrono>
#include <clocale>
#include <csignal>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "examples/console/commands.h"
#include "examples/console/console.h"
#include "examples/console/launch_token.h"
#include "examples/console/options.h"
#include "examples/console/service_process.h"
#include "examples/console/signal_pipe.h"
#include "platform/fd.h"
#include "platform/process.h"

namespace ferncrest {

namespace {

constexpr int exitDone = 0;
constexpr int exitFailed = 1;
constexpr int exitUsage = 2;

int complain(const Failure& failure, int status) {
  std::cerr << "ferncrest-console: " << failure.description << '\n';
  return status;
}

Environment serviceEnvironment(const Options& options, const LaunchToken& token) {
  Environment environment = readEnvironment();
  environment["FERNCREST_HELPER_LAUNCH_TOKEN"] = token.text();
  environment["FERNCREST_HELPER_LAUNCH_TOKEN_FILE"] = token.path();
  if (options.backend) {
    environment["FERNCREST_MANAGED_BRIDGE_BACKEND_PATH"] = *options.backend;
    environment.erase("FERNCREST_MANAGED_BRIDGE_DISABLE_BACKEND");
  }
  return environment;
}

int judge(const ConsoleEnd& end, std::optional<int> waitStatus) {
  if (end.outputFailed) {
    return complain({"Cannot show events: " + end.outputFailed->description}, exitFailed);
  }
  if (!waitStatus) {
    return complain({"The service did not end in time and was killed."}, exitFailed);
  }
  if (WIFSIGNALED(*waitStatus)) {
    const std::string signal = std::to_string(WTERMSIG(*waitStatus));
    return complain({"The service was ended by signal " + signal + "."}, exitFailed);
  }
  const int status = WEXITSTATUS(*waitStatus);
  if (!end.wasAsked || status != 0) {
    return complain({"The service ended with status " + std::to_string(status) + "."}, exitFailed);
  }
  return end.commandsFailed ? exitFailed : exitDone;
}

struct Result {
  int status;
  int signal = 0;  // the signal that ended the conversation, or 0
};

Result converse(const Options& options) {
  using std::chrono::seconds;
  const auto signals =
      openSignalPipe({SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGCHLD, SIGWINCH, SIGCONT});
  if (!signals) {
    return {complain(signals.error(), exitFailed)};
  }
  const auto token = LaunchToken::create();
  if (!token) {
    return {complain(token.error(), exitFailed)};
  }
  auto service =
      startService(options.service, options.platform, serviceEnvironment(options, *token));
  if (!service) {
    return {complain(service.error(), exitFailed)};
  }
  const ConsoleEnd end = Console(*service, signals->get(), options.platform).run();
  service->requests.reset();
  const auto waitStatus = awaitEnd(service->pid, signals->get(), seconds(end.wasAsked ? 1 : 5));
  return {judge(end, waitStatus), end.signal};
}

int runConsole(const std::string& program, const std::vector<std::string>& arguments) {
  const auto options = parseOptions(program, arguments);
  if (!options) {
    return complain(options.error(), exitUsage);
  }
  if (options->help) {
    std::cout << optionHelp() << commandHelp();
    return exitDone;
  }
  const Result result = converse(*options);
  if (result.signal != 0) {
    // Everything is cleaned up: end by the signal, so that the parent process sees it.
    std::signal(result.signal, SIG_DFL);
    std::raise(result.signal);
  }
  return result.status;
}

// The user's locale, or a UTF-8 locale if the environment names none that exists: with the C locale
// every typed non-ASCII character would be dropped.
void takeLocale() {
  for (const char* const name : {"", "C.UTF-8", "en_US.UTF-8"}) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread
    const char* const taken = std::setlocale(LC_CTYPE, name);
    if (taken != nullptr && taken != std::string_view("C") && taken != std::string_view("POSIX")) {
      return;
    }
  }
}

}  // namespace

}  // namespace ferncrest

int main(int argumentCount, char** arguments) {
  ferncrest::reserveStandardStreams();
  ferncrest::ignoreBrokenPipeSignal();
  ferncrest::takeLocale();
  const std::string program = argumentCount > 0 ? arguments[0] : "";
  const int first = argumentCount > 0 ? 1 : 0;
  return ferncrest::runConsole(program, {arguments + first, arguments + argumentCount});
}
