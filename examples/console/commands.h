#pragma once

#include <expected>
#include <string>
#include <string_view>
#include <variant>

#include "platform/failure.h"
#include "protocol/envelope.h"

namespace ferncrest {

/// A line that goes to the service as it was typed.
struct RawLine {
  std::string text;
};

struct ShowHelp {};

struct Quit {};

/// What a typed line asks for; an envelope is to be sent.
using Command = std::variant<BridgeEnvelope, RawLine, ShowHelp, Quit>;

/// The commands and their arguments, one a line.
std::string_view commandHelp();

/// Understands a line that is not blank and is valid UTF-8; requests are made for `platform`.
/// A failure says what to type instead. Reads the files that are to be attached.
std::expected<Command, Failure> parseCommand(std::string_view line, const std::string& platform);

}  // namespace ferncrest
