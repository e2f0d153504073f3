#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/canonical.h"
#include "text/characters.h"
#include "text/utf8.h"

namespace ferncrest::testing {
namespace {

TEST(Utf8, repairsEachMaximalIllFormedSubpartWithOneCharacter) {
  // A question mark stands for U+FFFD.
  constexpr std::pair<std::string_view, std::string_view> cases[] = {
      // The examples of the Unicode standard: overlong forms, surrogates, others, sequences cut.
      {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", "????????A"},
      {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", "????????A"},
      {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", "?????A??B"},
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", "????A"},
      {"a\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64", "a???b?c??d"},
      // On both sides of each border of a length or a gap.
      {"\x7F\u0080\u07FF\u0800\uD7FF\uE000\uFFFF", "\x7F\u0080\u07FF\u0800\uD7FF\uE000\uFFFF"},
      {"\U00010000\U0010FFFF", "\U00010000\U0010FFFF"},
      {"\xC1\xBF|\xE0\x9F\xBF|\xF0\x8F\xBF\xBF", "??|???|????"},
      {"\xF4\x90\x80\x80|\xF5\x80\x80\x80|\xFE|\xFF", "????|????|?|?"},
      // Cut at the end of the text, or by another lead byte.
      {"\xE2\xC3\xA9\xC3", "?\u00E9?"},
      {"\xF0\xF0\x9F\x98\x80\xE2\x82", "?\U0001F600?"},
      {"\xF0\x9F\x98", "?"}};
  for (const auto& [bytes, repaired] : cases) {
    std::string expected;
    for (const char byte : repaired) {
      expected += byte == '?' ? "\uFFFD" : std::string(1, byte);
    }
    EXPECT_EQ(repairedUtf8(bytes), expected);
    EXPECT_EQ(isValidUtf8(bytes), bytes == expected) << expected;
  }
}

TEST(Trimmed, takesWhiteSpaceOffBothEndsAndNothingElse) {
  for (const std::string white :
       {"\t", "\n", "\v", "\f", "\r", " ", "\u0085", "\u00A0", "\u1680", "\u2000", "\u2006",
        "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"}) {
    EXPECT_EQ(trimmed(white), "");
    EXPECT_EQ(trimmed(white + "a" + white + "b" + white + white), "a" + white + "b");
  }
  for (const std::string kept : {"\x1F", "\x7F", "\u0084", "\u180E", "\u200B", "\u2060", "\uFEFF",
                                 // No characters, for the bytes are cut, stray or overlong.
                                 "\x85", "\xA0", "\xC2", "\xE2\x80", "\xC0\xA0", "\xE0\x82\x85"}) {
    const std::string text = kept + "a" + kept;
    EXPECT_EQ(trimmed(" " + text + "\n"), text);
  }
  const std::string nul(1, '\0');
  EXPECT_EQ(trimmed(nul + " "), nul);
  EXPECT_EQ(trimmed("\u2028\x80 "), "\x80");
  EXPECT_EQ(trimmed(" \u00A0\xA0"), "\xA0");
  EXPECT_EQ(trimmed("\xF0\u00A0"), "\xF0");
  EXPECT_EQ(trimmed("a\u2028\xA8"), "a\u2028\xA8");
}

TEST(Canonical, equalityIsEquivalenceOfValidTexts) {
  // Texts in one row are equal, texts in different rows are not.
  const std::vector<std::vector<std::string>> rows = {
      {"\u00E9", "e\u0301"},
      {"e"},
      {"E\u0301"},
      {"\uAC01", "\uAC00\u11A8", "\u1100\u1161\u11A8"},
      {"\u212A", "K"},
      {"\u212B", "\u00C5", "A\u030A"},
      {"\u0958", "\u0915\u093C"},
      {"\u1E69", "\u1E63\u0307", "s\u0307\u0323", "s\u0323\u0307"},
      {"a\u0301\u0308"},  // marks of one class keep their order
      {"a\u0308\u0301"},
      {"\u0301\u0323b\u0301", "\u0323\u0301b\u0301"},
      {"\uFB01"},  // compatible is not equal
      {"fi"},
      {"\xFF\u00E9"},  // only byte for byte, for it is not valid
      {"\xFF\u0065\u0301"},
      {"\uFFFD\u00E9"},
      {""}};
  for (const auto& row : rows) {
    for (const std::string& text : row) {
      for (const auto& otherRow : rows) {
        for (const std::string& other : otherRow) {
          EXPECT_EQ(canonicallyEqual(text, other), &row == &otherRow) << text << " " << other;
        }
      }
    }
  }
}

// Exchanging neighbours until they are in order would not come to an end here.
TEST(Canonical, comparesLongRunsOfMarks) {
  std::string alternating = "a";
  std::string below;
  std::string above;
  for (int count = 0; count < 400'000; ++count) {
    alternating += "\u0301\u0323\u0308";
    below += "\u0323";
    above += "\u0301\u0308";
  }
  EXPECT_TRUE(canonicallyEqual(alternating, "a" + below + above));
}

TEST(Graphemes, countsWhatAPersonSeesAsOneCharacter) {
  constexpr std::pair<std::string_view, std::size_t> cases[] = {
      {"", 0},
      {"abc", 3},
      {"a\r\nb\n\r", 5},
      {"e\u0301\u0323x1\uFE0F\u20E3", 3},
      {"\u1100\u1161\u11A8\uAC01", 2},
      {"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7\U0001F1EB", 3},  // two flags, and half of one
      {"\U0001F468\u200D\U0001F469\u200D\U0001F467", 1},          // a family
      {"\U0001F44D\U0001F3FD\U0001F44D", 2},                      // a skin tone
      {"a\u200D\u00E9", 2},
      {"\xFF\xC3\xE2\x82", 3}};
  for (const auto& [text, count] : cases) {
    EXPECT_EQ(graphemeCount(text), count) << text;
  }
}

}  // namespace
}  // namespace ferncrest::testing
