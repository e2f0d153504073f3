#include "backend/proxy_error.h"

namespace ferncrest {

std::string ManagedBridgeBackendProxyError::description() const {
  if (kind == Kind::backendNotRunning) {
    return "Managed bridge backend is not running at " + detail + ".";
  }
  return "Managed bridge backend transport failed: " + detail;
}

}  // namespace ferncrest
