#pragma once

#include <expected>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "backend/proxy_error.h"
#include "backend/relay.h"
#include "platform/child_process.h"
#include "platform/environment.h"
#include "platform/event.h"
#include "platform/failure.h"
#include "platform/fd.h"
#include "platform/latch.h"
#include "platform/output_stream.h"
#include "protocol/line_reader.h"

namespace ferncrest {

/// The backend process as the host's partner: lines go to its input, its output and diagnostics
/// come back through two relays, and its unexpected end is reported to the host. Started at most
/// once.
///
/// The main thread starts, sends and stops; a thread of the proxy's own waits for the backend's
/// end. Locks are taken in this order: the turn on standard output, then the proxy's own, which is
/// never held across a wait.
class ManagedBridgeBackendProxy {
 public:
  struct Configuration {
    std::string executableURL;  ///< the path of the backend, absolute and normalized
    std::string platform;
    Environment environment;
  };

  /// Both streams must outlive every thread of the process.
  ManagedBridgeBackendProxy(Configuration configuration, OutputStream& events,
                            OutputStream& diagnostics);
  ManagedBridgeBackendProxy(const ManagedBridgeBackendProxy&) = delete;
  ManagedBridgeBackendProxy& operator=(const ManagedBridgeBackendProxy&) = delete;

  /// Makes the data directory and starts the backend. The thread that waits for the backend's end
  /// refers to the proxy without owning it. Fails with the system's words; nothing runs then.
  [[nodiscard]] static Outcome start(const std::shared_ptr<ManagedBridgeBackendProxy>& proxy);

  /// Writes the line to the backend, waiting for it to read as long as it runs.
  [[nodiscard]] std::expected<void, ManagedBridgeBackendProxyError> send(const MessageLine& line);

  /// Ends the conversation: relays what the backend has written so far, closes its input and asks
  /// it to end. If it has already ended by itself, that is reported first. Waits as long as the
  /// host goes on reading, for `hostPatience` if it does not, and not for the backend to end.
  void stop();

  /// After a failed send: waits until nothing more comes from the backend or about it, however long
  /// the host takes to read it, and stops it. Afterwards standard output is the caller's.
  void giveUp();

 private:
  /// Everything that a running backend is reached by; set and emptied as one.
  struct Handles {
    std::shared_ptr<ChildProcess> process;
    std::shared_ptr<const Fd> stdinHandle;
    std::shared_ptr<Relay> stdoutHandle;
    std::shared_ptr<Relay> stderrHandle;
  };

  [[nodiscard]] std::expected<Handles, Failure> launch();
  [[nodiscard]] std::expected<Handles, Failure> connect(LaunchedChild child) const;
  void abandon(const Handles& handles) const;
  [[nodiscard]] static Outcome watch(const std::shared_ptr<ManagedBridgeBackendProxy>& proxy);
  void handleTermination(int terminationStatus);
  void report(const std::string& message);
  bool takeReport();
  bool hasEndedByItself() const;
  void setHandles(Handles handles);
  [[nodiscard]] Handles handles() const;
  [[nodiscard]] std::shared_ptr<const Fd> inputOfRunningBackend() const;

  const Configuration configuration_;
  OutputStream& events_;
  OutputStream& diagnostics_;
  std::shared_ptr<const Event> over_;  // raised at the backend's end and by stop; set by start

  mutable std::mutex mutex_;
  Handles handles_;
  bool didRequestStop_ = false;

  Latch reported_;
};

}  // namespace ferncrest
