/// Unix stream sockets that wait, for those who speak a protocol by hand.
///
/// Thread    any.
/// Errors    std::system_error when the kernel refuses.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace Bench {

/// A stream socket connected to the server at `path`, which may still be starting.
int connectTo(const std::string& path);
/// A stream socket that listens at `path`.
int listenAt(const std::string& path);
/// A pair of connected stream sockets.
std::array<int, 2> socketPair();
/// Sends all of `bytes`, waiting as needed.
void sendAll(int fd, std::string_view bytes);
/// Waits for some bytes and appends them; raises std::runtime_error at the end of the stream.
void receiveSome(int fd, std::string& to);

}  // namespace Bench
