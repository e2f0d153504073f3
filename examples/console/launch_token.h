#pragma once

#include <expected>
#include <string>
#include <utility>

#include "platform/failure.h"

namespace ferncrest {

/// The proof to the service that this host started it: a random token, also in a file that only
/// this user can read. The file and its directory are removed with this object.
class LaunchToken {
 public:
  static std::expected<LaunchToken, Failure> create();

  LaunchToken(LaunchToken&& other) noexcept;
  LaunchToken& operator=(LaunchToken&&) = delete;
  LaunchToken(const LaunchToken&) = delete;
  LaunchToken& operator=(const LaunchToken&) = delete;
  ~LaunchToken();

  [[nodiscard]] const std::string& text() const { return text_; }
  [[nodiscard]] std::string path() const { return directory_ + "/token"; }

 private:
  explicit LaunchToken(std::string directory) : directory_(std::move(directory)) {}
  Outcome makeText();
  [[nodiscard]] Outcome writeFile() const;

  std::string directory_;
  std::string text_;
};

}  // namespace ferncrest
