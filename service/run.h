#pragma once

#include "platform/failure.h"
#include "protocol/line_reader.h"
#include "service/bridge_service.h"
#include "service/output.h"

namespace ferncrest {

/// Serves the host until `input` ends. Fails when standard output can no longer be written.
/// Main thread, once a process.
[[nodiscard]] Outcome run(BridgeService& service, LineReader& input, const ServiceOutput& output);

}  // namespace ferncrest
