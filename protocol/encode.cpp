#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "protocol/coding.h"
#include "protocol/json_output.h"
#include "protocol/schema.h"

namespace ferncrest {

namespace {

// Each function runs twice: with a JsonSize, which counts bytes, and with a JsonMemory, which
// writes them. An output is passed and returned by value, so that the compiler keeps it in a
// register.

template <typename Output>
Output encode(Output output, const std::string& text) {
  output.put("\"");
  output.putEscaped(text);
  output.put("\"");
  return output;
}

template <typename Output>
Output encode(Output output, bool value) {
  output.put(value ? "true" : "false");
  return output;
}

template <typename Output, typename Record>
Output encode(Output output, const Record& record);

template <typename Output, typename... Cases>
Output encode(Output output, const std::variant<Cases...>& choice);

template <typename Output, typename Element>
Output encode(Output output, const std::vector<Element>& list) {
  const Output begin = output;
  for (const Element& element : list) {
    output.put(",");
    output = encode(output, element);
  }
  output.enclose(begin, '[', ']');
  return output;
}

// Every member, like every element of an array, begins with a comma. enclose() overwrites the first
// one.
template <typename Output>
Output putKey(Output output, std::string_view key) {
  output.put(",\"");
  output.put(key);
  output.put("\":");
  return output;
}

template <typename Output, typename Value>
Output encodeField(Output output, std::string_view key, const Value& value) {
  return encode(putKey(output, key), value);
}

// An absent value leaves no key.
template <typename Output, typename Value>
Output encodeField(Output output, std::string_view key, const std::optional<Value>& value) {
  return value ? encodeField(output, key, *value) : output;
}

template <typename Output, typename Record>
Output encode(Output output, const Record& record) {
  static constexpr auto order = writtenOrder<Record>();
  const Output begin = output;
  [&]<std::size_t... index>(std::index_sequence<index...>) {
    ((output = encodeField(output, std::get<order[index]>(Schema<Record>::fields).key,
                           record.*std::get<order[index]>(Schema<Record>::fields).member)),
     ...);
  }(std::make_index_sequence<order.size()>());
  output.enclose(begin, '{', '}');
  return output;
}

// An object with one member: its key names the case that is held, and `encodePayload` encodes the
// value.
template <typename Output, typename... Cases, typename EncodePayload>
Output encodeCase(Output output, const std::variant<Cases...>& choice,
                  EncodePayload encodePayload) {
  static constexpr const auto& cases = Schema<std::variant<Cases...>>::cases;
  const Output begin = output;
  const auto encodeIfHeld = [&]<std::size_t index>(std::in_place_index_t<index> /*candidate*/) {
    if (const auto* const payload = std::get_if<index>(&choice)) {
      output = encodePayload(putKey(output, cases[index]), *payload);
    }
  };
  [&]<std::size_t... index>(std::index_sequence<index...>) {
    (encodeIfHeld(std::in_place_index<index>), ...);
  }(std::index_sequence_for<Cases...>());
  output.enclose(begin, '{', '}');
  return output;
}

template <typename Output, typename... Cases>
Output encode(Output output, const std::variant<Cases...>& choice) {
  return encodeCase(output, choice,
                    [](Output place, const auto& payload) { return encode(place, payload); });
}

// Unlike the other choices, an envelope holds its record under a key of its own.
template <typename Output>
Output encode(Output output, const BridgeEnvelope& envelope) {
  return encodeCase(output, envelope, [](Output place, const auto& record) {
    const Output begin = place;
    place = encode(putKey(place, payloadKey), record);
    place.enclose(begin, '{', '}');
    return place;
  });
}

std::string encodeWithEnd(const BridgeEnvelope& envelope, std::string_view end) {
  const JsonSize counted = encode(JsonSize(), envelope);
  std::string text;
  text.resize_and_overwrite(counted.size() + end.size(), [&](char* begin, std::size_t size) {
    encode(JsonMemory(begin, counted), envelope).put(end);
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
