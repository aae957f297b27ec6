#include "platform/session/CopyPath.h"

#include "platform/forma/Entity.h"

namespace Session {

std::string CopyPath::text() const {
  if (!above_) return std::string(last_);
  std::string path = above_->text();
  if (!last_.empty()) path.append(".").append(last_);
  if (element_) path.append("/").append(element_->name().view());
  return path;
}

}  // namespace Session
