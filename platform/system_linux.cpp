#include <sys/mman.h>

#include "platform/system.h"

namespace ferncrest {

void* resizePages(void* pages, std::size_t oldSize, std::size_t newSize) {
  return ::mremap(pages, oldSize, newSize, MREMAP_MAYMOVE);
}

}  // namespace ferncrest
