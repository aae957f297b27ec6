#include "platform/forma/FlatSchema.h"

namespace Forma {

void FlatSchema::leaf(std::string_view type, std::size_t bytes) {
  text_.append(path_).push_back(' ');
  text_.append(type).push_back(' ');
  text_.append(std::to_string(bytes));
  place();
  offset_ += bytes;
}

void FlatSchema::array(std::size_t most, std::size_t bytes) {
  text_.append(path_).append("[").append(std::to_string(most)).append("] ");
  text_.append(std::to_string(bytes));
  place();
  offset_ = 0;
  inArray_ = true;
}

void FlatSchema::arrayEnds() {
  offset_ = 0;
  inArray_ = false;
  behindArray_ = true;
}

void FlatSchema::place() {
  text_.append(behindArray_ && !inArray_ ? " @+" : " @").append(std::to_string(offset_));
  text_.push_back('\n');
}

}  // namespace Forma
