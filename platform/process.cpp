#include "platform/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "platform/system.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): macOS headers have none

namespace ferncrest {

namespace {

// The three pipes of a child's standard streams, with both ends.
struct StreamPipes {
  Pipe input;
  Pipe output;
  Pipe errors;
};

std::expected<StreamPipes, Failure> makeStreamPipes() {
  StreamPipes pipes;
  for (Pipe* const pipe : {&pipes.input, &pipes.output, &pipes.errors}) {
    auto made = makePipe();
    if (!made) {
      return std::unexpected(made.error());
    }
    *pipe = std::move(*made);
  }
  return pipes;
}

// The file actions and attributes of posix_spawn.
class SpawnSettings {
 public:
  SpawnSettings() = default;
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;
  ~SpawnSettings() {
    ::posix_spawn_file_actions_destroy(&actions_);
    ::posix_spawnattr_destroy(&attributes_);
  }

  // 0, or the errno value of the first setting that could not be made.
  int prepare(const ChildStreams& streams, bool leadsGroup) {
    // The group in new attributes is 0, which makes the child the leader of a new one.
    const short group = leadsGroup ? POSIX_SPAWN_SETPGROUP : 0;
    auto flags = static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | group);
    int error = ::posix_spawn_file_actions_init(&actions_);
    error = error != 0 ? error : ::posix_spawnattr_init(&attributes_);
    error = error != 0 ? error : connect(streams.input, standardInput);
    error = error != 0 ? error : connect(streams.output, standardOutput);
    error = error != 0 ? error : connect(streams.errors, standardError);
    error = error != 0 ? error : keepOnlyStandardStreams(actions_, flags);
    error = error != 0 ? error : resetSignals();
    return error != 0 ? error : ::posix_spawnattr_setflags(&attributes_, flags);
  }

  int spawn(pid_t& pid, const ChildLaunch& launch, char* const* arguments,
            char* const* environment) {
    const auto start = launch.searchesPath ? ::posix_spawnp : ::posix_spawn;
    return start(&pid, launch.executable.c_str(), &actions_, &attributes_, arguments, environment);
  }

 private:
  int connect(int fd, int stream) {
    return ::posix_spawn_file_actions_adddup2(&actions_, fd, stream);
  }

  // Our parent may have ignored or blocked any signal, and we ignore SIGPIPE. A child would inherit
  // that.
  int resetSignals() {
    sigset_t signals;
    sigfillset(&signals);
    sigdelset(&signals, SIGKILL);
    sigdelset(&signals, SIGSTOP);
    const int error = ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    sigemptyset(&signals);
    return error != 0 ? error : ::posix_spawnattr_setsigmask(&attributes_, &signals);
  }

  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
};

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> entriesOf(const Environment& environment) {
  std::vector<std::string> entries;
  for (const auto& [name, value] : environment) {
    entries.push_back(name + "=" + value);
  }
  return entries;
}

}  // namespace

Environment readEnvironment() {
  Environment environment;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    const std::size_t equals = text.find('=');
    if (equals != std::string_view::npos && equals > 0) {
      environment.emplace(text.substr(0, equals), text.substr(equals + 1));
    }
  }
  return environment;
}

std::string_view valueOf(const Environment& environment, std::string_view name) {
  const auto found = environment.find(name);
  return found == environment.end() ? std::string_view() : std::string_view(found->second);
}

ChildProcess::ChildProcess(pid_t pid) : pid_(pid), exitWatch_(openExitWatch(pid)) {}

std::optional<int> ChildProcess::reapIfEnded() {
  int status = 0;
  pid_t pid = 0;
  do {
    pid = ::waitpid(pid_, &status, WNOHANG);
  } while (pid < 0 && errno == EINTR);
  if (pid == 0) {
    // The descriptor can be readable before the child can be reaped: by a moment, or for as long as
    // a debugger holds the dead child. From here on waitpid has to be called at intervals.
    exitWatch_.reset();
    return std::nullopt;
  }
  if (pid != pid_) {
    return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
}

void ChildProcess::askToEnd() const {
  ::kill(pid_, SIGTERM);
}

std::expected<pid_t, Failure> spawnChild(const ChildLaunch& launch, const ChildStreams& streams) {
  std::vector<std::string> arguments{launch.executable};
  arguments.insert(arguments.end(), launch.arguments.begin(), launch.arguments.end());
  std::vector<std::string> environment = entriesOf(launch.environment);
  SpawnSettings settings;
  pid_t pid = -1;
  int error = settings.prepare(streams, launch.leadsGroup);
  if (error == 0) {
    error =
        settings.spawn(pid, launch, pointersTo(arguments).data(), pointersTo(environment).data());
  }
  if (error != 0) {
    return std::unexpected(systemFailure(error));
  }
  return pid;
}

std::expected<LaunchedChild, Failure> launchChild(const ChildLaunch& launch) {
  // With SIGCHLD ignored, the kernel reaps children itself and keeps no exit status.
  std::signal(SIGCHLD, SIG_DFL);
  auto pipes = makeStreamPipes();
  if (!pipes) {
    return std::unexpected(pipes.error());
  }
  const auto pid = spawnChild(launch, {pipes->input.readEnd.get(), pipes->output.writeEnd.get(),
                                       pipes->errors.writeEnd.get()});
  if (!pid) {
    return std::unexpected(pid.error());
  }
  // Nothing from here on can fail, so a child that was started is always given back.
  for (const Fd* const end :
       {&pipes->input.writeEnd, &pipes->output.readEnd, &pipes->errors.readEnd}) {
    ::fcntl(end->get(), F_SETFL, O_NONBLOCK);
  }
  enlargePipe(pipes->input.writeEnd.get());
  enlargePipe(pipes->output.readEnd.get());
  return LaunchedChild{.process = ChildProcess(*pid),
                       .input = std::move(pipes->input.writeEnd),
                       .output = std::move(pipes->output.readEnd),
                       .errors = std::move(pipes->errors.readEnd)};
}

}  // namespace ferncrest
