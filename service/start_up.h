#pragma once

#include <string>
#include <vector>

#include "platform/process.h"

// What the host passes to the service when it launches it.

namespace ferncrest {

/// Whether the host application launched this process: the environment has a launch token of at
/// least 32 characters and the path of a file with the same token. Reads that file; when it is a
/// named pipe, waits for its writer for two seconds at most.
bool isLaunchAuthorized(const Environment& environment);

/// The argument that follows the first "--platform", unchanged, or "whatsapp" if there is none.
/// `arguments` is the command line without the program's name.
std::string platformArgument(const std::vector<std::string>& arguments);

}  // namespace ferncrest
