#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
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
[[gnu::always_inline]] inline Output putKey(Output output, std::string_view key) {
  output.put(",\"");
  output.put(key);
  output.put("\":");
  return output;
}

// An absent value leaves no key.
template <typename Output, typename Value>
Output encodeField(Output output, std::string_view key, const Value& value) {
  return encode(putKey(output, key), value);
}

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

// An object with one member.
template <typename Output, typename Encode>
Output encodeUnder(std::string_view key, Output output, Encode encodeValue) {
  const Output begin = output;
  output = encodeValue(putKey(output, key));
  output.enclose(begin, '{', '}');
  return output;
}

// The key names the case that is held. Unlike other choices, an envelope has its record under one
// more key.
template <typename Choice, std::size_t index, typename Output>
Output encodeCase(Output output, const Choice& choice) {
  return encodeUnder(Schema<Choice>::cases[index], output, [&](Output place) {
    const auto& payload = *std::get_if<index>(&choice);
    if constexpr (std::is_same_v<Choice, BridgeEnvelope>) {
      return encodeUnder(payloadKey, place, [&](Output inner) { return encode(inner, payload); });
    } else {
      return encode(place, payload);
    }
  });
}

template <typename Output, typename Choice, std::size_t... index>
constexpr auto makeCaseEncoders(std::index_sequence<index...> /*cases*/) {
  return std::array{&encodeCase<Choice, index, Output>...};
}

template <typename Output, typename... Cases>
Output encode(Output output, const std::variant<Cases...>& choice) {
  static constexpr auto caseEncoders =
      makeCaseEncoders<Output, std::variant<Cases...>>(std::index_sequence_for<Cases...>());
  return caseEncoders[choice.index()](output, choice);
}

void encodeWithEnd(const BridgeEnvelope& envelope, std::string_view end, std::string& text) {
  const std::size_t room = encode(JsonSize(), envelope).size() + end.size();
  text.resize_and_overwrite(room, [&](char* begin, std::size_t) {
    JsonMemory memory = encode(JsonMemory(begin), envelope);
    memory.put(end);
    return memory.end() - begin;
  });
}

}  // namespace

std::string encodeEnvelope(const BridgeEnvelope& envelope) {
  std::string text;
  encodeWithEnd(envelope, "", text);
  return text;
}

std::string encodeEnvelopeLine(const BridgeEnvelope& envelope) {
  std::string line;
  encodeEnvelopeLine(envelope, line);
  return line;
}

void encodeEnvelopeLine(const BridgeEnvelope& envelope, std::string& line) {
  encodeWithEnd(envelope, "\n", line);
}

}  // namespace ferncrest
