#include <gtest/gtest.h>
#include <simdjson.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <string>
#include <string_view>

#include "protocol/coding.h"
#include "text/utf8.h"

namespace ferncrest::testing {
namespace {

bool isWellFormed(std::string_view text) {
  const auto envelope = decodeEnvelope(text);
  return envelope || envelope.error().kind != DecodingError::Kind::invalidJson;
}

// Whether a number may be too large for a parser that reads its value.
bool mayBeLarge(std::string_view text) {
  std::size_t digits = 0;
  return std::ranges::any_of(text, [&](char byte) {
    digits = byte >= '0' && byte <= '9' ? digits + 1 : 0;
    return digits == 3;
  });
}

// Another parser, to be compared with.
class Oracle {
 public:
  Oracle() { EXPECT_EQ(parser_.allocate(1U << 20U, 4096), simdjson::SUCCESS); }

  bool agrees(std::string_view text, bool wellFormed) {
    const auto error = parser_.parse(text.data(), text.size()).error();
    return (error == simdjson::SUCCESS) == wellFormed ||
           (error == simdjson::NUMBER_ERROR && mayBeLarge(text));
  }

 private:
  simdjson::dom::parser parser_;
};

// Each value between the bars of `values`: as the text, where nobody needs it and where a name is
// expected.
void expectVerdict(bool wellFormed, const std::string& values) {
  Oracle oracle;
  std::istringstream stream(values);
  for (std::string value; std::getline(stream, value, '|');) {
    for (const std::string& line :
         {value, "[" + value + "]", R"({"hello":{"_0":{"platform":)" + value + "}}}",
          R"({"x":)" + value + R"(,"connect":{"_0":{"platform":"p"}}})",
          R"({"connect":{"_0":{"platform":"p"},"x":)" + value + "}}",
          R"({"stateChanged":{"_0":{"state":{"connecting":{"x":[)" + value + "]}}}}}"}) {
      EXPECT_EQ(isWellFormed(line), wellFormed) << line;
      EXPECT_TRUE(oracle.agrees(line, wellFormed)) << line;
    }
  }
}

TEST(JsonReader, judgesEveryValueToItsEnd) {
  expectVerdict(true, R"(0|-0|10|-1.50|0e1|0E+0|1e-05|1.0E10|1e999|123456789012345678901)");
  expectVerdict(true,
                R"(true|false|null|[]|{}|[ ]|[0 , [1]]|{"a":{},"a":[]}|{"":{"\u0000":"\\"}})");
  expectVerdict(true, R"(""|"\"\\\/\b\f\n\r\t"|"\u0000\uFFFF\ud7ff\uE000"|"\ud83d\uDE00")");
  expectVerdict(true, "{\t}\r\n|\"\x7F\u0080\u2028\uFFFD\U0010FFFF\"");
  expectVerdict(false, "-|+1|01|-01|00|1.|.5|-.5|1e|1e+|1.e1|0x1|1a|1_0|1 2|- 1|NaN|Infinity|1,");
  expectVerdict(false, "True|tru|truely|nul|nulll|'a'|[|]|[,]|[1,]|[1}|[1 2]|{}{}|[]]|/**/1|//\n1");
  expectVerdict(false,
                R"({|}|{,}|{"a"}|{"a":}|{1:2}|{"a":1,}|{"a":1]|{"a" 1}|{a:1}|{"a":1 "b":2})");
  expectVerdict(false, R"("|"a|"\"|"a""b"|"\x"|"\U0041"|"\'"|"\u12"|"\u12G4"|"\u 123"|{"\x":1})");
  expectVerdict(false, R"("\ud800"|"\udc00"|"\ud800\ud800"|"\ud800x"|"\ud800\n"|"\ud800\u0041")");
  expectVerdict(false, R"("\udc00\ud800"|{"\ud800":1}|{"a":1:2})");
  expectVerdict(false, "\"\n\"|\"\t\"|\"\x1F\"|\v1|1\f|1\u00A0|\uFEFF1");
  expectVerdict(false, std::string("\"\0\"|\0|1\0", 8));
  EXPECT_FALSE(isWellFormed(""));
}

TEST(JsonReader, nestsUpTo1024Levels) {
  const auto lists = [](std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
  };
  EXPECT_TRUE(isWellFormed(lists(1024)));
  EXPECT_FALSE(isWellFormed(lists(1025)));
  EXPECT_TRUE(isWellFormed(R"({"a":{"b":)" + lists(1022) + "}}"));
  EXPECT_FALSE(isWellFormed(R"({"a":{"b":)" + lists(1023) + "}}"));
  std::string siblings = "[[]";
  for (int count = 0; count < 3000; ++count) {
    siblings += ",[{}]";
  }
  EXPECT_TRUE(isWellFormed(siblings + "]"));
}

TEST(JsonReader, agreesWithAnotherParserAboutMutatedLines) {
  constexpr std::string_view lines[] = {
      R"({"sendMessage":{"_0":{"message":{"attachments":[{"kind":"k\u00e9"}],"text":"\ud83d\ude00\n"}}}})",
      R"({ "x" : [-0, 1.5e+3, 20E-1, true, false, null, [], {}, ""], "connect":{"_0":"\"\\\/"}})",
      "{\"error\":{\"_0\":{\"message\":\"\u00E9\u20AC\U0001F600\\u0000\"}},\"a\":{\"b\":[[0],[{}]]}"
      "}"};
  constexpr char bytes[] =  // and the NUL behind them
      "{}[]::,,\"\"\\\\/u0123489eE+-.tfnrabcdDCF \t\r\n\x1F\x7F\xC3\xA9\xF0\xFF";
  std::mt19937 random(2026);
  const auto below = [&](std::size_t bound) { return random() % bound; };
  Oracle oracle;
  std::size_t wellFormedCount = 0;
  for (int count = 0; count < 50'000; ++count) {
    std::string text(lines[below(std::size(lines))]);
    for (std::size_t edits = 1 + below(3); edits > 0; --edits) {
      const std::string piece = below(4) == 0 ? text.substr(below(text.size()), below(12))
                                              : std::string(1, bytes[below(sizeof bytes)]);
      text.replace(below(text.size()), below(2), piece);
      text.resize(below(40) == 0 ? below(text.size()) + 1 : text.size());
    }
    text = repairedUtf8(text);
    const bool wellFormed = isWellFormed(text);
    wellFormedCount += wellFormed ? 1U : 0U;
    ASSERT_TRUE(oracle.agrees(text, wellFormed)) << wellFormed << ": " << text;
  }
  EXPECT_GT(wellFormedCount, 5'000U);  // or the comparison would say little
}

}  // namespace
}  // namespace ferncrest::testing
