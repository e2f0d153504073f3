#pragma once

#include <expected>
#include <string>
#include <utility>

#include "platform/failure.h"

namespace ferncrest {

/// A random token that proves to the service that this host started it, and a file with the token
/// that only this user can read. The destructor removes the file and its directory.
class LaunchToken {
 public:
  [[nodiscard]] static std::expected<LaunchToken, Failure> create();

  LaunchToken(LaunchToken&& other) noexcept;
  LaunchToken& operator=(LaunchToken&&) = delete;
  LaunchToken(const LaunchToken&) = delete;
  LaunchToken& operator=(const LaunchToken&) = delete;
  ~LaunchToken();

  [[nodiscard]] const std::string& text() const { return text_; }
  [[nodiscard]] std::string path() const { return directory_ + "/token"; }

 private:
  explicit LaunchToken(std::string directory) : directory_(std::move(directory)) {}
  [[nodiscard]] Outcome makeText();
  [[nodiscard]] Outcome writeFile() const;

  std::string directory_;
  std::string text_;
};

}  // namespace ferncrest
