#include "platform/forma/Ptr.h"

#include "platform/forma/Errors.h"

namespace Forma {

bool RefCount::threadSafe_ = false;

PtrInterface::~PtrInterface() = default;

// The count stays above zero meanwhile: a destructor may walk its own members, which pins them.
void PtrInterface::destroy() const {
  refs_.up();
  delete this;
}

void throwNullValidPtr() { throwNullException("null ValidPtr"); }

}  // namespace Forma
