#pragma once

// What each operating system does in its own way; one source file a system answers. Any thread may
// call, unless said otherwise.

#include <spawn.h>
#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

namespace ferncrest {

/// Resizes memory from mmap, keeping its content without copying it; sizes are multiples of the
/// page size. Gives the new address, or MAP_FAILED with the old memory untouched.
void* resizePages(void* pages, std::size_t oldSize, std::size_t newSize);

/// Opens a pipe whose ends do not reach programs that are launched. 0, or -1 with errno set.
int openPipe(int& readEnd, int& writeEnd);

/// Lets the pipe hold more before its writer has to wait, where the system allows it.
void enlargePipe(int pipe);

/// Prepares a launch so that the new program gets no descriptor above 2 that its actions do not
/// name. 0, or an errno value.
int keepOnlyStandardStreams(posix_spawn_file_actions_t& actions, short& flags);

/// What write(2) does: how many bytes, or -1 with errno set.
std::ptrdiff_t writeBytes(int fd, const char* bytes, std::size_t size);

/// Has the calling thread scheduled as one that works in batches: when there is something for it to
/// do, whoever feeds it can finish a burst first. Makes no difference where a processor is free.
void joinBatchClass();

/// Waits until the child has ended, and leaves it to be reaped. A child that the system does not
/// know any more has ended.
void waitForExit(pid_t child);

/// Gives memory that was freed back to the system.
void releaseFreeMemory();

/// Moves bytes from a pipe to a stream inside the system, without a copy in this process: how many,
/// or a negated errno value, -EINVAL where the system or the stream cannot do this.
std::ptrdiff_t moveBytes(int pipe, int stream, std::size_t most);

/// The path of this program's file; nothing when the system cannot tell.
std::optional<std::string> ownExecutablePath();

/// The bytes of the name of the directory for this user's temporary files; empty where the system
/// keeps none.
std::string userTemporaryDirectoryName();

}  // namespace ferncrest
