#include "platform/byte_buffer.h"

#include <sys/mman.h>

#include <new>

#include "platform/system.h"

namespace ferncrest {

namespace {

char* checked(void* pages) {
  if (pages == MAP_FAILED) {
    throw std::bad_alloc();
  }
  return static_cast<char*>(pages);
}

char* newPages(std::size_t size) {
  return checked(::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0));
}

}  // namespace

ByteBuffer::ByteBuffer(std::size_t capacity) : data_(newPages(capacity)), capacity_(capacity) {}

ByteBuffer::~ByteBuffer() {
  ::munmap(data_, capacity_);
}

void ByteBuffer::resize(std::size_t capacity) {
  data_ = checked(resizePages(data_, capacity_, capacity));
  capacity_ = capacity;
}

}  // namespace ferncrest
