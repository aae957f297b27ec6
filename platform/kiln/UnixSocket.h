/// What the two ends of Unix stream sockets share.
///
/// Thread    any.
#pragma once

#include <sys/un.h>

#include <string>

#include "platform/Export.h"
#include "platform/kiln/Fd.h"

namespace Kiln {

/// The socket address of a path. Raises std::system_error, which names the path, when it does not
/// fit one (ENAMETOOLONG: of more than 107 bytes), is empty or holds a zero byte (EINVAL).
MPLS_EXPORT sockaddr_un unixAddress(const std::string& path);
/// A path that a socket can have, for `name` in the directory at `path`, which `directory` is a
/// descriptor of: path/name, or one through /proc that is valid in this process while the
/// descriptor is open.
MPLS_EXPORT std::string unixPath(int directory, const std::string& path, const std::string& name);
/// A new stream socket that never waits; none, and errno says why, when the kernel gives none.
MPLS_EXPORT Fd unixSocket();
/// 0, or the errno of a connection that is refused.
MPLS_EXPORT int connectUnix(const Fd& socket, const sockaddr_un& address);

}  // namespace Kiln
