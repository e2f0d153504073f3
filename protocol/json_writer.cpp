#include "protocol/json_writer.h"

#include <cstring>

#include "protocol/json_scan.h"

namespace ferncrest {

void JsonWriter::begin(std::string_view bracket) {
  put(bracket);
  atFirstMember_ = true;
}

void JsonWriter::end(std::string_view bracket) {
  put(bracket);
  atFirstMember_ = false;
}

void JsonWriter::key(std::string_view name) {
  separate();
  put("\"");
  put(name);
  put("\":");
}

void JsonWriter::string(std::string_view text) {
  put("\"");
  const char* position = text.data();
  const char* const end = position + text.size();
  while (position != end) {
    const char* const special = findSpecial<Solidus::special>(position, end);
    put({position, special});
    position = special;
    if (position != end) {
      escape(*position++);
    }
  }
  put("\"");
}

void JsonWriter::separate() {
  if (!atFirstMember_) {
    put(",");
  }
  atFirstMember_ = false;
}

void JsonWriter::escape(char byte) {
  constexpr std::string_view named = "\"\\/\b\f\n\r\t";
  constexpr std::string_view letters = "\"\\/bfnrt";
  constexpr std::string_view hexDigits = "0123456789abcdef";
  if (const std::size_t index = named.find(byte); index != std::string_view::npos) {
    put("\\");
    return put(letters.substr(index, 1));
  }
  put("\\u00");
  const auto code = static_cast<unsigned char>(byte);
  put(hexDigits.substr(code >> 4U, 1));
  put(hexDigits.substr(code & 0xFU, 1));
}

void JsonWriter::put(std::string_view bytes) {
  if (destination_ != nullptr) {
    std::memcpy(destination_ + size_, bytes.data(), bytes.size());
  }
  size_ += bytes.size();
}

}  // namespace ferncrest
