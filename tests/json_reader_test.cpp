#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>

#include "protocol/coding.h"

namespace ferncrest::testing {
namespace {

bool isWellFormed(std::string_view text) {
  const auto envelope = decodeEnvelope(text);
  return envelope || envelope.error().kind != DecodingError::Kind::invalidJson;
}

// Each value between the bars of `values`: as the text, where nobody needs it and where a name is
// expected.
void expectVerdict(bool wellFormed, const std::string& values) {
  std::istringstream stream(values);
  for (std::string value; std::getline(stream, value, '|');) {
    for (const std::string& line :
         {value, "[" + value + "]", R"({"hello":{"_0":{"platform":)" + value + "}}}",
          R"({"x":)" + value + R"(,"connect":{"_0":{"platform":"p"}}})",
          R"({"connect":{"_0":{"platform":"p"},"x":)" + value + "}}",
          R"({"stateChanged":{"_0":{"state":{"connecting":{"x":[)" + value + "]}}}}}"}) {
      EXPECT_EQ(isWellFormed(line), wellFormed) << line;
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

}  // namespace
}  // namespace ferncrest::testing
