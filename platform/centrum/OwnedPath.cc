#include "platform/centrum/OwnedPath.h"

#include <utility>

#include "platform/forma/AttributeLog.h"
#include "platform/forma/Errors.h"

namespace Centrum {

namespace {

constexpr std::size_t frameBytes = 32;  // what a frame costs beside its records

}  // namespace

std::optional<Message::Batch> OwnedPath::take(const Message::Batch& frame, std::size_t limit) {
  check(frame, limit);
  const bool first = !std::exchange(open_, frame.more);
  if (first) records_.clear();
  newest_ = frame.number;
  renew_ = frame.renew;
  if (first && !frame.more) {
    Forma::checkRecords(frame.records);
    return frame;
  }
  records_.append(frame.records);
  if (frame.more) return std::nullopt;
  Forma::checkRecords(records_);
  return Message::Batch{frame.path, frame.number, false, frame.renew, records_};
}

void OwnedPath::check(const Message::Batch& frame, std::size_t limit) const {
  const std::string number = std::to_string(frame.number);
  if (open_ && (frame.number != newest_ || frame.renew != renew_))
    Forma::throwParseException("batch " + number + " begins before batch " +
                               std::to_string(newest_) + " has ended");
  if (frame.number < newest_)
    Forma::throwParseException("batch " + number + " comes after batch " + std::to_string(newest_));
  if ((open_ ? records_.size() : 0) + frame.records.size() > limit)
    Forma::throwParseException("batch " + number + " is larger than " + std::to_string(limit) +
                               " bytes");
}

void OwnedPath::taken(const Message::Batch& batch) {
  taken_ = batch.number;
  unacked_ += batch.records.size() + frameBytes;
  if (records_.capacity() > ackBytes) records_ = std::string();  // `batch` may lie in it
}

std::uint64_t OwnedPath::ack() {
  unacked_ = 0;
  return taken_;
}

}  // namespace Centrum
