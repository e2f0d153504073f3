#pragma once

#include <functional>
#include <optional>

#include "platform/failure.h"
#include "protocol/line_buffer.h"
#include "service/bridge_service.h"

namespace ferncrest {

/// Gives the host's next line, waiting for it; nothing at the end of the input.
using LineSource = std::function<std::optional<MessageLine>()>;

/// Serves the host without a backend: announces the stub, then answers the requests that `nextLine`
/// gives. Fails when an envelope cannot be written to standard output.
[[nodiscard]] Outcome runStub(BridgeService& service, const LineSource& nextLine);

}  // namespace ferncrest
