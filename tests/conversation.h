#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <utility>

#include "process.h"

// What host and service say to each other in most conversations.

namespace ferncrest::testing {

inline const std::string connectRequest = "{\"connect\":{\"_0\":{\"platform\":\"whatsapp\"}}}\n";

inline const std::string greeting =
    "{\"hello\":{\"_0\":{\"bridgeVersion\":\"managed-process-3\",\"platform\":\"whatsapp\"}}}\n"
    "{\"stateChanged\":{\"_0\":{\"state\":{\"disconnected\":{}}}}}\n";

/// The stub's answer to a connect request; `suffix` is " fallback" once a delegation has failed.
inline std::string connectEvents(const std::string& suffix = "") {
  return "{\"stateChanged\":{\"_0\":{\"state\":{\"connecting\":{}}}}}\n"
         "{\"stateChanged\":{\"_0\":{\"state\":{\"connected\":{\"accountDisplayName\":"
         "\"Ferncrest Managed Bridge (stub" +
         suffix + ")\"}}}}}\n";
}

/// What the stub says to one connect request when it has taken over.
inline const std::string takeover = greeting + connectEvents(" fallback");

inline const std::string refusal = "This component must be launched by Ferncrest.\n";

inline std::string fatalLine(const std::string& reason) {
  return "[BridgeService] fatal error: " + reason + "\n";
}

inline std::string fallbackLine(const std::string& path, const std::string& reason) {
  return "[BridgeService] Delegated backend launch failed at " + path + ": " + reason + "\n";
}

inline std::string brokenPipeLine(const std::string& path) {
  return fallbackLine(path, "Managed bridge backend transport failed: Broken pipe");
}

inline std::string notRunningLine(const std::string& path) {
  return fallbackLine(path, "Managed bridge backend is not running at " + path + ".");
}

/// What the host is told when the backend ends by itself.
inline std::string exitReport(int status) {
  const std::string message =
      "\"Managed bridge backend exited unexpectedly with status " + std::to_string(status) + ".\"";
  return "{\"stateChanged\":{\"_0\":{\"state\":{\"error\":{\"message\":" + message + "}}}}}\n" +
         "{\"error\":{\"_0\":{\"message\":" + message + "}}}\n";
}

/// Whether a process with this number is there, be it a zombie.
inline bool exists(pid_t pid) {
  return ::kill(pid, 0) == 0;
}

/// A process that a script told the number of, ended with the test.
class Guest {
 public:
  explicit Guest(const std::string& line) : pid_(std::stoi(line)) {}
  Guest(const Guest&) = delete;
  Guest& operator=(const Guest&) = delete;
  ~Guest() { end(); }
  void end() {
    if (pid_ > 0) {
      ::kill(std::exchange(pid_, 0), SIGKILL);
    }
  }

 private:
  pid_t pid_;
};

/// Whether the process whose number a script wrote on this line ends.
inline bool ends(const std::string& line) {
  return eventually([pid = std::stoi(line)] { return !exists(pid); });
}

/// The host sends two lines, the second of which the stub answers that has taken over.
inline void expectTakeover(Service& service) {
  service.write("not delivered\n" + connectRequest);
  service.expect(takeover);
}

}  // namespace ferncrest::testing
