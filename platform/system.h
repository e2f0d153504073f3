#pragma once

// What each operating system does in its own way; one source file a system answers.

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

/// Reads what is there without waiting, where the system can; elsewhere the caller has asked poll.
/// How many bytes, 0 at the end, or a negated errno value.
std::ptrdiff_t readNow(int fd, char* buffer, std::size_t size);

/// How many bytes a write to a pipe takes without waiting; 0 when it would wait. A pipe that nobody
/// reads any more has room for any number, since a write to it fails at once.
std::size_t pipeRoom(int pipe);

/// How many bytes pipeRoom gives for an empty pipe, at least.
std::size_t pipeCapacity(int pipe);

/// How many bytes the other side of a pipe or socket has not read yet; nothing where the system
/// does not tell.
std::optional<std::size_t> unreadBytes(int fd);

/// Joins the class of processes that work in batches: when something wakes this process, the
/// process that woke it is not interrupted. False where that makes no difference, or where the host
/// has chosen a class already.
bool joinBatchClass();
/// Goes back to the usual class.
void leaveBatchClass();

/// A descriptor for poll that turns readable when the child has ended, owned by the caller; -1
/// where the system gives none and the child must be asked for again and again.
int openExitWatch(pid_t child);

/// Gives memory that was freed back to the system.
void releaseFreeMemory();

/// Moves bytes from a pipe to another pipe inside the system, without a copy in this process and
/// without waiting: how many, or a negated errno value, -EAGAIN when one pipe is empty or the other
/// full, -EINVAL where the system cannot do this.
std::ptrdiff_t moveBytes(int from, int to, std::size_t most);

/// The path of this program's file; nothing when the system cannot tell.
std::optional<std::string> ownExecutablePath();

/// The bytes of the name of the directory for this user's temporary files; empty where the system
/// keeps none.
std::string userTemporaryDirectoryName();

}  // namespace ferncrest
