#include "platform/centrum/ClientMount.h"

#include <utility>

namespace Centrum {

// ---- ClientContent -----------------------------------------------------------------------------

void ClientContent::entityIs(Forma::Ptr<Forma::Entity> entity) {
  if (entity_ == entity) return;
  entity_ = std::move(entity);
  filled_ = false;
}

void ClientContent::received(const Message::Delta& delta) {
  if (!receiving_) next_ = {};
  next_.begin |= delta.begin;
  next_.end |= delta.end;
  next_.records.append(delta.records);
  receiving_ = delta.more;
  if (receiving_) return;
  if (!filled_) return apply(next_);
  Forma::checkRecords(next_.records);
  waiting_.push_back(std::exchange(next_, {}));
}

std::size_t ClientContent::mark() {
  for (const Piece& piece : std::exchange(waiting_, {})) apply(piece);
  filled_ |= std::exchange(ended_, false);
  return std::exchange(changed_, 0);
}

void ClientContent::reset() {
  waiting_.clear();
  next_ = {};
  receiving_ = inSnapshot_ = ended_ = false;
  stated_.clear();
  if (entity_) applier_.dropSnapshot(*entity_);
}

void ClientContent::apply(const Piece& piece) {
  if (!entity_) return;
  if (piece.begin) ++snapshots_;
  if (auto dir = Forma::ptrCast<Forma::Dir>(entity_)) {
    applyToDirectory(*dir, piece);
  } else {
    if (piece.begin) applier_.beginSnapshot(*entity_);
    changed_ += applier_.apply(*entity_, piece.records);
    if (piece.end) changed_ += applier_.endSnapshot(*entity_);
  }
  ended_ |= piece.end;
}

void ClientContent::applyToDirectory(Forma::Dir& dir, const Piece& piece) {
  if (piece.begin) {
    stated_.clear();
    inSnapshot_ = true;
  }
  for (Forma::BytesIn in(piece.records); !in.atEnd();) {
    const Forma::LogRecord record = Forma::takeRecord(in);
    if (record.op == Forma::LogOp::erase) {
      tree_.entryDel(dir, record.key);
    } else if (record.op == Forma::LogOp::put) {
      tree_.entryIs(dir, record.key, record.value);
      if (inSnapshot_) stated_.insert(record.key);
    } else {
      in.fail("an entry of a directory");
    }
  }
  if (!piece.end || !std::exchange(inSnapshot_, false)) return;
  for (const auto& one : dir.entryIteratorConst())
    if (!stated_.contains(one.key.view()) && !tree_.keeps(*one.value))
      tree_.entryDel(dir, one.key.view());
  stated_.clear();
}

// ---- ClientChanges -----------------------------------------------------------------------------

void ClientChanges::changed(std::string_view path, bool nested) {
  if (all_ || (nested && covered(path))) return;
  dirty_.insert(path);
}

/// Whether a child on the way is to be sent as a whole.
bool ClientChanges::covered(std::string_view path) const {
  if (dirty_.empty()) return false;
  Forma::BytesIn in(path);
  for (;;) {
    in.take(1);
    Forma::takeBytes(in);
    if (in.atEnd()) return false;
    if (dirty_.contains(path.substr(0, path.size() - in.rest().size()))) return true;
  }
}

void ClientChanges::allChanged() {
  all_ = true;
  dirty_.clear();
  sent_.clear();  // what it stated is stated again
  sentBytes_ = 0;
}

Message::Batch ClientChanges::takeBatch(const Forma::Entity& entity, std::string& records) {
  records.clear();
  if (all_) Forma::encodeContent(records, entity);
  else Forma::encodeChanges(records, entity, dirty_);
  Message::Batch batch;
  batch.number = ++number_;
  batch.renew = std::exchange(all_, false);
  batch.records = records;
  Sent& sent = sent_.emplace_back(Sent{number_, batch.renew, records.size(), {}});
  sent.paths.swap(dirty_);
  sentBytes_ += sent.bytes;
  return batch;
}

void ClientChanges::acknowledged(std::uint64_t number) {
  for (; !sent_.empty() && sent_.front().number <= number; sent_.pop_front()) {
    sentBytes_ -= sent_.front().bytes;
    if (!dirty_.empty()) continue;
    sent_.front().paths.clear();
    dirty_.swap(sent_.front().paths);  // its memory
  }
}

void ClientChanges::resendAfter(std::uint64_t last) {
  acknowledged(last);
  for (const Sent& sent : std::exchange(sent_, {})) {
    if (sent.all) allChanged();
    for (std::size_t i = 0; i < sent.paths.size(); ++i) changed(sent.paths[i], true);
  }
  sentBytes_ = 0;
}

}  // namespace Centrum
