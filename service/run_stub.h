#pragma once

#include "platform/failure.h"
#include "platform/output_stream.h"
#include "protocol/line_reader.h"
#include "service/bridge_service.h"

namespace ferncrest {

/// Serves the host without a backend: announces the stub, then answers the requests that `input`
/// still holds until it ends. Fails when an envelope cannot be written to `output`. Main thread.
[[nodiscard]] Outcome runStub(BridgeService& service, LineReader& input, OutputStream& output);

}  // namespace ferncrest
