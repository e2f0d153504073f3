#pragma once

#include <expected>
#include <string>
#include <string_view>

#include "platform/failure.h"
#include "protocol/values.h"

namespace ferncrest {

/// `bytes` in base64, padded, in one line.
std::string base64(std::string_view bytes);

/// The file at `path` with its content, kind and media type, or why it cannot be attached.
std::expected<BridgeAttachment, Failure> readAttachment(const std::string& path);

}  // namespace ferncrest
