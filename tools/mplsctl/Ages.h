/// How old things are that others have written, and who wrote them, as people read it.
#pragma once

#include <cstdint>
#include <string>

namespace MplsCtl {

/// "3.2 s"
std::string secondsText(double seconds);
/// Since a time of CLOCK_BOOTTIME in nanoseconds; 0 for one that is to come.
double secondsSince(std::uint64_t bootTime);
/// Nanoseconds since 1970, now.
std::uint64_t utcNow();
/// Such a time as RFC 3339 has it: "2026-01-31T12:00:00.000000Z".
std::string utcText(std::uint64_t nanoseconds);
/// "lfib-writer (pid 12)"; empty when nobody is known.
std::string writerName(const std::string& agent, std::int64_t pid);

}  // namespace MplsCtl
