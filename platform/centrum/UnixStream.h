/// Connections over Unix stream sockets.
///
/// Thread    that of the event loop, which must outlive them.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "platform/centrum/Stream.h"
#include "platform/kiln/EventLoop.h"
#include "platform/kiln/Fd.h"

namespace Centrum {

/// Connects to the socket at `path`. Never waits. Raises std::system_error for a path that no
/// socket can have (ENAMETOOLONG: of more than 107 bytes).
MPLS_EXPORT std::unique_ptr<Connector> unixConnectorFactory(Kiln::EventLoop& loop,
                                                            std::string path);

/// Listens at `path`, made with `mode` whatever the umask; removes the socket when destroyed. A
/// socket left behind by a server that was killed is replaced; one at which a server answers is
/// not: raises std::system_error (EADDRINUSE), as it does for anything else that is in the way; the
/// message names the path. A file `path`.lock keeps two servers from starting at once, and goes
/// with the socket. Without descriptors (EMFILE) connections wait. The group that may write is that
/// of the socket's file at the time of asking.
MPLS_EXPORT std::unique_ptr<Listener> unixListenerFactory(Kiln::EventLoop& loop, std::string path,
                                                          mode_t mode);

/// The stream of a connected socket that never waits. Raises std::system_error when it has no peer.
MPLS_EXPORT std::unique_ptr<Stream> unixStream(Kiln::EventLoop& loop, Kiln::Fd socket);

}  // namespace Centrum
