#include "platform/centrum/Stream.h"

namespace Centrum {

Stream::~Stream() = default;
Connector::~Connector() = default;
Listener::~Listener() = default;

}  // namespace Centrum
