#pragma once

#include <string>

namespace ferncrest {

/// Why a line did not reach the backend.
struct ManagedBridgeBackendProxyError {
  enum class Kind { backendNotRunning, transportFailed };

  Kind kind;
  std::string detail;  ///< the backend's path, or the system's words for the failed write

  [[nodiscard]] std::string description() const;
};

}  // namespace ferncrest
