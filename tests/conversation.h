#pragma once

#include <string>

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

/// What the host is told when the backend ends by itself.
inline std::string exitReport(int status) {
  const std::string message =
      "\"Managed bridge backend exited unexpectedly with status " + std::to_string(status) + ".\"";
  return "{\"stateChanged\":{\"_0\":{\"state\":{\"error\":{\"message\":" + message + "}}}}}\n" +
         "{\"error\":{\"_0\":{\"message\":" + message + "}}}\n";
}

}  // namespace ferncrest::testing
