#pragma once

#include <cstddef>
#include <expected>
#include <string>
#include <string_view>

#include "backend/conversation.h"
#include "backend/proxy_error.h"
#include "platform/child_process.h"
#include "platform/environment.h"
#include "platform/failure.h"
#include "platform/fd.h"
#include "protocol/line_buffer.h"

namespace ferncrest {

/// The backend process as the host's partner: lines go to its input, its output and diagnostics are
/// relayed, and an end that nobody asked for is reported to the host. Started at most once.
class ManagedBridgeBackendProxy {
 public:
  struct Configuration {
    std::string executableURL;  ///< the path of the backend, absolute and normalized
    std::string platform;
    Environment environment;
  };

  /// `host` is borrowed and does the waiting.
  ManagedBridgeBackendProxy(Configuration configuration, Conversation& host);
  ManagedBridgeBackendProxy(const ManagedBridgeBackendProxy&) = delete;
  ManagedBridgeBackendProxy& operator=(const ManagedBridgeBackendProxy&) = delete;
  /// Asks a backend that still runs to end. Does not wait.
  ~ManagedBridgeBackendProxy();

  /// Makes the data directory and starts the backend. Fails with the error text of the system;
  /// nothing runs then.
  [[nodiscard]] Outcome start();

  /// Writes the line to the backend, waiting for it to read as long as it runs. When the write
  /// fails, the backend's end is given a moment to be noticed, and reported, first.
  [[nodiscard]] std::expected<void, ManagedBridgeBackendProxyError> send(const MessageLine& line);

  /// Ends the conversation: closes the backend's input and asks it to end; of its output no more is
  /// relayed than it has written so far. If it ended by itself before, that is reported. Does not
  /// wait.
  void stop();

 private:
  [[nodiscard]] std::expected<void, ManagedBridgeBackendProxyError> sendRest(
      std::string_view bytes);
  [[nodiscard]] ManagedBridgeBackendProxyError notRunning() const;
  void handleTermination(int terminationStatus);
  void requestStop();

  const Configuration configuration_;
  Conversation& host_;
  const ChildProcess* process_ = nullptr;  // the conversation's; none once its end was noticed
  Fd stdinHandle_;
  bool didRequestStop_ = false;
};

}  // namespace ferncrest
