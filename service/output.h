#pragma once

#include <string_view>

#include "platform/failure.h"

// The writers of the two output streams: events for the host, diagnostics for people.

namespace ferncrest {

/// Writes the line of an envelope to standard output, however long the host takes to read it. Fails
/// with the error text of the operating system.
[[nodiscard]] Outcome writeEvent(std::string_view line);

/// Writes `text` unchanged to standard error; the caller adds prefix and line feed. A failure is
/// ignored. Waits at most a second for a host that does not read its diagnostics, then drops what
/// is left of the text. A pipe gets no part of a text before it has room for the whole.
void writeDiagnostic(std::string_view text);

}  // namespace ferncrest
