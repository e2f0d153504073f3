#pragma once

#include <cstdio>
#include <cstdlib>

namespace ferncrest::fuzz {

/// Aborts when `holds` is false, so that the fuzzer stores the input.
inline void require(bool holds, const char* property) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", property);
    std::abort();
  }
}

}  // namespace ferncrest::fuzz
