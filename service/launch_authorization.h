#pragma once

#include "platform/environment.h"

namespace ferncrest {

/// Whether the host application launched this process: the environment holds a launch token of at
/// least 32 characters and names a file with the same token. Reads that file, changes nothing.
bool isLaunchAuthorized(const Environment& environment);

}  // namespace ferncrest
