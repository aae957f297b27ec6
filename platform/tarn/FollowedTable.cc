#include "platform/tarn/FollowedTable.h"

#include <exception>
#include <utility>

namespace Tarn {

FollowedTable::FollowedTable(Kiln::EventLoop& loop, std::unique_ptr<TableReader> reader,
                             TableListener* listener)
    : loop_(loop), reader_(std::move(reader)), listener_(listener) {}

void FollowedTable::close() {
  reader_ = nullptr;
  listener_ = nullptr;
}

/// Holds itself and the reader: a report may close it, too.
void FollowedTable::look(TableReader::Look how) {
  const auto self = shared_from_this();
  const bool isHeard = isListening();
  const auto reader = reader_;
  if (!reader || std::exchange(isLooking_, true)) return;
  KeyList keys;
  try {
    seen_ = Stamp::of(reader->view());
    // Without a listener, too, a table that others put in its place is looked for.
    if (isHeard || how == TableReader::Look::everywhere) reader->refresh(how, &keys);
    else reader->refreshSilently();
  } catch (...) {
    loop_.exceptionIs(std::current_exception());
  }
  isLooking_ = false;
  if (isHeard) tell(keys);
}

bool FollowedTable::isListening() const {
  try {
    return listener_ != nullptr && listener_->isListening();
  } catch (...) {
    loop_.exceptionIs(std::current_exception());
    return false;
  }
}

void FollowedTable::tell(const KeyList& keys) {
  for (std::size_t i = 0; i < keys.size() && listener_ != nullptr; ++i) {
    if (i + ahead < keys.size()) reader_->prefetch(keys[i + ahead]);
    try {
      listener_->changed(keys[i]);
    } catch (...) {
      loop_.exceptionIs(std::current_exception());
    }
  }
}

}  // namespace Tarn
