#include <array>
#include <cstddef>
#include <expected>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "protocol/coding.h"
#include "protocol/json_reader.h"
#include "protocol/schema.h"

namespace ferncrest {

namespace {

using Kind = JsonReader::Kind;
using Decoded = std::expected<void, DecodingError>;

std::unexpected<DecodingError> fault(DecodingError::Kind kind, std::string_view type,
                                     std::string description) {
  return std::unexpected(DecodingError{kind, type, {}, std::move(description)});
}

// Places an error one level further up.
Decoded under(std::string_view key, Decoded outcome) {
  if (!outcome) {
    auto& path = outcome.error().codingPath;
    path.emplace(path.begin(), key);
  }
  return outcome;
}

// Passes over a value that is not what is expected there, and says so.
Decoded rejectValue(JsonReader& reader, std::string_view expectedType) {
  const bool isNull = reader.peek() == Kind::null;
  reader.skipValue();
  const std::string description = "Expected " + std::string(expectedType);
  if (isNull) {
    return fault(DecodingError::Kind::nullValue, expectedType, description + ", found null.");
  }
  return fault(DecodingError::Kind::typeMismatch, expectedType,
               description + ", found a value of another type.");
}

Decoded missingKey(std::string_view key, std::string_view type) {
  return fault(DecodingError::Kind::missingKey, type,
               "No value found under the key \"" + std::string(key) + "\".");
}

Decoded decode(JsonReader& reader, std::string& text) {
  if (reader.peek() != Kind::string) {
    return rejectValue(reader, "String");
  }
  text = reader.readString();
  return {};
}

Decoded decode(JsonReader& reader, bool& value) {
  if (reader.peek() != Kind::boolean) {
    return rejectValue(reader, "Bool");
  }
  value = reader.readBoolean();
  return {};
}

template <typename Record>
Decoded decode(JsonReader& reader, Record& record);

template <typename... Cases>
Decoded decode(JsonReader& reader, std::variant<Cases...>& choice);

template <typename Element>
Decoded decode(JsonReader& reader, std::vector<Element>& list) {
  if (reader.peek() != Kind::array) {
    return rejectValue(reader, "Array");
  }
  Decoded outcome;
  reader.enterArray();
  while (reader.nextElement()) {
    if (!outcome) {
      reader.skipValue();
      continue;
    }
    const std::string index = std::to_string(list.size());
    outcome = under(index, decode(reader, list.emplace_back()));
  }
  return outcome;
}

template <typename Value>
Decoded decode(JsonReader& reader, std::optional<Value>& value) {
  if (reader.peek() == Kind::null) {
    reader.skipValue();
    return {};
  }
  return decode(reader, value.emplace());
}

template <typename Value>
constexpr bool isOptional = false;
template <typename Value>
constexpr bool isOptional<std::optional<Value>> = true;

// Reads a record's fields as they come and judges them in their declared order, so that the first
// fault in that order is the one reported.
template <typename Record>
class RecordDecoder {
 public:
  RecordDecoder(JsonReader& reader, Record& record) : reader_(reader), record_(record) {}

  Decoded decodeFields() {
    reader_.enterObject();
    while (const auto key = reader_.nextKey()) {
      if (!decodeFieldNamed(*key, everyField)) {
        reader_.skipValue();
      }
    }
    return judge(everyField);
  }

 private:
  static constexpr const auto& fields = Schema<Record>::fields;
  static constexpr std::size_t fieldCount = std::tuple_size_v<decltype(Schema<Record>::fields)>;
  static constexpr auto everyField = std::make_index_sequence<fieldCount>();

  template <std::size_t... index>
  bool decodeFieldNamed([[maybe_unused]] std::string_view key,
                        std::index_sequence<index...> /*fields*/) {
    return ((key == std::get<index>(fields).key && decodeField<index>()) || ...);
  }

  // False for a repeated key: the first one counts.
  template <std::size_t index>
  bool decodeField() {
    if (std::exchange(found_[index], true)) {
      return false;
    }
    constexpr auto& field = std::get<index>(fields);
    Decoded outcome = decode(reader_, record_.*field.member);
    if (!outcome && index < faultyField_) {
      faultyField_ = index;
      fault_ = under(field.key, std::move(outcome));
    }
    return true;
  }

  template <std::size_t... index>
  Decoded judge(std::index_sequence<index...> /*fields*/) {
    Decoded outcome;
    static_cast<void>(((outcome = judgeField<index>()).has_value() && ...));
    return outcome;
  }

  template <std::size_t index>
  Decoded judgeField() {
    constexpr auto& field = std::get<index>(fields);
    if (faultyField_ == index) {
      return fault_;
    }
    using Value = std::remove_reference_t<decltype(record_.*field.member)>;
    if (!found_[index] && !isOptional<Value>) {
      return missingKey(field.key, Schema<Record>::name);
    }
    return {};
  }

  JsonReader& reader_;
  Record& record_;
  std::array<bool, fieldCount> found_{};
  std::size_t faultyField_ = fieldCount;
  Decoded fault_;
};

template <typename Record>
Decoded decode(JsonReader& reader, Record& record) {
  if (reader.peek() != Kind::object) {
    return rejectValue(reader, Schema<Record>::name);
  }
  return RecordDecoder<Record>(reader, record).decodeFields();
}

// Finds the one key that names a case and decodes what stands under it with `decodePayload`, which
// takes the case's index.
template <typename Choice, typename DecodePayload>
Decoded decodeChoice(JsonReader& reader, DecodePayload decodePayload) {
  constexpr const auto& cases = Schema<Choice>::cases;
  if (reader.peek() != Kind::object) {
    return rejectValue(reader, Schema<Choice>::name);
  }
  std::array<bool, cases.size()> found{};
  Decoded payload;
  reader.enterObject();
  while (const auto key = reader.nextKey()) {
    const auto index = static_cast<std::size_t>(std::ranges::find(cases, *key) - cases.begin());
    const bool isFirst = std::ranges::find(found, true) == found.end();
    if (index < cases.size()) {
      found.at(index) = true;
    }
    if (index == cases.size() || !isFirst) {
      reader.skipValue();
      continue;
    }
    payload = under(cases.at(index), decodePayload(index));
  }
  if (std::ranges::count(found, true) != 1) {
    return fault(DecodingError::Kind::typeMismatch, Schema<Choice>::name,
                 "Invalid number of keys found, expected one.");
  }
  return payload;
}

// Calls `use` with a fresh value of the variant's alternative `index`, placed in `choice`.
template <typename... Cases, typename Use>
Decoded withCase(std::variant<Cases...>& choice, std::size_t index, Use use) {
  Decoded outcome;
  [&]<std::size_t... candidate>(std::index_sequence<candidate...>) {
    static_cast<void>(
        ((candidate == index && (outcome = use(choice.template emplace<candidate>()), true)) ||
         ...));
  }(std::index_sequence_for<Cases...>());
  return outcome;
}

template <typename... Cases>
Decoded decode(JsonReader& reader, std::variant<Cases...>& choice) {
  return decodeChoice<std::variant<Cases...>>(reader, [&](std::size_t index) {
    return withCase(choice, index, [&](auto& payload) { return decode(reader, payload); });
  });
}

// The record of an envelope stands one level deeper, under a key of its own.
template <typename Record>
Decoded decodeUnderPayloadKey(JsonReader& reader, Record& record) {
  if (reader.peek() != Kind::object) {
    return rejectValue(reader, "Object");
  }
  bool found = false;
  Decoded outcome;
  reader.enterObject();
  while (const auto key = reader.nextKey()) {
    if (*key != payloadKey || std::exchange(found, true)) {
      reader.skipValue();
      continue;
    }
    outcome = under(payloadKey, decode(reader, record));
  }
  return found ? outcome : missingKey(payloadKey, Schema<Record>::name);
}

Decoded decode(JsonReader& reader, BridgeEnvelope& envelope) {
  return decodeChoice<BridgeEnvelope>(reader, [&](std::size_t index) {
    return withCase(envelope, index,
                    [&](auto& record) { return decodeUnderPayloadKey(reader, record); });
  });
}

}  // namespace

std::expected<BridgeEnvelope, DecodingError> decodeEnvelope(std::string_view text) {
  JsonReader reader(text);
  BridgeEnvelope envelope;
  Decoded outcome = decode(reader, envelope);
  if (!reader.finish()) {
    return fault(DecodingError::Kind::invalidJson, Schema<BridgeEnvelope>::name,
                 "The text is not one well-formed JSON value.");
  }
  if (!outcome) {
    return std::unexpected(std::move(outcome.error()));
  }
  return envelope;
}

}  // namespace ferncrest
