#include "examples/console/service_process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>
#include <vector>

#include "examples/console/signal_pipe.h"
#include "platform/standard_streams.h"

namespace ferncrest {

namespace {

// The service's own code for this is not used, because it is not installed with the library.

struct Pipe {
  Fd readEnd;
  Fd writeEnd;
};

// Close-on-exec, so that the service inherits nothing but its own ends.
std::expected<Pipe, Failure> makePipe() {
  std::array<int, 2> fds{};
  if (::pipe(fds.data()) != 0) {
    return std::unexpected(systemFailure(errno));
  }
  Pipe made{Fd(fds[0]), Fd(fds[1])};
  for (const int fd : fds) {
    if (::fcntl(fd, F_SETFD, FD_CLOEXEC) != 0) {
      return std::unexpected(systemFailure(errno));
    }
  }
  return made;
}

class SpawnPlan {
 public:
  SpawnPlan() {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawnattr_init(&attributes_);
    sigset_t broken{};
    // Without "::": macOS has these two as macros.
    sigemptyset(&broken);
    sigaddset(&broken, SIGPIPE);
    ::posix_spawnattr_setsigdefault(&attributes_, &broken);
    // A process group of its own: Ctrl-C reaches this host alone, which then ends the service.
    ::posix_spawnattr_setpgroup(&attributes_, 0);
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;
  ~SpawnPlan() {
    ::posix_spawnattr_destroy(&attributes_);
    ::posix_spawn_file_actions_destroy(&actions_);
  }

  void connect(const Fd& fd, int standardStream) {
    ::posix_spawn_file_actions_adddup2(&actions_, fd.get(), standardStream);
  }

  std::expected<pid_t, Failure> start(const std::vector<std::string>& arguments,
                                      const std::vector<std::string>& environment) const {
    pid_t pid = -1;
    const int errorNumber =
        ::posix_spawnp(&pid, arguments.front().c_str(), &actions_, &attributes_,
                       pointersTo(arguments).data(), pointersTo(environment).data());
    return errorNumber == 0 ? std::expected<pid_t, Failure>(pid)
                            : std::unexpected(systemFailure(errorNumber));
  }

 private:
  static std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
      pointers.push_back(const_cast<char*>(text.c_str()));  // posix_spawn does not change them
    }
    pointers.push_back(nullptr);
    return pointers;
  }

  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
};

std::vector<std::string> entriesOf(const Environment& environment) {
  std::vector<std::string> entries;
  for (const auto& [name, value] : environment) {
    entries.emplace_back(name).append("=").append(value);
  }
  return entries;
}

}  // namespace

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
  SpawnPlan plan;
  plan.connect(requests->readEnd, standardInput);
  plan.connect(events->writeEnd, standardOutput);
  plan.connect(diagnostics->writeEnd, standardError);
  const auto pid = plan.start({program, "--platform", platform}, entriesOf(environment));
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
