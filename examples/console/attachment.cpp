#include "examples/console/attachment.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/files.h"
#include "text/utf8.h"

namespace ferncrest {

namespace {

constexpr std::uintmax_t largestFile = std::uintmax_t{32} << 20U;  // bytes

constexpr std::array<std::pair<std::string_view, std::string_view>, 10> mediaTypes{{
    {".gif", "image/gif"},
    {".jpeg", "image/jpeg"},
    {".jpg", "image/jpeg"},
    {".json", "application/json"},
    {".mp3", "audio/mpeg"},
    {".mp4", "video/mp4"},
    {".ogg", "audio/ogg"},
    {".pdf", "application/pdf"},
    {".png", "image/png"},
    {".txt", "text/plain"},
}};

std::string_view mediaTypeOf(std::string extension) {
  for (char& letter : extension) {
    letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  }
  for (const auto& [known, mediaType] : mediaTypes) {
    if (known == extension) {
      return mediaType;
    }
  }
  return "application/octet-stream";
}

// The protocol has no fixed set of kinds; messaging platforms distinguish these.
std::string_view kindOf(std::string_view mediaType) {
  for (const std::string_view kind : {"image", "audio", "video"}) {
    if (mediaType.starts_with(kind)) {
      return kind;
    }
  }
  return "document";
}

Failure cannotAttach(const std::string& path, const std::string& reason) {
  return Failure{"Cannot attach " + path + ": " + reason + "."};
}

}  // namespace

std::string base64(std::string_view bytes) {
  constexpr std::string_view digits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t from = 0; from < bytes.size(); from += 3) {
    std::uint32_t group = 0;
    for (std::size_t index = from; index < from + 3; ++index) {
      group = group << 8U | (index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0U);
    }
    for (std::size_t digit = 0; digit < 4; ++digit) {
      const bool isPadding = from + digit > bytes.size();
      text += isPadding ? '=' : digits[group >> (18U - 6U * digit) & 0x3FU];
    }
  }
  return text;
}

std::expected<BridgeAttachment, Failure> readAttachment(const std::string& path) {
  const std::filesystem::path file(path);
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(file, error);
  if (error) {
    return std::unexpected(cannotAttach(path, error.message()));
  }
  if (size > largestFile) {
    return std::unexpected(cannotAttach(path, "it is larger than 32 MiB"));
  }
  const auto content = readFile(path);
  if (!content) {
    return std::unexpected(cannotAttach(path, content.error().description));
  }
  const std::string_view mediaType = mediaTypeOf(file.extension().string());
  return BridgeAttachment{.id = {},
                          .kind = std::string(kindOf(mediaType)),
                          .fileName = repairedUtf8(file.filename().string()),
                          .mimeType = std::string(mediaType),
                          .localPath = {},
                          .dataBase64 = base64(*content),
                          .caption = {}};
}

}  // namespace ferncrest
