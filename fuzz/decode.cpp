#include <simdjson.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <string>
#include <string_view>
#include <variant>

#include "protocol/coding.h"
#include "require.h"
#include "text/utf8.h"

// For any bytes: an envelope that can be decoded survives a round trip, and another JSON parser
// accepts the same lines and finds the same values.

namespace ferncrest::fuzz {

namespace {

namespace dom = simdjson::dom;

// In longer texts, values could be nested deeper than our reader accepts.
constexpr std::size_t longestText = 2048;

// Whether a number may be too large for simdjson, which converts numbers; our reader does not.
bool mayBeLarge(std::string_view text) {
  std::size_t digits = 0;
  return std::ranges::any_of(text, [&](char byte) {
    digits = byte >= '0' && byte <= '9' ? digits + 1 : 0;
    return digits == 3;
  });
}

bool isPartOf(dom::element part, dom::element whole);

bool isPartOfList(dom::array part, dom::array whole) {
  return std::ranges::equal(part, whole, isPartOf);
}

bool isPartOfObject(dom::object part, dom::object whole) {
  return std::ranges::all_of(part, [&](const dom::key_value_pair& member) {
    dom::element other;
    return whole.at_key(member.key).get(other) == simdjson::SUCCESS &&
           isPartOf(member.value, other);
  });
}

// Whether `whole` has everything that `part` has, at the same place; the first of equal keys
// counts.
bool isPartOf(dom::element part, dom::element whole) {
  if (part.type() != whole.type()) {
    return false;
  }
  switch (part.type()) {
    case dom::element_type::OBJECT:
      return isPartOfObject(part.get_object(), whole.get_object());
    case dom::element_type::ARRAY:
      return isPartOfList(part.get_array(), whole.get_array());
    case dom::element_type::STRING:
      return std::string_view(part.get_string()) == std::string_view(whole.get_string());
    default:
      return part.type() == dom::element_type::BOOL && bool(part) == bool(whole);
  }
}

void checkRoundTrip(const BridgeEnvelope& envelope, dom::element read) {
  const std::string line = encodeEnvelopeLine(envelope);
  require(line.find('\n') == line.size() - 1, "an envelope is one line");
  const std::string_view text(line.data(), line.size() - 1);
  require(text == encodeEnvelope(envelope), "the line is the text and a line feed");
  require(isValidUtf8(text), "what is written is valid");
  const auto again = decodeEnvelope(text);
  require(again && *again == envelope, "what is written decodes to the same value");
  require(encodeEnvelope(*again) == text, "the same value is written the same");
  dom::parser parser;
  dom::element written;
  require(parser.parse(text.data(), text.size()).get(written) == simdjson::SUCCESS,
          "another parser reads what is written");
  require(isPartOf(written, read), "another parser finds the same in both texts");
}

using Decoded = std::expected<BridgeEnvelope, DecodingError>;

void checkDropping(Decoded whole, Decoded rest) {
  for (Decoded* const decoded : {&whole, &rest}) {
    if (auto* const request =
            *decoded ? std::get_if<BridgeSendMessageRequest>(&**decoded) : nullptr) {
      request->message.attachments.reset();
    }
  }
  require(whole == rest, "attachments that are dropped are checked too, and change nothing else");
}

void check(const std::string& text) {
  static dom::parser parser;
  static const bool isReady =
      parser.allocate(4 * longestText, 2 * longestText) == simdjson::SUCCESS;
  require(isReady, "there is memory");
  const auto envelope = decodeEnvelope(text);
  checkDropping(envelope, decodeEnvelope(text, Attachments::dropped));
  const bool wellFormed = envelope || envelope.error().kind != DecodingError::Kind::invalidJson;
  dom::element read;
  const auto error = parser.parse(text.data(), text.size()).get(read);
  const bool beyondTheOther = error == simdjson::NUMBER_ERROR && mayBeLarge(text);
  require(wellFormed == (error == simdjson::SUCCESS) || beyondTheOther,
          "both parsers accept the same");
  if (envelope && !beyondTheOther) {
    checkRoundTrip(*envelope, read);
  }
}

}  // namespace

}  // namespace ferncrest::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size > ferncrest::fuzz::longestText) {
    return -1;
  }
  ferncrest::fuzz::check(ferncrest::repairedUtf8({reinterpret_cast<const char*>(bytes), size}));
  return 0;
}
