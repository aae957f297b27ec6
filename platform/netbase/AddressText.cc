#include "platform/netbase/AddressText.h"

#include <cstring>
#include <string>

#include "platform/forma/Errors.h"
#include "platform/netbase/IpGenAddr.h"

namespace Netbase::AddressText {

namespace {

constexpr std::size_t addressSize = 16;
constexpr std::size_t none = addressSize + 1;  ///< no "::" so far

/// The decimal text of each byte, and how long it is: one copy of four characters prints one.
constexpr auto decimals = [] {
  std::array<std::array<char, 4>, 256> texts{};
  for (unsigned v = 0; v < 256; ++v) {
    char& size = texts[v][3];
    if (v >= 100) texts[v][static_cast<std::size_t>(size++)] = static_cast<char>('0' + v / 100);
    if (v >= 10) texts[v][static_cast<std::size_t>(size++)] = static_cast<char>('0' + v / 10 % 10);
    texts[v][static_cast<std::size_t>(size++)] = static_cast<char>('0' + v % 10);
  }
  return texts;
}();

bool isHex(const char* at, const char* end) { return at != end && hexValue(*at) < 16; }
bool isColon(const char* at, const char* end) { return at != end && *at == ':'; }

/// Moves what was read behind "::" to the end, and fills the room with zeros.
bool spread(std::uint8_t* bytes, std::size_t size, std::size_t gap) {
  if (gap == none) return size == addressSize;
  if (size == addressSize) return false;  // "::" stands for one group at least
  const std::size_t behind = size - gap;
  std::memmove(bytes + addressSize - behind, bytes + gap, behind);
  std::memset(bytes + gap, 0, addressSize - size);
  return true;
}

/// One to four hexadecimal digits; null when there is none.
const char* readGroup(const char* at, const char* end, unsigned& group) {
  const char* const begin = at;
  group = 0;
  while (at - begin < 4 && isHex(at, end)) group = group << 4 | hexValue(*at++);
  return at == begin ? nullptr : at;
}

struct ZeroRun {
  std::size_t begin = 8;
  std::size_t size = 1;  ///< a single zero group is written out
};

/// The first of the longest runs of zero groups.
ZeroRun longestZeroRun(const std::array<unsigned, 8>& groups) {
  ZeroRun best;
  for (std::size_t i = 0; i < 8; ++i) {
    const std::size_t begin = i;
    while (i < 8 && groups[i] == 0) ++i;
    if (i - begin > best.size) best = {begin, i - begin};
  }
  return best;
}

char* writeGroup(char* out, unsigned group) {
  constexpr char digits[] = "0123456789abcdef";
  if (group > 0xfff) *out++ = digits[group >> 12];
  if (group > 0xff) *out++ = digits[group >> 8 & 15];
  if (group > 0xf) *out++ = digits[group >> 4 & 15];
  *out++ = digits[group & 15];
  return out;
}

/// ::ffff:0:0/96, RFC 4291 section 2.5.5.2.
bool isV4Mapped(const std::uint8_t* bytes) {
  constexpr std::uint8_t start[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
  return std::memcmp(bytes, start, sizeof start) == 0;
}

}  // namespace

const char* readV4(const char* at, const char* end, std::uint8_t* bytes) {
  for (int i = 0; i < 4; ++i) {
    if (i != 0 && (at == end || *at++ != '.')) return nullptr;
    const char* const begin = at;
    unsigned v = 0;
    while (at != end && at - begin < 3 && *at >= '0' && *at <= '9')
      v = v * 10 + static_cast<unsigned>(*at++ - '0');
    if (at == begin || v > 255 || (at - begin > 1 && *begin == '0')) return nullptr;
    bytes[i] = static_cast<std::uint8_t>(v);
  }
  return at;
}

const char* readV6(const char* at, const char* end, std::uint8_t* bytes) {
  std::size_t size = 0;
  std::size_t gap = none;
  bool more = true;  // a group has to follow
  if (isColon(at, end) && isColon(at + 1, end)) {
    gap = 0;
    at += 2;
    more = isHex(at, end);
  }
  while (more) {
    if (size == addressSize) return nullptr;
    unsigned group = 0;
    const char* const begin = at;
    at = readGroup(at, end, group);
    if (at == nullptr) return nullptr;
    if (at != end && *at == '.') {
      if (size > addressSize - 4) return nullptr;
      at = readV4(begin, end, bytes + size);
      return at != nullptr && spread(bytes, size + 4, gap) ? at : nullptr;
    }
    bytes[size++] = static_cast<std::uint8_t>(group >> 8);
    bytes[size++] = static_cast<std::uint8_t>(group);
    more = isColon(at, end);
    if (more && isColon(++at, end)) {
      if (gap != none) return nullptr;
      gap = size;
      more = isHex(++at, end);
    }
  }
  return spread(bytes, size, gap) ? at : nullptr;
}

const char* readEither(const char* at, const char* end, IpGenAddr& v) {
  const char* sign = at;
  while (isHex(sign, end) && sign - at < 4) ++sign;
  if (isColon(sign, end)) {
    Ip6Addr::Bytes bytes{};
    at = readV6(at, end, bytes.data());
    v = Ip6Addr(bytes);
  } else {
    IpAddr::Bytes bytes{};
    at = readV4(at, end, bytes.data());
    v = IpAddr(bytes);
  }
  return at;
}

char* writeV4(char* out, const std::uint8_t* bytes) {
  for (int i = 0; i < 4; ++i) {
    const std::array<char, 4>& text = decimals[bytes[i]];
    std::memcpy(out, text.data(), 3);
    out += text[3];
    *out++ = '.';
  }
  return out - 1;
}

char* writeV6(char* out, const std::uint8_t* bytes) {
  if (isV4Mapped(bytes)) {
    constexpr std::string_view start = "::ffff:";
    return writeV4(out + start.copy(out, start.size()), bytes + 12);
  }
  std::array<unsigned, 8> groups{};
  for (std::size_t i = 0; i < 8; ++i) groups[i] = unsigned{bytes[2 * i]} << 8 | bytes[2 * i + 1];
  const ZeroRun run = longestZeroRun(groups);
  for (std::size_t i = 0; i < 8; ++i) {
    if (i == run.begin) {
      *out++ = ':';
      i += run.size;
      if (i == 8) *out++ = ':';
      if (i == 8) break;
    }
    if (i != 0) *out++ = ':';
    out = writeGroup(out, groups[i]);
  }
  return out;
}

void refuse(std::string_view what, std::string_view text) {
  constexpr std::size_t mostShown = 60;
  std::string message = "Invalid ";
  message.append(what).append(" \"").append(text.substr(0, mostShown));
  Forma::throwRangeException(message.append(text.size() > mostShown ? "...\"" : "\""));
}

void refuse(std::string_view what, Kind kind, const Forma::TextIn& in) {
  const std::string_view text = in.rest();
  const char* at = text.data();
  while (goesOn(kind, at, text.data() + text.size())) ++at;
  const auto size = static_cast<std::size_t>(at - text.data());
  refuse(what, size != 0 ? text.substr(0, size) : in.fieldText());
}

}  // namespace Netbase::AddressText
