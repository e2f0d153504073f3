#pragma once

#include <string>
#include <string_view>

#include "protocol/envelope.h"

namespace ferncrest {

/// What the output can show.
struct TextStyle {
  bool colour = false;
  bool unicode = true;
};

/// `text`, valid UTF-8, on one line and without control of the terminal: control characters, marks
/// that change the writing direction and, without Unicode, all non-ASCII characters become escapes.
std::string escaped(std::string_view text, const TextStyle& style);

/// One readable line without a line feed: the time, the kind of event, the sender and the text.
std::string eventLine(std::string_view time, const BridgeEnvelope& envelope,
                      const TextStyle& style);

/// The same for other lines: a diagnostic of the service, or a line that could not be decoded.
std::string otherLine(std::string_view time, std::string_view kind, std::string_view text,
                      const TextStyle& style);

}  // namespace ferncrest
