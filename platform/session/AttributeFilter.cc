#include "platform/session/AttributeFilter.h"

namespace Session {

FORMA_DEFINE_ENTITY(AttributeFilter)

AttributeFilter::~AttributeFilter() = default;

}  // namespace Session
