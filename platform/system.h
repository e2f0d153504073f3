#pragma once

// What Linux and macOS do differently. Each has one source file that defines all of this.

#include <spawn.h>
#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

namespace ferncrest {

/// Resizes memory from mmap and keeps its content without copying it. Sizes are bytes, multiples of
/// the page size. Gives the new address, or MAP_FAILED, and then the old memory is unchanged.
void* resizePages(void* pages, std::size_t oldSize, std::size_t newSize);

/// Opens a pipe with both ends close-on-exec; the caller owns them. Returns 0, or -1 with errno
/// set.
int openPipe(int& readEnd, int& writeEnd);

/// Raises the pipe's capacity, where the operating system allows it.
void enlargePipe(int pipe);

/// Adds to the actions or flags of a posix_spawn that the new program gets no descriptor above 2.
/// Must be the last action. Returns 0 or an errno value.
int keepOnlyStandardStreams(posix_spawn_file_actions_t& actions, short& flags);

/// Reads without waiting where the operating system can do that on a descriptor in blocking mode.
/// Elsewhere it may wait, so poll must have reported `fd` as readable. Gives the number of bytes, 0
/// at the end of input, or a negated errno value.
std::ptrdiff_t readNow(int fd, char* buffer, std::size_t size);

/// How many bytes a write to a pipe takes without waiting; 0 when it would wait. SIZE_MAX for a
/// pipe that has no reader, because a write to it fails at once.
std::size_t pipeRoom(int pipe);

/// The least that pipeRoom gives for an empty pipe, in bytes.
std::size_t pipeCapacity(int pipe);

/// How many bytes in a pipe or socket its reader has not read yet; nothing where the operating
/// system cannot tell.
std::optional<std::size_t> unreadBytes(int fd);

/// Sets the scheduling policy SCHED_BATCH: waking this process does not pre-empt the writer that
/// woke it, so the writer can finish a burst of lines first. False where there is no such policy,
/// or where the host has chosen another policy than the usual one.
bool joinBatchClass();
/// Sets the usual scheduling policy again.
void leaveBatchClass();

/// A descriptor that poll reports as readable when the child has ended, owned by the caller. -1
/// where the operating system gives none; waitpid must then be called at intervals.
int openExitWatch(pid_t child);

/// Returns freed heap memory to the operating system.
void releaseFreeMemory();

/// Moves up to `most` bytes from a pipe to another pipe inside the kernel, without waiting. Gives
/// their number, 0 at the end of `from`, or a negated errno value: -EAGAIN when `from` is empty or
/// `to` is full, -EINVAL where the operating system cannot do this.
std::ptrdiff_t moveBytes(int from, int to, std::size_t most);

/// The path of this program's file, or nothing when the operating system cannot tell.
std::optional<std::string> ownExecutablePath();

/// The path of the directory that the operating system keeps for this user's temporary files, as
/// bytes; empty where it keeps none.
std::string userTemporaryDirectoryName();

}  // namespace ferncrest
