#include "backend/backend_proxy.h"

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "backend/launch_configuration.h"
#include "platform/files.h"
#include "platform/io.h"
#include "protocol/coding.h"

namespace ferncrest {

namespace {

using Error = ManagedBridgeBackendProxyError;

// After EPIPE, wait this long for the exit: the kernel closes a dying process's pipes before it
// reports the exit.
constexpr std::chrono::milliseconds endNoticeDelay{250};

}  // namespace

std::string ManagedBridgeBackendProxyError::description() const {
  if (kind == Kind::backendNotRunning) {
    return "Managed bridge backend is not running at " + detail + ".";
  }
  return "Managed bridge backend transport failed: " + detail;
}

ManagedBridgeBackendProxy::ManagedBridgeBackendProxy(Configuration configuration,
                                                     Conversation& host)
    : configuration_(std::move(configuration)), host_(host) {}

ManagedBridgeBackendProxy::~ManagedBridgeBackendProxy() {
  requestStop();
  host_.forgetEndHandler();
}

Outcome ManagedBridgeBackendProxy::start(Environment environment) {
  const auto& [executable, platform] = configuration_;
  const std::string dataDirectory = resolveDataDirectory(environment, platform);
  if (Outcome created =
          createDirectories(dataDirectory, trustedDirectory(environment, dataDirectory));
      !created) {
    return created;
  }
  auto child = launchChild(
      {.executable = executable,
       .arguments = makeBackendArguments(platform),
       .environment = makeBackendEnvironment(std::move(environment), dataDirectory, platform)});
  if (!child) {
    return std::unexpected(child.error());
  }
  // Nothing from here on can fail, so a backend that runs is always one that is served.
  process_ = &host_.watch(std::move(child->process),
                          [this](int terminationStatus) { handleTermination(terminationStatus); });
  stdinHandle_ = std::move(child->input);
  host_.relay(std::move(child->output), std::move(child->errors));
  return {};
}

std::expected<void, Error> ManagedBridgeBackendProxy::sendRest(std::string_view bytes) {
  if (process_ == nullptr) {
    return std::unexpected(notRunning());
  }
  // Kept open here, though handleTermination closes stdinHandle_: when the backend exits while the
  // line is being written, one more write tells EPIPE (transportFailed) from a full pipe
  // (backendNotRunning).
  Fd input = std::move(stdinHandle_);
  // The backend may only be waiting for this processor. To poll its pipe before it has read would
  // cost more than this: once a pipe has been polled, Linux takes longer for every write to it.
  std::this_thread::yield();
  while (!bytes.empty()) {
    const std::ptrdiff_t count = writeSome(input.get(), bytes);
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
      // A backend that reads a long line fast would otherwise keep the relays waiting.
      host_.look();
    } else if (count != -EAGAIN) {
      host_.waitForEnd(endNoticeDelay);
      return std::unexpected(
          Error{Error::Kind::transportFailed, systemFailure(static_cast<int>(-count)).description});
    } else if (process_ == nullptr) {
      return std::unexpected(notRunning());
    } else {
      host_.wait({.fd = input.get(), .events = POLLOUT, .revents = 0}, Conversation::forever);
    }
  }
  if (process_ != nullptr) {
    stdinHandle_ = std::move(input);
  }
  return {};
}

Error ManagedBridgeBackendProxy::notRunning() const {
  return {Error::Kind::backendNotRunning, configuration_.executableURL};
}

void ManagedBridgeBackendProxy::stop() {
  host_.look();
  requestStop();
}

// Allocates nothing, so the destructor can call it. stop() also calls look(), which may allocate
// the report of an exit.
void ManagedBridgeBackendProxy::requestStop() {
  didRequestStop_ = true;
  host_.limitRelays();
  stdinHandle_.reset();
  if (process_ != nullptr) {
    std::exchange(process_, nullptr)->askToEnd();
  }
}

void ManagedBridgeBackendProxy::handleTermination(int terminationStatus) {
  host_.limitRelays();
  stdinHandle_.reset();
  process_ = nullptr;
  if (didRequestStop_) {
    return;
  }
  const std::string message = "Managed bridge backend exited unexpectedly with status " +
                              std::to_string(terminationStatus) + ".";
  host_.appendEvents(encodeEnvelopeLine(BridgeStateChangedEvent{BridgeErrorState{message}}) +
                     encodeEnvelopeLine(BridgeErrorEvent{message}));
}

}  // namespace ferncrest
