#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>

namespace ferncrest::testing {

/// Expects `function` to turn the first value of each row into the second. A failure names the row
/// by its first value.
template <typename Input, typename Output>
void expectEach(auto function, std::initializer_list<std::pair<Input, Output>> rows) {
  for (const auto& [input, output] : rows) {
    EXPECT_EQ(function(input), output) << "in the row of " << ::testing::PrintToString(input);
  }
}

}  // namespace ferncrest::testing
