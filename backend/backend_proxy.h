#pragma once

#include <algorithm>
#include <cstddef>
#include <expected>
#include <string>
#include <string_view>

#include "backend/conversation.h"
#include "platform/failure.h"
#include "platform/fd.h"
#include "platform/io.h"
#include "platform/process.h"
#include "protocol/line_buffer.h"

namespace ferncrest {

/// Why a line did not reach the backend.
struct ManagedBridgeBackendProxyError {
  enum class Kind { backendNotRunning, transportFailed };

  Kind kind;
  std::string detail;  ///< the backend's path, or the error text of the operating system

  /// The sentence for a person.
  [[nodiscard]] std::string description() const;
};

/// A backend process: lines are written to its input, its output and diagnostics are relayed to the
/// host, and an exit without a stop() before it is reported to the host. Started at most once.
class ManagedBridgeBackendProxy {
 public:
  struct Configuration {
    std::string executableURL;  ///< the path of the backend, absolute and normalized
    std::string platform;
  };

  /// `host` is borrowed; all waiting goes through it.
  ManagedBridgeBackendProxy(Configuration configuration, Conversation& host);
  ManagedBridgeBackendProxy(const ManagedBridgeBackendProxy&) = delete;
  ManagedBridgeBackendProxy& operator=(const ManagedBridgeBackendProxy&) = delete;
  /// Sends SIGTERM to a backend that still runs. Does not wait.
  ~ManagedBridgeBackendProxy();

  /// Creates the data directory and starts the backend in this environment, with two variables set.
  /// When that fails, with the error text of the operating system, no backend runs.
  [[nodiscard]] Outcome start(Environment environment);

  /// Writes the line to the backend. Waits for the backend to read, as long as it runs. After a
  /// failed write it waits up to 250 ms for the backend's exit, so that the exit is reported before
  /// the failure.
  [[nodiscard]] std::expected<void, ManagedBridgeBackendProxyError> send(const MessageLine& line) {
    // Inline, like writeSome: without these two calls lines are forwarded 1.06 times as fast.
    const std::ptrdiff_t count = writeSome(stdinHandle_.get(), line.terminated);
    const auto written = static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 0));
    if (written == line.terminated.size()) {
      return {};
    }
    return sendRest(line.terminated.substr(written));
  }

  /// Closes the backend's input and sends it SIGTERM. Of its output, only what it has written so
  /// far is relayed. An exit before this call is still reported. Does not wait.
  void stop();

 private:
  [[nodiscard]] std::expected<void, ManagedBridgeBackendProxyError> sendRest(
      std::string_view bytes);
  [[nodiscard]] ManagedBridgeBackendProxyError notRunning() const;
  void handleTermination(int terminationStatus);
  void requestStop();

  const Configuration configuration_;
  Conversation& host_;
  const ChildProcess* process_ = nullptr;  // owned by host_; null once its exit was noticed
  Fd stdinHandle_;
  bool didRequestStop_ = false;
};

}  // namespace ferncrest
