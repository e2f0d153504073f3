#include <mach/mach.h>
#include <sys/mman.h>

#include <algorithm>

#include "platform/system.h"

namespace ferncrest {

void* resizePages(void* pages, std::size_t oldSize, std::size_t newSize) {
  void* const moved =
      ::mmap(nullptr, newSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
  if (moved == MAP_FAILED) {
    return MAP_FAILED;
  }
  // Copies by sharing the pages until one side writes, so no second copy takes memory.
  const kern_return_t copied =
      ::vm_copy(::mach_task_self(), reinterpret_cast<vm_address_t>(pages),
                std::min(oldSize, newSize), reinterpret_cast<vm_address_t>(moved));
  if (copied != KERN_SUCCESS) {
    ::munmap(moved, newSize);
    return MAP_FAILED;
  }
  ::munmap(pages, oldSize);
  return moved;
}

}  // namespace ferncrest
