#pragma once

#include <expected>
#include <string>
#include <string_view>

#include "platform/failure.h"
#include "protocol/values.h"

namespace ferncrest {

/// `bytes` in base64, padded, without line breaks.
std::string base64(std::string_view bytes);

/// An attachment with the content, kind and media type of the file at `path`, or why not.
[[nodiscard]] std::expected<BridgeAttachment, Failure> readAttachment(const std::string& path);

}  // namespace ferncrest
