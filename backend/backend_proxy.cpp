#include "backend/backend_proxy.h"

#include <system_error>
#include <thread>
#include <utility>

#include "backend/launch_configuration.h"
#include "platform/io.h"
#include "platform/paths.h"
#include "protocol/coding.h"

namespace ferncrest {

namespace {

using Clock = std::chrono::steady_clock;
using Error = ManagedBridgeBackendProxyError;

// How long a host that does not read may hold up the end.
constexpr std::chrono::seconds patience{1};

// How long after a failed write the backend's end may take to become known. A dying backend's pipes
// break before the system tells of its end.
constexpr std::chrono::milliseconds endNoticeDelay{250};

}  // namespace

ManagedBridgeBackendProxy::ManagedBridgeBackendProxy(Configuration configuration,
                                                     OutputStream& events,
                                                     OutputStream& diagnostics)
    : configuration_(std::move(configuration)), events_(events), diagnostics_(diagnostics) {}

Outcome ManagedBridgeBackendProxy::start(const std::shared_ptr<ManagedBridgeBackendProxy>& proxy) {
  auto handles = proxy->launch();
  if (!handles) {
    return std::unexpected(handles.error());
  }
  {
    const std::lock_guard lock(proxy->mutex_);
    proxy->handles_ = *handles;
  }
  Outcome watched = watch(proxy);
  if (!watched) {
    const std::lock_guard lock(proxy->mutex_);
    proxy->handles_ = {};
    proxy->over_->raise();
    handles->process->endNow();
  }
  return watched;
}

std::expected<ManagedBridgeBackendProxy::Handles, Failure> ManagedBridgeBackendProxy::launch() {
  const auto& [executable, platform, environment] = configuration_;
  const std::string dataDirectory = resolveDataDirectory(environment, platform);
  if (const Outcome created = createDirectories(dataDirectory); !created) {
    return std::unexpected(created.error());
  }
  auto over = Event::make();
  if (!over) {
    return std::unexpected(over.error());
  }
  over_ = std::make_shared<const Event>(std::move(*over));
  auto child =
      launchChild({.executable = executable,
                   .arguments = makeBackendArguments(platform),
                   .environment = makeBackendEnvironment(environment, dataDirectory, platform)});
  if (!child) {
    return std::unexpected(child.error());
  }
  return connect(std::move(*child));
}

// Starts the relays; without both of them the child is of no use.
std::expected<ManagedBridgeBackendProxy::Handles, Failure> ManagedBridgeBackendProxy::connect(
    LaunchedChild child) const {
  auto output = Relay::start(std::move(child.output), events_, over_);
  auto errors = Relay::start(std::move(child.errors), diagnostics_, over_);
  if (!output || !errors) {
    over_->raise();
    child.process->endNow();
    return std::unexpected(output ? errors.error() : output.error());
  }
  return Handles{.process = std::move(child.process),
                 .stdinHandle = std::make_shared<const Fd>(std::move(child.input)),
                 .stdoutHandle = std::move(*output),
                 .stderrHandle = std::move(*errors)};
}

Outcome ManagedBridgeBackendProxy::watch(const std::shared_ptr<ManagedBridgeBackendProxy>& proxy) {
  const auto wait = [weak = std::weak_ptr(proxy), process = proxy->handles().process] {
    process->waitForEnd();
    const auto alive = weak.lock();
    const int terminationStatus = process->reap();
    if (alive) {
      alive->handleTermination(terminationStatus);
    }
  };
  try {
    std::thread(wait).detach();
    return {};
  } catch (const std::system_error& error) {
    return std::unexpected(systemFailure(error.code().value()));
  }
}

std::expected<void, Error> ManagedBridgeBackendProxy::send(const MessageLine& line) {
  const std::shared_ptr<const Fd> input = inputOfRunningBackend();
  if (!input) {
    return std::unexpected(Error{Error::Kind::backendNotRunning, configuration_.executableURL});
  }
  // Written without the lock: the backend may not be reading, and its end must still be reported.
  const Outcome sent = writeAllUnless(over_->fd(), input->get(), line.terminated);
  if (sent) {
    return {};
  }
  if (isReadable(over_->fd())) {
    return std::unexpected(Error{Error::Kind::backendNotRunning, configuration_.executableURL});
  }
  return std::unexpected(Error{Error::Kind::transportFailed, sent.error().description});
}

std::shared_ptr<const Fd> ManagedBridgeBackendProxy::inputOfRunningBackend() const {
  const std::lock_guard lock(mutex_);
  const bool isRunning = handles_.process && !handles_.process->wasSeenToEnd();
  return isRunning ? handles_.stdinHandle : nullptr;
}

void ManagedBridgeBackendProxy::stop() {
  const Clock::time_point deadline = Clock::now() + patience;
  if (hasEndedByItself()) {
    waitForReport(deadline);
  }
  Handles last;
  {
    const std::lock_guard lock(mutex_);
    didRequestStop_ = true;
    last = std::exchange(handles_, {});
  }
  if (!last.process) {
    return;
  }
  over_->raise();
  last.stdoutHandle->waitForEnd(deadline);
  last.stderrHandle->waitForEnd(deadline);
  last.stdinHandle.reset();
  last.process->askToEnd();
}

void ManagedBridgeBackendProxy::giveUp() {
  const auto output = handles().stdoutHandle;
  waitForReport(Clock::now() + endNoticeDelay);
  if (hasEndedByItself()) {
    waitForReport({});
  }
  stop();
  if (output) {
    output->waitForEnd({});
  }
}

// On the thread that waits for the backend's end.
void ManagedBridgeBackendProxy::handleTermination(int terminationStatus) {
  const std::string message = "Managed bridge backend exited unexpectedly with status " +
                              std::to_string(terminationStatus) + ".";
  over_->raise();
  const Handles last = handles();
  if (last.stdoutHandle) {
    last.stdoutHandle->waitForEnd({});  // the backend's last words come first
  }
  {
    const OutputStream::Turn turn(events_);
    // Decided with the turn in hand: once stop has taken the proxy over, nothing is reported.
    if (takeReport()) {
      for (const BridgeEnvelope& envelope :
           {BridgeEnvelope(BridgeStateChangedEvent{ErrorState{message}}),
            BridgeEnvelope(BridgeErrorEvent{message})}) {
        static_cast<void>(turn.write(encodeEnvelopeLine(envelope)));
      }
    }
  }
  if (last.stderrHandle) {
    // Its last diagnostics too, as far as the host takes them.
    last.stderrHandle->waitForEnd(Clock::now() + patience);
  }
  const std::lock_guard lock(mutex_);
  hasReported_ = true;
  reported_.notify_all();
}

// Empties the handles; whether the end is to be reported.
bool ManagedBridgeBackendProxy::takeReport() {
  const std::lock_guard lock(mutex_);
  handles_ = {};
  return !didRequestStop_;
}

// Handles are emptied by stop and at the backend's end.
bool ManagedBridgeBackendProxy::hasEndedByItself() const {
  const std::lock_guard lock(mutex_);
  return !didRequestStop_ && (!handles_.process || !handles_.process->isRunning());
}

void ManagedBridgeBackendProxy::waitForReport(Deadline deadline) {
  std::unique_lock lock(mutex_);
  const auto isDone = [this] { return hasReported_; };
  if (deadline) {
    reported_.wait_until(lock, *deadline, isDone);
  } else {
    reported_.wait(lock, isDone);
  }
}

ManagedBridgeBackendProxy::Handles ManagedBridgeBackendProxy::handles() const {
  const std::lock_guard lock(mutex_);
  return handles_;
}

}  // namespace ferncrest
