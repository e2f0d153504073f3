#include <algorithm>
#include <array>
#include <bitset>
#include <cstddef>
#include <expected>
#include <forward_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "protocol/coding.h"
#include "protocol/json_reader.h"
#include "protocol/schema.h"

namespace ferncrest {

namespace {

using Kind = JsonReader::Kind;

// The result of decoding a value: null on success, else a fault that the source owns.
using Fault = DecodingError*;

// The text, what is wanted of it, and the faults found in it.
struct Source {
  JsonReader reader;
  Attachments attachments;
  bool dropsStrings = false;  // while attachments are decoded that are dropped
  std::forward_list<DecodingError> faults;

  Fault fault(DecodingError::Kind kind, std::string_view type, std::string description) {
    faults.push_front({kind, type, {}, std::move(description)});
    return &faults.front();
  }
};

// Adds `key` to the front of the fault's path, since the fault is in the value under that key.
Fault under(std::string_view key, Fault fault) {
  if (fault != nullptr) {
    fault->codingPath.emplace(fault->codingPath.begin(), key);
  }
  return fault;
}

// Skips a value that is not of the expected type, and gives the fault.
Fault rejectValue(Source& source, std::string_view expectedType) {
  const bool isNull = source.reader.peek() == Kind::null;
  source.reader.skipValue();
  return source.fault(isNull ? DecodingError::Kind::nullValue : DecodingError::Kind::typeMismatch,
                      expectedType,
                      "Expected " + std::string(expectedType) +
                          (isNull ? ", found null." : ", found a value of another type."));
}

Fault decode(Source& source, std::string& text) {
  if (source.reader.peek() != Kind::string) {
    return rejectValue(source, "String");
  }
  if (source.dropsStrings) {
    source.reader.skipValue();
  } else {
    source.reader.readString(text);
  }
  return nullptr;
}

Fault decode(Source& source, bool& value) {
  if (source.reader.peek() != Kind::boolean) {
    return rejectValue(source, "Bool");
  }
  value = source.reader.readBoolean();
  return nullptr;
}

template <typename Record>
Fault decode(Source& source, Record& record);

template <typename... Cases>
Fault decode(Source& source, std::variant<Cases...>& choice);

Fault decode(Source& source, std::vector<BridgeAttachment>& list) {
  if (source.reader.peek() != Kind::array) {
    return rejectValue(source, "Array");
  }
  source.dropsStrings = source.attachments == Attachments::dropped;
  Fault fault = nullptr;
  source.reader.enterArray();
  for (std::size_t index = 0; source.reader.nextElement(); ++index) {
    if (fault != nullptr) {
      source.reader.skipValue();
      continue;
    }
    fault = decode(source, list.emplace_back());
    if (fault != nullptr) {
      under(std::to_string(index), fault);
    }
    if (source.attachments == Attachments::dropped) {
      list.clear();
    }
  }
  source.dropsStrings = false;
  return fault;
}

template <typename Value>
Fault decode(Source& source, std::optional<Value>& value) {
  if (source.reader.peek() == Kind::null) {
    source.reader.skipValue();
    return nullptr;
  }
  return decode(source, value.emplace());
}

// How to decode one field of a record. Without the record's type, so that one function reads the
// fields of all records.
struct FieldReader {
  std::string_view key;
  bool mayBeAbsent;
  Fault (*read)(Source&, void* record);
};

template <typename Record, auto member>
constexpr FieldReader fieldReader(Field<member> field) {
  using Value = std::remove_cvref_t<decltype(std::declval<Record>().*member)>;
  constexpr bool isOptional = requires(Value value) { value.has_value(); };
  return {field.key, isOptional, [](Source& source, void* record) {
            return decode(source, static_cast<Record*>(record)->*member);
          }};
}

template <typename Record>
constexpr auto fieldReaders = std::apply(
    [](auto... field) {
      return std::array<FieldReader, sizeof...(field)>{fieldReader<Record>(field)...};
    },
    Schema<Record>::fields);

constexpr std::size_t mostFields = 16;

// Reads the fields in the order of the text, but reports the first fault in their declared order.
Fault decodeFields(Source& source, void* record, std::span<const FieldReader> fields,
                   std::string_view type) {
  std::bitset<mostFields> found;
  std::size_t faultyField = fields.size();
  Fault firstFault = nullptr;
  source.reader.enterObject();
  while (const auto key = source.reader.nextKey()) {
    const auto field = std::ranges::find(fields, *key, &FieldReader::key);
    const auto index = static_cast<std::size_t>(field - fields.begin());
    // The first of two equal keys counts.
    if (index == fields.size() || found[index]) {
      source.reader.skipValue();
      continue;
    }
    found[index] = true;
    const Fault fault = field->read(source, record);
    if (fault != nullptr && index < faultyField) {
      faultyField = index;
      firstFault = under(field->key, fault);
    }
  }
  for (std::size_t index = 0; index < faultyField; ++index) {
    if (!found[index] && !fields[index].mayBeAbsent) {
      return source.fault(
          DecodingError::Kind::missingKey, type,
          "No value found under the key \"" + std::string(fields[index].key) + "\".");
    }
  }
  return firstFault;
}

template <typename Record>
Fault decode(Source& source, Record& record) {
  static_assert(fieldReaders<Record>.size() <= mostFields);
  if (source.reader.peek() != Kind::object) {
    return rejectValue(source, Schema<Record>::name);
  }
  return decodeFields(source, &record, fieldReaders<Record>, Schema<Record>::name);
}

// The record of an envelope stands one level deeper, under a key of its own.
template <typename Record>
Fault decodeUnderPayloadKey(Source& source, Record& record) {
  constexpr auto read = [](Source& from, void* to) {
    return decode(from, *static_cast<Record*>(to));
  };
  static constexpr std::array payload{FieldReader{payloadKey, false, read}};
  if (source.reader.peek() != Kind::object) {
    return rejectValue(source, "Object");
  }
  return decodeFields(source, &record, payload, Schema<Record>::name);
}

template <typename Choice, std::size_t index>
Fault decodeCase(Source& source, Choice& choice) {
  auto& payload = choice.template emplace<index>();
  if constexpr (std::is_same_v<Choice, BridgeEnvelope>) {
    return decodeUnderPayloadKey(source, payload);
  } else {
    return decode(source, payload);
  }
}

template <typename Choice, std::size_t... index>
constexpr auto makeCaseReaders(std::index_sequence<index...> /*cases*/) {
  return std::array{&decodeCase<Choice, index>...};
}

// An object in which exactly one key names a case; the value under it is the case's.
template <typename... Cases>
Fault decode(Source& source, std::variant<Cases...>& choice) {
  using Choice = std::variant<Cases...>;
  constexpr const auto& cases = Schema<Choice>::cases;
  static constexpr auto caseReaders = makeCaseReaders<Choice>(std::index_sequence_for<Cases...>());
  if (source.reader.peek() != Kind::object) {
    return rejectValue(source, Schema<Choice>::name);
  }
  std::size_t held = cases.size();
  bool isAmbiguous = false;
  Fault payload = nullptr;
  source.reader.enterObject();
  while (const auto key = source.reader.nextKey()) {
    const auto index = static_cast<std::size_t>(std::ranges::find(cases, *key) - cases.begin());
    if (index == cases.size() || held != cases.size()) {
      isAmbiguous = isAmbiguous || (index != cases.size() && index != held);
      source.reader.skipValue();
      continue;
    }
    held = index;
    payload = under(cases[index], caseReaders[index](source, choice));
  }
  if (held == cases.size() || isAmbiguous) {
    return source.fault(DecodingError::Kind::typeMismatch, Schema<Choice>::name,
                        "Invalid number of keys found, expected one.");
  }
  return payload;
}

}  // namespace

std::expected<BridgeEnvelope, DecodingError> decodeEnvelope(std::string_view text,
                                                            Attachments attachments) {
  Source source{.reader = JsonReader(text), .attachments = attachments, .faults = {}};
  // The case is named because value initialisation would clear the whole variant first.
  std::expected<BridgeEnvelope, DecodingError> envelope(std::in_place, std::in_place_index<0>);
  Fault fault = decode(source, *envelope);
  if (!source.reader.finish()) {
    fault = source.fault(DecodingError::Kind::invalidJson, Schema<BridgeEnvelope>::name,
                         "The text is not one well-formed JSON value.");
  }
  if (fault != nullptr) {
    envelope = std::unexpected(std::move(*fault));
  }
  return envelope;
}

}  // namespace ferncrest
