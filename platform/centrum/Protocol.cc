#include "platform/centrum/Protocol.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <concepts>
#include <cstring>
#include <tuple>
#include <utility>

#include "platform/forma/Errors.h"

namespace Centrum {

namespace {

using Forma::BytesIn;
using namespace Message;

constexpr std::size_t lengthSize = 4;
/// A reader keeps this much memory when nothing is pending; more goes back.
constexpr std::size_t idleSize = 64U << 10;

/// The byte that says what a frame is: the place in Any, from 1.
constexpr std::array<std::string_view, std::variant_size_v<Any>> kindNames{
    "Hello",   "Mount", "Unmount", "Batch", "Remove",  "Beat", "Welcome",
    "Mounted", "Delta", "Mark",    "Owner", "Removed", "Ack",  "Bye"};

// ---- Fields, in the order of the wire; records apart -------------------------------------------

template <class T, class M>
concept Is = std::same_as<std::remove_const_t<T>, M>;

// clang-format off
template <Is<Hello> M> auto fieldsOf(M& m) { return std::tie(m.version, m.name); }
template <Is<Mount> M> auto fieldsOf(M& m) {
  return std::tie(m.request, m.path, m.typeName, m.schema, m.mode, m.instance, m.epoch, m.since);
}
template <Is<Unmount> M> auto fieldsOf(M& m) { return std::tie(m.path); }
template <Is<Batch> M> auto fieldsOf(M& m) { return std::tie(m.path, m.number, m.more, m.renew); }
template <Is<Remove> M> auto fieldsOf(M& m) { return std::tie(m.path); }
template <Is<Beat> M> auto fieldsOf(M& m) { return std::tie(m.sequence); }
template <Is<Welcome> M> auto fieldsOf(M& m) { return std::tie(m.version, m.epoch, m.sequence); }
template <Is<Mounted> M> auto fieldsOf(M& m) {
  return std::tie(m.request, m.status, m.path, m.lastBatch, m.instanceKnown, m.text, m.writer);
}
template <Is<Delta> M> auto fieldsOf(M& m) { return std::tie(m.path, m.begin, m.end, m.more); }
template <Is<Mark> M> auto fieldsOf(M& m) { return std::tie(m.sequence, m.complete); }
template <Is<Owner> M> auto fieldsOf(M& m) {
  return std::tie(m.path, m.present, m.age, m.holder);
}
template <Is<Removed> M> auto fieldsOf(M& m) { return std::tie(m.path); }
template <Is<Ack> M> auto fieldsOf(M& m) { return std::tie(m.path, m.number); }
template <Is<Bye> M> auto fieldsOf(M& m) { return std::tie(m.reason); }
// clang-format on

template <class M>
concept HasRecords = requires(M m) {
  m.records;
};

// ---- Writing -----------------------------------------------------------------------------------

template <class M, std::size_t... i>
constexpr std::uint8_t kindAmong(std::index_sequence<i...> /*places*/) {
  return static_cast<std::uint8_t>(
      ((std::same_as<M, std::variant_alternative_t<i, Any>> ? i + 1 : 0) + ...));
}
template <class M>
constexpr std::uint8_t kindOf = kindAmong<M>(std::make_index_sequence<kindNames.size()>());

std::string nameOf(std::uint8_t kind) { return std::string(kindNames[kind - 1U]); }

/// Appends one frame; leaves `out` as it was when it would be too long.
template <class M>
void appendOne(std::string& out, const M& m) {
  const std::size_t start = out.size();
  out.append(lengthSize, '\0');
  Forma::encode(out, kindOf<M>);
  std::apply([&out](const auto&... field) { (Forma::encode(out, field), ...); }, fieldsOf(m));
  if constexpr (HasRecords<M>) out.append(m.records);
  std::size_t length = out.size() - start - lengthSize;
  if (length > frameLimit) {
    out.resize(start);
    Forma::throwRangeException(nameOf(kindOf<M>) + " frame: " + std::to_string(length) +
                               " bytes, more than " + std::to_string(frameLimit));
  }
  for (std::size_t i = 0; i < lengthSize; ++i, length >>= 8)
    out[start + i] = static_cast<char>(length & 0xff);
}

/// What the records of one frame may be long.
template <HasRecords M>
constexpr std::size_t recordsLimit() {
  constexpr std::size_t fields = std::same_as<M, Batch> ? 4 + 8 + 1 + 1 : 4 + 1 + 1 + 1;
  return frameLimit - sizeof(std::uint8_t) - fields;
}

/// One frame of those that a message is cut into.
Batch pieceOf(const Batch& whole, std::string_view records, bool /*first*/, bool last) {
  Batch piece = whole;
  piece.more = whole.more || !last;
  piece.records = records;
  return piece;
}
Delta pieceOf(const Delta& whole, std::string_view records, bool first, bool last) {
  return {whole.path, whole.begin && first, whole.end && last, records, whole.more || !last};
}

template <class M>
void append(std::string& out, const M& m) {
  if constexpr (!HasRecords<M>) {
    appendOne(out, m);
  } else {
    std::string_view rest = m.records;
    for (bool first = true; first || !rest.empty(); first = false) {
      const std::string_view records = rest.substr(0, recordsLimit<M>());
      rest.remove_prefix(records.size());
      appendOne(out, pieceOf(m, records, first, rest.empty()));
    }
  }
}

// ---- Reading -----------------------------------------------------------------------------------

template <class M>
void check(const M& /*m*/, const BytesIn& /*in*/) {}
void check(const Mount& m, const BytesIn& in) {
  if (m.mode > static_cast<std::uint8_t>(MountMode::replace)) in.fail("a mount mode of 0 to 2");
  if (m.instance == 0) in.fail("an instance other than 0");
}
void check(const Batch& m, const BytesIn& in) {
  if (m.number == 0) in.fail("a batch number of 1 or more");
}
void check(const Mounted& m, const BytesIn& in) {
  if (m.status > mountSuccess_) in.fail("a mount status of 0 to 4");
}
void check(const Owner& m, const BytesIn& in) {
  if (!std::isfinite(m.age) || m.age < 0) in.fail("an age of 0 or more seconds");
}

template <class M>
void decodeAs(BytesIn in, Any& out) {
  M& m = out.emplace<M>();
  std::apply([&in](auto&... field) { (Forma::decode(in, field), ...); }, fieldsOf(m));
  if constexpr (HasRecords<M>) {
    m.records = in.rest();
  } else if (!in.atEnd()) {
    in.fail("no more fields");
  }
  check(m, in);
}

template <std::size_t... i>
constexpr auto decodersOf(std::index_sequence<i...> /*places*/) {
  return std::array{&decodeAs<std::variant_alternative_t<i, Any>>...};
}
constexpr auto decoders = decodersOf(std::make_index_sequence<kindNames.size()>());

void decodeFrame(std::string_view frame, Any& out) {
  const auto kind = static_cast<std::uint8_t>(frame.front());
  if (kind == 0 || kind > decoders.size())
    Forma::throwParseException("frame of unknown kind " + std::to_string(kind));
  try {
    decoders[kind - 1U](BytesIn(frame.substr(1)), out);
  } catch (const Forma::ParseException& problem) {
    Forma::throwParseException(nameOf(kind) + " frame: " + problem.what());
  }
}

}  // namespace

void appendFrame(std::string& out, const Message::Any& message) {
  std::visit([&out](const auto& m) { append(out, m); }, message);
}

/// What is pending moves to the front only when there is no room behind it, so that a byte moves
/// once at most; the memory doubles, so that growth costs each byte O(1) too.
char* FrameReader::room(std::size_t size) {
  const std::size_t kept = pending();
  if (kept == 0 && bytes_.size() > std::max(idleSize, size)) std::string().swap(bytes_);
  if (kept == 0) begin_ = end_ = 0;
  if (bytes_.size() - end_ < size) {
    std::memmove(bytes_.data(), bytes_.data() + begin_, kept);
    begin_ = 0;
    end_ = kept;
    const std::size_t most = lengthSize + frameLimit + size;
    if (bytes_.size() - end_ < size)
      bytes_.resize(std::max(kept + size, std::min(2 * bytes_.size(), most)));
  }
  return bytes_.data() + end_;
}

void FrameReader::added(std::size_t count) { end_ += count; }

bool FrameReader::next(Message::Any& out) {
  if (pending() < lengthSize) return false;
  BytesIn in(std::string_view(bytes_).substr(begin_, pending()));
  const auto length = static_cast<std::size_t>(in.take(lengthSize));
  if (length == 0) Forma::throwParseException("frame of no bytes");
  if (length > frameLimit)
    Forma::throwParseException("frame of " + std::to_string(length) + " bytes, more than " +
                               std::to_string(frameLimit));
  if (in.rest().size() < length) return false;
  decodeFrame(in.takeBytes(length), out);
  begin_ += lengthSize + length;
  return true;
}

}  // namespace Centrum
