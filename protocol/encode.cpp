#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "protocol/coding.h"
#include "protocol/json_writer.h"
#include "protocol/schema.h"

namespace ferncrest {

namespace {

void encode(JsonWriter& writer, const std::string& text) {
  writer.string(text);
}

void encode(JsonWriter& writer, bool value) {
  writer.boolean(value);
}

template <typename Record>
void encode(JsonWriter& writer, const Record& record);

template <typename... Cases>
void encode(JsonWriter& writer, const std::variant<Cases...>& choice);

template <typename Element>
void encode(JsonWriter& writer, const std::vector<Element>& list) {
  writer.beginArray();
  for (const Element& element : list) {
    writer.element();
    encode(writer, element);
  }
  writer.endArray();
}

template <typename Value>
void encodeField(JsonWriter& writer, std::string_view key, const Value& value) {
  writer.key(key);
  encode(writer, value);
}

// An absent value leaves no key.
template <typename Value>
void encodeField(JsonWriter& writer, std::string_view key, const std::optional<Value>& value) {
  if (value) {
    encodeField(writer, key, *value);
  }
}

template <typename Record>
void encode(JsonWriter& writer, const Record& record) {
  static constexpr auto order = writtenOrder<Record>();
  writer.beginObject();
  [&]<std::size_t... index>(std::index_sequence<index...>) {
    (encodeField(writer, std::get<order[index]>(Schema<Record>::fields).key,
                 record.*std::get<order[index]>(Schema<Record>::fields).member),
     ...);
  }(std::make_index_sequence<order.size()>());
  writer.endObject();
}

template <typename... Cases>
void encode(JsonWriter& writer, const std::variant<Cases...>& choice) {
  writer.beginObject();
  writer.key(Schema<std::variant<Cases...>>::cases.at(choice.index()));
  std::visit([&](const auto& payload) { encode(writer, payload); }, choice);
  writer.endObject();
}

// Unlike the other choices, an envelope holds its record under a key of its own.
void encode(JsonWriter& writer, const BridgeEnvelope& envelope) {
  writer.beginObject();
  writer.key(Schema<BridgeEnvelope>::cases.at(envelope.index()));
  writer.beginObject();
  writer.key(payloadKey);
  std::visit([&](const auto& record) { encode(writer, record); }, envelope);
  writer.endObject();
  writer.endObject();
}

std::string encodeWithEnd(const BridgeEnvelope& envelope, std::string_view end) {
  JsonWriter measure(nullptr);
  encode(measure, envelope);
  std::string text;
  text.resize_and_overwrite(measure.size() + end.size(), [&](char* destination, std::size_t size) {
    JsonWriter writer(destination);
    encode(writer, envelope);
    end.copy(destination + writer.size(), end.size());
    return size;
  });
  return text;
}

}  // namespace

std::string encodeEnvelope(const BridgeEnvelope& envelope) {
  return encodeWithEnd(envelope, "");
}

std::string encodeEnvelopeLine(const BridgeEnvelope& envelope) {
  return encodeWithEnd(envelope, "\n");
}

}  // namespace ferncrest
