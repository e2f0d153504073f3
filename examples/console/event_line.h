#pragma once

#include <string>
#include <string_view>

#include "protocol/envelope.h"

namespace ferncrest {

/// What the place that a line is shown at can show.
struct TextStyle {
  bool colour = false;
  bool unicode = true;
};

/// `text`, valid UTF-8, on one line and unable to command a terminal: control characters, marks
/// that change the direction of writing and, without Unicode, all beyond ASCII become escapes.
std::string escaped(std::string_view text, const TextStyle& style);

/// One readable line, without its end: the time, what came, from whom and the text.
std::string eventLine(std::string_view time, const BridgeEnvelope& envelope,
                      const TextStyle& style);

/// The same for what is no event: what the service logged, or what could not be read.
std::string otherLine(std::string_view time, std::string_view kind, std::string_view text,
                      const TextStyle& style);

}  // namespace ferncrest
