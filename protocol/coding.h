#pragma once

#include <expected>
#include <string>
#include <string_view>

#include "protocol/decoding_error.h"
#include "protocol/envelope.h"

// Envelopes to their exact JSON text and back. Nothing is kept between calls.

namespace ferncrest {

/// The envelope as compact JSON with sorted keys, without a line end.
std::string encodeEnvelope(const BridgeEnvelope& envelope);

/// The same with its line feed: the bytes of one message on a stream.
std::string encodeEnvelopeLine(const BridgeEnvelope& envelope);

/// The same in place of what `line` held, whose memory is used again.
void encodeEnvelopeLine(const BridgeEnvelope& envelope, std::string& line);

/// What becomes of the attachments of a message. Dropped ones are checked all the same, but leave
/// an empty list, which saves time and memory.
enum class Attachments : unsigned char { kept, dropped };

/// The envelope in `text`, which must be valid UTF-8 and exactly one JSON value. Malformed JSON
/// anywhere is reported before any other fault, and those in the fields' declared order.
[[nodiscard]] std::expected<BridgeEnvelope, DecodingError> decodeEnvelope(
    std::string_view text, Attachments attachments = Attachments::kept);

}  // namespace ferncrest
