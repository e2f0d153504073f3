#pragma once

#include <cstddef>
#include <string_view>

namespace ferncrest {

/// Writes compact JSON into memory of exactly the right size: run once without a destination to
/// learn the size, then again with one. The caller writes keys in ascending order.
class JsonWriter {
 public:
  /// Writes to `destination`, or only counts when it is null.
  explicit JsonWriter(char* destination) : destination_(destination) {}

  void beginObject() { begin("{"); }
  void endObject() { end("}"); }
  void beginArray() { begin("["); }
  void endArray() { end("]"); }

  /// A key of plain ASCII letters, digits and underscores; its value must follow.
  void key(std::string_view name);
  /// What stands before each element of a list.
  void element() { separate(); }

  void string(std::string_view text);
  void boolean(bool value) { put(value ? "true" : "false"); }

  /// The bytes written or counted so far.
  [[nodiscard]] std::size_t size() const { return size_; }

 private:
  void begin(std::string_view bracket);
  void end(std::string_view bracket);
  void separate();
  void put(std::string_view bytes);
  void escape(char byte);

  char* destination_;
  std::size_t size_ = 0;
  bool atFirstMember_ = false;
};

}  // namespace ferncrest
