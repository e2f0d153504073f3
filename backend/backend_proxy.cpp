#include "backend/backend_proxy.h"

#include <chrono>
#include <utility>

#include "backend/launch_configuration.h"
#include "platform/io.h"
#include "platform/paths.h"
#include "platform/thread.h"
#include "protocol/coding.h"

namespace ferncrest {

namespace {

using Clock = std::chrono::steady_clock;
using Error = ManagedBridgeBackendProxyError;

// How long after a failed write the backend's end may take to become known. A dying backend's pipes
// break before the system tells of its end.
constexpr std::chrono::milliseconds endNoticeDelay{250};

// Waits until the host has been given what there is, as long as it takes it. The deadline that is
// left is returned.
Clock::time_point waitForEnds(const std::shared_ptr<Relay>& output,
                              const std::shared_ptr<Relay>& errors, Clock::time_point deadline) {
  for (const auto& relay : {output, errors}) {
    deadline = relay ? relay->waitForEnd(deadline) : deadline;
  }
  return deadline;
}

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
  proxy->setHandles(*handles);
  Outcome watched = watch(proxy);
  if (!watched) {
    proxy->setHandles({});
    proxy->abandon(*handles);
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

// Starts the relays; without both of them the child is of no use. The one to standard output comes
// last, so that nothing reaches the host when the other one fails.
std::expected<ManagedBridgeBackendProxy::Handles, Failure> ManagedBridgeBackendProxy::connect(
    LaunchedChild child) const {
  Handles handles{.process = std::move(child.process),
                  .stdinHandle = std::make_shared<const Fd>(std::move(child.input)),
                  .stdoutHandle = {},
                  .stderrHandle = {}};
  auto errors = Relay::start(std::move(child.errors), diagnostics_, over_);
  if (!errors) {
    abandon(handles);
    return std::unexpected(errors.error());
  }
  handles.stderrHandle = std::move(*errors);
  auto output = Relay::start(std::move(child.output), events_, over_);
  if (!output) {
    abandon(handles);
    return std::unexpected(output.error());
  }
  handles.stdoutHandle = std::move(*output);
  return handles;
}

// Ends a backend that cannot be served; afterwards standard output is the caller's.
void ManagedBridgeBackendProxy::abandon(const Handles& handles) const {
  over_->raise();
  handles.process->endNow();
  if (handles.stdoutHandle) {
    handles.stdoutHandle->waitForEnd();
  }
}

Outcome ManagedBridgeBackendProxy::watch(const std::shared_ptr<ManagedBridgeBackendProxy>& proxy) {
  return startThread([weak = std::weak_ptr(proxy), process = proxy->handles().process] {
    process->waitForEnd();
    const auto alive = weak.lock();
    const int terminationStatus = process->reap();
    if (alive) {
      alive->handleTermination(terminationStatus);
    }
  });
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
  Clock::time_point deadline = Clock::now() + hostPatience;
  if (hasEndedByItself()) {
    const Handles ended = handles();
    deadline = waitForEnds(ended.stdoutHandle, ended.stderrHandle, deadline);
    reported_.waitUntil(deadline);
  }
  Handles last;
  {
    const std::lock_guard lock(mutex_);
    didRequestStop_ = true;
    last = std::exchange(handles_, {});
  }
  if (!last.process) {
    // It ended in between and its report is under way, which must not be cut off.
    reported_.waitUntil(deadline);
    return;
  }
  over_->raise();
  waitForEnds(last.stdoutHandle, last.stderrHandle, deadline);
  last.stdinHandle.reset();
  last.process->askToEnd();
}

void ManagedBridgeBackendProxy::giveUp() {
  const auto output = handles().stdoutHandle;
  reported_.waitUntil(Clock::now() + endNoticeDelay);
  if (hasEndedByItself()) {
    reported_.wait();
  }
  stop();
  if (output) {
    output->waitForEnd();
  }
}

// On the thread that waits for the backend's end.
void ManagedBridgeBackendProxy::handleTermination(int terminationStatus) {
  over_->raise();
  const Handles last = handles();
  if (last.stdoutHandle) {
    last.stdoutHandle->waitForEnd();  // the backend's last words come first
  }
  report("Managed bridge backend exited unexpectedly with status " +
         std::to_string(terminationStatus) + ".");
  if (last.stderrHandle) {
    // Its last diagnostics too, as far as the host takes them.
    last.stderrHandle->waitForEnd(Clock::now() + hostPatience);
  }
  reported_.open();
}

void ManagedBridgeBackendProxy::report(const std::string& message) {
  const OutputStream::Turn turn(events_);
  // Decided with the turn in hand: once stop has taken the proxy over, nothing is reported.
  if (!takeReport()) {
    return;
  }
  for (const BridgeEnvelope& envelope :
       {BridgeEnvelope(BridgeStateChangedEvent{ErrorState{message}}),
        BridgeEnvelope(BridgeErrorEvent{message})}) {
    static_cast<void>(turn.write(encodeEnvelopeLine(envelope)));
  }
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

void ManagedBridgeBackendProxy::setHandles(Handles handles) {
  const std::lock_guard lock(mutex_);
  handles_ = std::move(handles);
}

ManagedBridgeBackendProxy::Handles ManagedBridgeBackendProxy::handles() const {
  const std::lock_guard lock(mutex_);
  return handles_;
}

}  // namespace ferncrest
