#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

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

inline std::string brokenPipeLine(const std::string& path = "$0") {
  return fallbackLine(path, "Managed bridge backend transport failed: Broken pipe");
}

inline std::string notRunningLine(const std::string& path = "$0") {
  return fallbackLine(path, "Managed bridge backend is not running at " + path + ".");
}

/// What the host is told when the backend ends by itself.
inline std::string exitReport(int status) {
  const std::string message =
      "\"Managed bridge backend exited unexpectedly with status " + std::to_string(status) + ".\"";
  return "{\"stateChanged\":{\"_0\":{\"state\":{\"error\":{\"message\":" + message + "}}}}}\n" +
         "{\"error\":{\"_0\":{\"message\":" + message + "}}}\n";
}

/// Whether the process whose number a script wrote on this line ends.
inline bool ends(const std::string& line) {
  return eventually([pid = std::stoi(line)] { return ::kill(pid, 0) != 0; });
}

/// What the host writes, and what it then reads.
struct Exchange {
  std::string requests;
  std::string output;
  std::string errors = "";
};

/// The stub takes over after a line that was not delivered, and answers the next one.
inline Exchange takenOver(const std::string& errors = notRunningLine()) {
  return {"not delivered\n" + connectRequest, takeover, errors};
}

inline void expectExchange(Service& service, const Exchange& exchange) {
  service.write(exchange.requests);
  service.expect(exchange.output);
  service.expectErrors(exchange.errors);
}

/// A whole conversation: its exchanges in turn, and then nothing but the end.
struct Scenario {
  std::string name;
  Launch launch;
  std::vector<Exchange> exchanges;
  int status = 0;
};

inline void expectEach(const std::vector<Scenario>& scenarios) {
  for (const auto& [name, launch, exchanges, status] : scenarios) {
    SCOPED_TRACE(name);
    Service service(launch);
    for (const Exchange& exchange : exchanges) {
      expectExchange(service, exchange);
    }
    service.expectEnd("", "", status);
  }
}

/// Sets a service up with every signal ignored and blocked.
inline const std::string noSignals =
    "exec python3 -c 'import os, sys; from signal import *; all = valid_signals() - {SIGKILL, "
    "SIGSTOP}; [signal(one, SIG_IGN) for one in all]; pthread_sigmask(SIG_BLOCK, all); "
    "os.execv(sys.argv[1], sys.argv[1:])' \"$0\" \"$@\"";

inline std::string zeros(std::size_t count) {
  return std::string(count, '\0');
}

}  // namespace ferncrest::testing
