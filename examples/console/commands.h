#pragma once

#include <expected>
#include <string>
#include <string_view>
#include <variant>

#include "platform/failure.h"
#include "protocol/envelope.h"

namespace ferncrest {

/// A line to send to the service as it was typed.
struct RawLine {
  std::string text;
};

struct ShowHelp {};

struct Quit {};

/// A parsed line; an envelope is a request to send.
using Command = std::variant<BridgeEnvelope, RawLine, ShowHelp, Quit>;

/// The commands and their arguments, one per line.
std::string_view commandHelp();

/// Parses `line`, valid UTF-8 and not blank; requests are for `platform`. Reads the files that are
/// to be attached. The failure says what to type instead.
[[nodiscard]] std::expected<Command, Failure> parseCommand(std::string_view line,
                                                           const std::string& platform);

}  // namespace ferncrest
