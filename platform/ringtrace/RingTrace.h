/// The ring trace: short messages, always recorded, of which the newest are kept in memory.
/// Recorded just before an assertion fails and at other rare but interesting moments, so that the
/// cause survives:
///
///   RingTrace::record("missing expected key ", label, "/", metric, " from ", source);
///
/// Thread    any, unless said otherwise; record() and dump() also in signal handlers.
/// Outputs   the newest messages: of this process from messages() and dump(); of a dead one, if it
///           named a file, from that (RingFileReader.h).
/// Restart   a file of a dead process is kept as PATH.previous.
/// Cost      some 70 ns for five pieces; no lock, allocation or system call (but gettid, once in
///           each thread).
#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/ringtrace/Draft.h"
#include "platform/ringtrace/Message.h"

namespace RingTrace {

/// Text, a character, a bool or an integer. Others are turned into text by the caller.
template <class T>
concept Piece = std::integral<T> || std::convertible_to<const T&, std::string_view>;

template <Piece T>
void addPiece(Draft& to, const T& piece) {
  if constexpr (std::same_as<T, bool>) to.addBool(piece);
  else if constexpr (std::same_as<T, char>) to.addText({&piece, 1});
  else if constexpr (std::signed_integral<T>) to.addSigned(piece);
  else if constexpr (std::unsigned_integral<T>) to.addUnsigned(piece);
  else if constexpr (std::convertible_to<const T&, const char*>) to.addCString(piece);
  else to.addText(piece);
}

/// Records a message of these pieces, joined without blanks. Integers print in decimal, a char as
/// itself, a bool as true or false. Texts are copied; a null C string prints as "(null)". About 220
/// bytes fit, of which a text takes 2 bytes more than its own and an integer 9; a longer message is
/// cut and its text ends in " [cut]". Leaves errno alone.
template <Piece... Pieces>
void record(const Pieces&... pieces) noexcept {
  Draft draft;
  (addPiece(draft, pieces), ...);
  draft.commit();
}

/// The messages of this process that are still in the ring, oldest first. Other threads may record
/// meanwhile; a message that is just being written is left out.
MPLS_EXPORT std::vector<Message> messages();

/// Goes over to a new mapped file of `slots` messages (256 bytes each; 8 to 65,536, rounded up to a
/// power of two), which takes over what was recorded so far and can be read after the process has
/// died, by SIGKILL too. A file that a dead process left there is renamed to PATH.previous first.
///
/// Raises std::system_error whose text names the path: EBUSY and the holder when a living process
/// (this one included) records in that file, EEXIST when something else than a ring file is there,
/// EINVAL for a wrong number of slots, ENOSPC and the like. The ring is unchanged then.
///
/// Other threads may record meanwhile; nothing is lost. A forked child does not share the file: it
/// goes on in private memory with what was recorded before the first call. Call it after becoming a
/// daemon.
MPLS_EXPORT void fileIs(const std::string& path, std::size_t slots = 1024);

/// Writes the last `last` messages to a file descriptor, one line each, oldest first. Control
/// characters are shown as '?'. Errors of the descriptor end it silently. Leaves errno alone.
MPLS_EXPORT void dump(int fd, std::size_t last = 100) noexcept;

/// To be called on the way down of an abort: dump() to standard error, in the life of a process
/// once. While another thread is at it, waits for its end, a second at most.
MPLS_EXPORT void printOnAbort() noexcept;

/// True: SIGSEGV, SIGBUS, SIGILL, SIGFPE and SIGABRT record themselves, do printOnAbort() and then
/// end the process by their default action. Gives the calling thread an alternate signal stack when
/// it has none, so that an overflow of its stack is printed too. False: puts the former actions
/// back. Raises std::system_error.
MPLS_EXPORT void printOnFatalSignalIs(bool on);

}  // namespace RingTrace
