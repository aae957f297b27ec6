#include "platform/forma/ByteSet.h"

#include "platform/forma/Errors.h"
#include "platform/forma/Hash.h"

namespace Forma {

namespace {

std::uint32_t hashOfBytes(std::string_view bytes) {
  return static_cast<std::uint32_t>(hashBytes(bytes.data(), bytes.size()));
}

}  // namespace

/// Where the bytes are, or would be.
std::size_t ByteSet::placeOf(std::string_view bytes, std::uint32_t hash) const {
  const std::size_t mask = places_.size() - 1;
  std::size_t place = hash & mask;
  for (; places_[place] != none; place = (place + 1) & mask) {
    const Entry& entry = entries_[places_[place] - 1];
    if (entry.hash == hash && (*this)[places_[place] - 1] == bytes) break;
  }
  return place;
}

bool ByteSet::insert(std::string_view bytes) {
  if (places_.size() < 2 * (entries_.size() + 1)) grow();
  const std::uint32_t hash = hashOfBytes(bytes);
  const std::size_t place = placeOf(bytes, hash);
  if (places_[place] != none) return false;
  if (bytes.size() > UINT32_MAX) throwRangeException("ByteSet::bytes > 4294967295 not allowed");
  entries_.push_back({bytes_.size(), static_cast<std::uint32_t>(bytes.size()), hash});
  bytes_.append(bytes);
  places_[place] = static_cast<std::uint32_t>(entries_.size());
  return true;
}

bool ByteSet::contains(std::string_view bytes) const {
  return !entries_.empty() && places_[placeOf(bytes, hashOfBytes(bytes))] != none;
}

void ByteSet::grow() {
  const std::size_t size = places_.empty() ? 16 : 2 * places_.size();
  places_.assign(size, none);
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    std::size_t place = entries_[i].hash & (size - 1);
    while (places_[place] != none) place = (place + 1) & (size - 1);
    places_[place] = static_cast<std::uint32_t>(i + 1);
  }
}

void ByteSet::clear() {
  constexpr std::size_t burst = 1U << 20;
  if (bytes_.capacity() + places_.capacity() * sizeof places_[0] > burst) {
    ByteSet().swap(*this);
    return;
  }
  bytes_.clear();
  // Few entries in a large table: only their places need emptying.
  if (entries_.size() * 8 < places_.size())
    for (const Entry& entry : entries_) {
      std::size_t place = entry.hash & (places_.size() - 1);
      for (; places_[place] != none; place = (place + 1) & (places_.size() - 1))
        places_[place] = none;
    }
  else places_.assign(places_.size(), none);
  entries_.clear();
}

void ByteSet::swap(ByteSet& other) noexcept {
  bytes_.swap(other.bytes_);
  entries_.swap(other.entries_);
  places_.swap(other.places_);
}

}  // namespace Forma
