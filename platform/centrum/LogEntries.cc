#include "platform/centrum/LogEntries.h"

#include "platform/forma/AttributeLog.h"
#include "platform/forma/Errors.h"
#include "platform/forma/Hash.h"

namespace Centrum {

const std::string_view logBegin = "centrum log 1\n";

namespace {

constexpr std::size_t headSize = 4 + 4 + 8;

std::uint32_t lengthSum(std::uint32_t length) {
  return static_cast<std::uint32_t>(Forma::mix(length, 0));
}

std::string headOf(std::string_view entry) {
  const auto length = static_cast<std::uint32_t>(entry.size());
  std::string head;
  Forma::encode(head, length);
  Forma::encode(head, lengthSum(length));
  Forma::encode(head, Forma::hashBytes(entry.data(), entry.size()));
  return head;
}

}  // namespace

EntryWriter::EntryWriter(std::string& out, EntryKind kind) : out_(out), start_(out.size()) {
  out_.append(headSize, '\0');
  out_.push_back(static_cast<char>(kind));
}

EntryWriter::~EntryWriter() {
  out_.replace(start_, headSize, headOf(std::string_view(out_).substr(start_ + headSize)));
}

void EntryWriter::addOne(const std::string& text) { Forma::appendBytes(out_, text); }

EntryReader::EntryReader(std::string_view content) : content_(content), position_(logBegin.size()) {
  if (!content.starts_with(logBegin)) Forma::throwParseException("it is no log of this server");
}

bool EntryReader::next(std::string_view& entry) {
  const std::string_view rest = content_.substr(position_);
  if (rest.size() < headSize) return false;
  Forma::BytesIn in(rest);
  const auto length = static_cast<std::uint32_t>(in.take(4));
  bool whole = in.take(4) == lengthSum(length);
  const std::uint64_t sum = in.take(8);
  if (whole && in.rest().size() < length) return false;
  if (whole) entry = in.takeBytes(length);
  whole = whole && length != 0 && sum == Forma::hashBytes(entry.data(), entry.size());
  if (!whole)
    Forma::throwParseException("it is damaged at byte " + std::to_string(position_) + " of " +
                               std::to_string(content_.size()));
  position_ += headSize + length;
  return true;
}

}  // namespace Centrum
