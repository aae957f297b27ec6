/// Who writes the tables of a directory, as a line of text: "PID AGENT SINCE". Private to
/// platform/tarn.
///
/// It stands in writer.lock, for a second writer to name the first, and in writer.info, for
/// readers: they must not open writer.lock, as closing it would drop a lock of their own process.
///
/// Thread    any.
#pragma once

#include <cstdint>
#include <string>

#include "platform/tarn/DirectoryStorage.h"

namespace Tarn {

inline constexpr const char* infoName = "writer.info";
inline constexpr const char* lockName = "writer.lock";
inline constexpr const char* bellName = "writer.sock";

struct WriterInfo {
  int pid = 0;              ///< 0: nothing is known
  std::string agent;        ///< without blanks at its ends
  std::uint64_t since = 0;  ///< CLOCK_BOOTTIME in nanoseconds

  /// This process, from now on.
  static WriterInfo own(std::string agent);
  /// What a file says; one with PID 0 when it says nothing. Reads 256 bytes at most.
  static WriterInfo ofFile(int fd);
  /// What writer.info says.
  static WriterInfo ofDirectory(int directory);

  std::string text() const;
  /// "PID 7 (lfib-writer, started 12 s ago)".
  std::string description() const;
  /// Puts writer.info there; false, and errno says why, when that fails.
  bool publish(int directory, const DirectoryRights& rights) const;
};

}  // namespace Tarn
