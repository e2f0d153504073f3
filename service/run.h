#pragma once

#include "platform/failure.h"
#include "service/bridge_service.h"

namespace ferncrest {

/// Serves the host on the standard streams until its input ends: through a backend where there is
/// one, else as the stub. Fails when standard output can no longer be written. Once a process.
[[nodiscard]] Outcome run(BridgeService& service);

}  // namespace ferncrest
