#pragma once

#include <string>

#include "platform/environment.h"
#include "platform/failure.h"
#include "platform/output_stream.h"
#include "protocol/line_reader.h"

namespace ferncrest {

/// Hands the conversation to the backend at `executablePath` until `input` ends, and stops it.
/// Fails when the backend cannot be started, or with the first line that does not reach it; that
/// line is taken from `input`, the next one is not. Main thread.
[[nodiscard]] Outcome runDelegation(const std::string& executablePath, const std::string& platform,
                                    const Environment& environment, LineReader& input,
                                    OutputStream& events, OutputStream& diagnostics);

}  // namespace ferncrest
