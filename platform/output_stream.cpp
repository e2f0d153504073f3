#include "platform/output_stream.h"

#include "platform/io.h"

namespace ferncrest {

Outcome OutputStream::Turn::write(std::string_view bytes) const {
  return writeAll(fd_, bytes);
}

}  // namespace ferncrest
