/// Reads the bytes as an address, which must be accepted exactly when the C library accepts it and
/// with the same result, and as a prefix, which must be what its text says. How other texts and
/// wire forms of networking types are read is for RecordFuzz.
#include <arpa/inet.h>

#include <string>

#include "fuzz/Check.h"
#include "platform/netbase/IpGenPrefix.h"

namespace {

using namespace Netbase;

/// What the library reads is what our readers of that family and of either family read.
template <class T>
void checkAddress(int family, const std::string& text) {
  typename T::Bytes bytes;
  const bool taken = inet_pton(family, text.c_str(), bytes.data()) == 1;
  const auto ours = T::fromText(text);
  require(ours.has_value() == taken);
  if (taken) require(*ours == T(bytes) && IpGenAddr::fromText(text) == IpGenAddr(*ours));
}

/// A prefix is its address and its length, and has no bits behind that.
void checkPrefix(const std::string& text) {
  const auto slash = text.find('/');
  const auto address = IpGenAddr::fromText(text.substr(0, slash));
  const auto ours = IpGenPrefix::fromText(text);
  if (!ours || !ours->isSet()) return;
  require(slash != std::string::npos && address == ours->address());
  require(text.substr(slash + 1) == std::to_string(ours->length()));
  require(IpGenPrefix(*address, ours->length()) == *ours && ours->contains(*address));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(textOf(data, size));
  if (text.find('\0') != std::string::npos) return 0;  // the library would stop there
  checkAddress<IpAddr>(AF_INET, text);
  checkAddress<Ip6Addr>(AF_INET6, text);
  checkPrefix(text);
  return 0;
}
