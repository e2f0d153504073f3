#pragma once

// What each operating system does in its own way; one source file a system answers.

#include <cstddef>

namespace ferncrest {

/// Resizes memory from mmap, keeping its content without copying it; sizes are multiples of the
/// page size. Gives the new address, or MAP_FAILED with the old memory untouched.
void* resizePages(void* pages, std::size_t oldSize, std::size_t newSize);

}  // namespace ferncrest
