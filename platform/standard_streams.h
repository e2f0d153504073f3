#pragma once

namespace ferncrest {

inline constexpr int standardInput = 0;
inline constexpr int standardOutput = 1;
inline constexpr int standardError = 2;

/// Occupies each standard descriptor that the host left closed, so that no file or pipe of ours can
/// land on it: reading from such a stream ends at once and writing to it fails. Must run before
/// anything else opens a descriptor.
void reserveStandardStreams();

/// Makes a write to a pipe without a reader fail with an error instead of ending the process.
void ignoreBrokenPipeSignal();

}  // namespace ferncrest
