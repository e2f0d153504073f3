#include "examples/console/service_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>

#include <csignal>
#include <utility>

#include "examples/console/signal_pipe.h"
#include "platform/fd.h"

namespace ferncrest {

std::expected<ServiceProcess, Failure> startService(const std::string& program,
                                                    const std::string& platform,
                                                    const Environment& environment) {
  auto requests = makePipe();
  auto events = makePipe();
  auto diagnostics = makePipe();
  for (const auto* made : {&requests, &events, &diagnostics}) {
    if (!*made) {
      return std::unexpected(made->error());
    }
  }
  // A process group of its own: Ctrl-C reaches this host alone, which then ends the service.
  const auto pid =
      spawnChild({.executable = program,
                  .arguments = {"--platform", platform},
                  .environment = environment,
                  .searchesPath = true,
                  .leadsGroup = true},
                 {requests->readEnd.get(), events->writeEnd.get(), diagnostics->writeEnd.get()});
  if (!pid) {
    return std::unexpected(Failure{"Cannot start " + program + ": " + pid.error().description +
                                   ". Build the service, or name it with --service PATH."});
  }
  ::fcntl(requests->writeEnd.get(), F_SETFL, O_NONBLOCK);
  return ServiceProcess{.pid = *pid,
                        .requests = std::move(requests->writeEnd),
                        .events = std::move(events->readEnd),
                        .diagnostics = std::move(diagnostics->readEnd)};
}

std::optional<int> awaitEnd(pid_t pid, int signals, std::chrono::milliseconds patience) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + patience;
  int status = 0;
  while (::waitpid(pid, &status, WNOHANG) == 0) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd waiting{.fd = signals, .events = POLLIN, .revents = 0};
    if (left.count() <= 0 || ::poll(&waiting, 1, static_cast<int>(left.count())) == 0) {
      ::kill(pid, SIGKILL);
      ::waitpid(pid, &status, 0);
      return std::nullopt;
    }
    takeSignal(signals);
  }
  return status;
}

}  // namespace ferncrest
