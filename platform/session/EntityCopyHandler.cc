#include "platform/session/EntityCopyHandler.h"

namespace Session {

EntityCopyHandler::~EntityCopyHandler() = default;

}  // namespace Session
