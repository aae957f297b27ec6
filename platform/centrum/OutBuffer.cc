#include "platform/centrum/OutBuffer.h"

#include <utility>

namespace Centrum {

void OutBuffer::add(const Message::Any& message) {
  if (!piece_ && smallAt_ > copyLimit) {  // a slow reader must not make what is written pile up
    small_.erase(0, smallAt_);
    smallAt_ = 0;
  }
  appendFrame(tail(), message);
}

void OutBuffer::add(std::shared_ptr<const std::string> frames) {
  if (frames->size() <= copyLimit) tail() += *frames;
  else piece_ = std::move(frames);
}

std::size_t OutBuffer::size() const {
  const std::size_t piece = piece_ ? piece_->size() - pieceAt_ : 0;
  return small_.size() - smallAt_ + piece + behind_.size();
}

bool OutBuffer::write(Stream& stream, std::string_view bytes, std::size_t& at) {
  if (at == bytes.size()) return true;
  const std::size_t count = stream.write(bytes.substr(at));
  at += count;
  written_ += count;
  return at == bytes.size();
}

bool OutBuffer::writeTo(Stream& stream) {
  while (write(stream, small_, smallAt_)) {
    small_.clear();
    smallAt_ = 0;
    if (!piece_) return true;
    if (!write(stream, *piece_, pieceAt_)) return false;
    piece_.reset();
    pieceAt_ = 0;
    small_.swap(behind_);
  }
  return false;
}

}  // namespace Centrum
