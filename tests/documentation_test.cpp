#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "protocol/coding.h"

// The protocol's page holds what it says.

namespace ferncrest {

namespace {

// The lines of all the page's blocks of this kind, in order.
std::vector<std::vector<std::string>> blocksOfPage(const std::string& kind) {
  std::ifstream page(PROTOCOL_PAGE);
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

}  // namespace

}  // namespace ferncrest
