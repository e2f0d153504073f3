#include <fcntl.h>
#include <spawn.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "platform/child_process.h"
#include "platform/pipe.h"
#include "platform/standard_streams.h"
#include "platform/system.h"

namespace ferncrest {

namespace {

// The three pipes, each with the child's end and ours.
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

// What a launch is told besides program, arguments and environment.
class SpawnSettings {
 public:
  SpawnSettings() {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawnattr_init(&attributes_);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;
  ~SpawnSettings() {
    ::posix_spawn_file_actions_destroy(&actions_);
    ::posix_spawnattr_destroy(&attributes_);
  }

  // 0, or the errno value of the first setting that could not be made.
  int prepare(const StreamPipes& pipes) {
    short flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
    int error = connect(pipes.input.readEnd, standardInput);
    error = error != 0 ? error : connect(pipes.output.writeEnd, standardOutput);
    error = error != 0 ? error : connect(pipes.errors.writeEnd, standardError);
    error = error != 0 ? error : keepOnlyStandardStreams(actions_, flags);
    error = error != 0 ? error : resetSignals();
    return error != 0 ? error : ::posix_spawnattr_setflags(&attributes_, flags);
  }

  int spawn(pid_t& pid, const char* executable, char* const* arguments, char* const* environment) {
    return ::posix_spawn(&pid, executable, &actions_, &attributes_, arguments, environment);
  }

 private:
  int connect(const Fd& pipeEnd, int stream) {
    return ::posix_spawn_file_actions_adddup2(&actions_, pipeEnd.get(), stream);
  }

  // A host may have ignored or blocked anything; the backend must not inherit that, nor our
  // SIGPIPE.
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

// The new process's number, or the system's words.
std::expected<pid_t, Failure> spawn(const ChildLaunch& launch, const StreamPipes& pipes) {
  std::vector<std::string> arguments{launch.executable};
  arguments.insert(arguments.end(), launch.arguments.begin(), launch.arguments.end());
  std::vector<std::string> environment = entriesOf(launch.environment);
  SpawnSettings settings;
  pid_t pid = -1;
  int error = settings.prepare(pipes);
  if (error == 0) {
    error = settings.spawn(pid, launch.executable.c_str(), pointersTo(arguments).data(),
                           pointersTo(environment).data());
  }
  if (error != 0) {
    return std::unexpected(systemFailure(error));
  }
  return pid;
}

}  // namespace

std::expected<LaunchedChild, Failure> launchChild(const ChildLaunch& launch) {
  // If the host left the ends of children ignored, the system would keep no exit status.
  std::signal(SIGCHLD, SIG_DFL);
  auto pipes = makeStreamPipes();
  if (!pipes) {
    return std::unexpected(pipes.error());
  }
  const auto pid = spawn(launch, *pipes);
  if (!pid) {
    return std::unexpected(pid.error());
  }
  // From here on nothing can fail: the child has an owner.
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
