#include <gtest/gtest.h>
#include <simdjson.h>

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <variant>
#include <vector>

#include "protocol/coding.h"
#include "protocol/schema.h"

// The protocol's page holds what it says, and its JSON Schema has the types of the code.

namespace ferncrest {

namespace {

// The lines of all the page's blocks of this kind, in order.
std::vector<std::vector<std::string>> blocksOfPage(const std::string& kind) {
  std::ifstream page(DOCUMENTS "/protocol.md");
  std::vector<std::vector<std::string>> blocks;
  bool isInside = false;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("```")) {
      isInside = line == "```" + kind;
      if (isInside) {
        blocks.emplace_back();
      }
    } else if (isInside) {
      blocks.back().push_back(line);
    }
  }
  return blocks;
}

TEST(ProtocolPage, showsEachMessageAsItIsWritten) {
  std::vector<std::size_t> examplesOfCase(std::variant_size_v<BridgeEnvelope>);
  for (const auto& block : blocksOfPage("json")) {
    for (const std::string& line : block) {
      const auto envelope = decodeEnvelope(line);
      ASSERT_TRUE(envelope) << line;
      EXPECT_EQ(encodeEnvelope(*envelope), line);
      ++examplesOfCase.at(envelope->index());
    }
  }
  EXPECT_EQ(std::ranges::count(examplesOfCase, 0U), 0);
}

TEST(ProtocolPage, showsWhatIsRefusedAndHow) {
  const std::vector<std::string_view> reasons{
      "The request could not be read because it is not in the correct format.",
      "The request could not be read because data in it is missing."};
  const auto blocks = blocksOfPage("text");
  ASSERT_EQ(blocks.size(), reasons.size());
  for (std::size_t index = 0; index < blocks.size(); ++index) {
    EXPECT_FALSE(blocks[index].empty());
    for (const std::string& line : blocks[index]) {
      const auto envelope = decodeEnvelope(line);
      ASSERT_FALSE(envelope) << line;
      EXPECT_EQ(envelope.error().description(), reasons[index]) << line;
    }
  }
}

// The members of each type, a choice's sorted: "KEY: TYPE".
using Outline = std::map<std::string, std::vector<std::string>>;

// Adds a type of the code and all below it, and returns its name.
struct CodeOutline {
  Outline types;

  std::string add(const std::string& /*value*/) { return "string"; }
  std::string add(bool /*value*/) { return "boolean"; }

  template <typename Value>
  std::string add(const std::optional<Value>& /*value*/) {
    return add(Value()) + " or null or absent";
  }

  template <typename Element>
  std::string add(const std::vector<Element>& /*list*/) {
    return "array of " + add(Element());
  }

  template <typename Record>
  std::string add(const Record& record) {
    const std::string name(Schema<Record>::name);
    auto& members = types[name];
    std::apply(
        [&](const auto&... field) {
          (members.push_back(std::string(field.key) + ": " + add(record.*field.member)), ...);
        },
        Schema<Record>::fields);
    return name;
  }

  template <typename... Cases>
  std::string add(const std::variant<Cases...>& /*choice*/) {
    using Choice = std::variant<Cases...>;
    const std::string name(Schema<Choice>::name);
    const std::string wrap = name == "BridgeEnvelope" ? std::string(payloadKey) + ": " : "";
    auto& members = types[name];
    std::size_t index = 0;
    (members.push_back(std::string(Schema<Choice>::cases.at(index++)) + ": " + wrap + add(Cases())),
     ...);
    std::ranges::sort(members);
    return name;
  }
};

// The same for a type of the JSON Schema.
class SchemaOutline {
 public:
  using Json = simdjson::dom::element;

  Outline types;

  explicit SchemaOutline(Json schema) : schema_(schema) {}

  std::string add(Json type) {
    if (type["$ref"].error() == simdjson::SUCCESS) {
      const Json target = schema_.at_pointer(text(type["$ref"]).substr(1));
      const std::string name(text(target["title"]));
      addMembers(target, types[name]);
      return name;
    }
    if (type["type"].is_array()) {
      return addPlain(text(type["type"].at(0)), type) + " or " + text(type["type"].at(1));
    }
    return addPlain(text(type["type"]), type);
  }

 private:
  static std::string text(Json json) { return std::string(json.get_string().value()); }

  std::string addPlain(const std::string& name, Json type) {
    if (name == "object") {  // what wraps an envelope's record
      std::vector<std::string> members;
      addMembers(type, members);
      return members.at(0);
    }
    return name == "array" ? "array of " + add(type["items"]) : name;
  }

  void addMembers(Json type, std::vector<std::string>& members) {
    if (type["oneOf"].error() == simdjson::SUCCESS) {
      for (const Json each : type["oneOf"]) {
        const bool isPart = each["$ref"].error() == simdjson::SUCCESS;
        addMembers(isPart ? schema_.at_pointer(text(each["$ref"]).substr(1)) : each, members);
      }
      std::ranges::sort(members);
    }
    if (type["properties"].error() == simdjson::SUCCESS) {
      for (const auto [key, value] : type["properties"].get_object()) {
        members.push_back(std::string(key) + ": " + add(value) +
                          (isRequired(type, key) ? "" : " or absent"));
      }
    }
  }

  static bool isRequired(Json type, std::string_view key) {
    simdjson::dom::array required;
    return type["required"].get(required) == simdjson::SUCCESS &&
           std::ranges::any_of(required, [&](Json each) { return text(each) == key; });
  }

  Json schema_;
};

TEST(ProtocolSchema, hasTheTypesOfTheCode) {
  simdjson::dom::parser parser;
  const simdjson::dom::element schema = parser.load(DOCUMENTS "/protocol.schema.json");
  CodeOutline code;
  SchemaOutline documented(schema);
  EXPECT_EQ(documented.add(schema), code.add(BridgeEnvelope()));
  for (const auto& [name, members] : code.types) {
    EXPECT_EQ(documented.types[name], members) << name;
  }
  EXPECT_EQ(documented.types.size(), code.types.size());
}

}  // namespace

}  // namespace ferncrest
