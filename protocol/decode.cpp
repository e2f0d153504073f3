#include <array>
#include <cstddef>
#include <expected>
#include <memory>
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
// The result of decoding a value, null on success. A pointer, because it is returned on every
// level.
using Fault = std::unique_ptr<DecodingError>;

Fault makeFault(DecodingError::Kind kind, std::string_view type, std::string description) {
  return std::make_unique<DecodingError>(kind, type, std::vector<std::string>(),
                                         std::move(description));
}

// Adds `key` to the front of the fault's path, since the fault is in the value under that key.
Fault under(std::string_view key, Fault fault) {
  if (fault) {
    fault->codingPath.emplace(fault->codingPath.begin(), key);
  }
  return fault;
}

// Skips a value that is not of the expected type, and gives the fault.
Fault rejectValue(JsonReader& reader, std::string_view expectedType) {
  const bool isNull = reader.peek() == Kind::null;
  reader.skipValue();
  const std::string description = "Expected " + std::string(expectedType);
  if (isNull) {
    return makeFault(DecodingError::Kind::nullValue, expectedType, description + ", found null.");
  }
  return makeFault(DecodingError::Kind::typeMismatch, expectedType,
                   description + ", found a value of another type.");
}

Fault missingKey(std::string_view key, std::string_view type) {
  return makeFault(DecodingError::Kind::missingKey, type,
                   "No value found under the key \"" + std::string(key) + "\".");
}

Fault decode(JsonReader& reader, std::string& text) {
  if (reader.peek() != Kind::string) {
    return rejectValue(reader, "String");
  }
  reader.readString(text);
  return nullptr;
}

Fault decode(JsonReader& reader, bool& value) {
  if (reader.peek() != Kind::boolean) {
    return rejectValue(reader, "Bool");
  }
  value = reader.readBoolean();
  return nullptr;
}

template <typename Record>
Fault decode(JsonReader& reader, Record& record);

template <typename... Cases>
Fault decode(JsonReader& reader, std::variant<Cases...>& choice);

template <typename Element>
Fault decode(JsonReader& reader, std::vector<Element>& list) {
  if (reader.peek() != Kind::array) {
    return rejectValue(reader, "Array");
  }
  Fault fault;
  reader.enterArray();
  while (reader.nextElement()) {
    if (fault) {
      reader.skipValue();
      continue;
    }
    const std::string index = std::to_string(list.size());
    fault = under(index, decode(reader, list.emplace_back()));
  }
  return fault;
}

template <typename Value>
Fault decode(JsonReader& reader, std::optional<Value>& value) {
  if (reader.peek() == Kind::null) {
    reader.skipValue();
    return nullptr;
  }
  return decode(reader, value.emplace());
}

template <typename Value>
constexpr bool isOptional = false;
template <typename Value>
constexpr bool isOptional<std::optional<Value>> = true;

// Reads a record's fields in the order of the text and then looks for faults in their declared
// order, because the first fault in that order is the one to report.
template <typename Record>
class RecordDecoder {
 public:
  RecordDecoder(JsonReader& reader, Record& record) : reader_(reader), record_(record) {}

  Fault decodeFields() {
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
    Fault fault = decode(reader_, record_.*field.member);
    if (fault != nullptr && index < faultyField_) {
      faultyField_ = index;
      fault_ = under(field.key, std::move(fault));
    }
    return true;
  }

  template <std::size_t... index>
  Fault judge(std::index_sequence<index...> /*fields*/) {
    Fault fault;
    static_cast<void>((((fault = judgeField<index>()) == nullptr) && ...));
    return fault;
  }

  template <std::size_t index>
  Fault judgeField() {
    constexpr auto& field = std::get<index>(fields);
    if (faultyField_ == index) {
      return std::move(fault_);
    }
    using Value = std::remove_reference_t<decltype(record_.*field.member)>;
    if (!found_[index] && !isOptional<Value>) {
      return missingKey(field.key, Schema<Record>::name);
    }
    return nullptr;
  }

  JsonReader& reader_;
  Record& record_;
  std::array<bool, fieldCount> found_{};
  std::size_t faultyField_ = fieldCount;
  Fault fault_;
};

template <typename Record>
Fault decode(JsonReader& reader, Record& record) {
  if (reader.peek() != Kind::object) {
    return rejectValue(reader, Schema<Record>::name);
  }
  return RecordDecoder<Record>(reader, record).decodeFields();
}

// Finds the one key that names a case, and decodes the value under it by calling `decodePayload`
// with the index of the case.
template <typename Choice, typename DecodePayload>
Fault decodeChoice(JsonReader& reader, DecodePayload decodePayload) {
  constexpr const auto& cases = Schema<Choice>::cases;
  if (reader.peek() != Kind::object) {
    return rejectValue(reader, Schema<Choice>::name);
  }
  std::array<bool, cases.size()> found{};
  Fault payload;
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
    return makeFault(DecodingError::Kind::typeMismatch, Schema<Choice>::name,
                     "Invalid number of keys found, expected one.");
  }
  return payload;
}

// Calls `use` with a fresh value of the variant's alternative `index`, placed in `choice`.
template <typename... Cases, typename Use>
Fault withCase(std::variant<Cases...>& choice, std::size_t index, Use use) {
  Fault fault;
  [&]<std::size_t... candidate>(std::index_sequence<candidate...>) {
    static_cast<void>(
        ((candidate == index && (fault = use(choice.template emplace<candidate>()), true)) || ...));
  }(std::index_sequence_for<Cases...>());
  return fault;
}

template <typename... Cases>
Fault decode(JsonReader& reader, std::variant<Cases...>& choice) {
  return decodeChoice<std::variant<Cases...>>(reader, [&](std::size_t index) {
    return withCase(choice, index, [&](auto& payload) { return decode(reader, payload); });
  });
}

// The record of an envelope stands one level deeper, under a key of its own.
template <typename Record>
Fault decodeUnderPayloadKey(JsonReader& reader, Record& record) {
  if (reader.peek() != Kind::object) {
    return rejectValue(reader, "Object");
  }
  bool found = false;
  Fault fault;
  reader.enterObject();
  while (const auto key = reader.nextKey()) {
    if (*key != payloadKey || std::exchange(found, true)) {
      reader.skipValue();
      continue;
    }
    fault = under(payloadKey, decode(reader, record));
  }
  if (!found) {
    return missingKey(payloadKey, Schema<Record>::name);
  }
  return fault;
}

Fault decode(JsonReader& reader, BridgeEnvelope& envelope) {
  return decodeChoice<BridgeEnvelope>(reader, [&](std::size_t index) {
    return withCase(envelope, index,
                    [&](auto& record) { return decodeUnderPayloadKey(reader, record); });
  });
}

}  // namespace

std::expected<BridgeEnvelope, DecodingError> decodeEnvelope(std::string_view text) {
  JsonReader reader(text);
  std::expected<BridgeEnvelope, DecodingError> envelope;
  Fault fault = decode(reader, *envelope);
  if (!reader.finish()) {
    fault = makeFault(DecodingError::Kind::invalidJson, Schema<BridgeEnvelope>::name,
                      "The text is not one well-formed JSON value.");
  }
  if (fault) {
    envelope = std::unexpected(std::move(*fault));
  }
  return envelope;
}

}  // namespace ferncrest
