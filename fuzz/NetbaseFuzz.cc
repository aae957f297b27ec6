/// Reads the bytes as text and as wire form of every networking type. What is accepted must come
/// back equal from its text and from its wire form; addresses must be accepted exactly when the C
/// library accepts them, with the same result.
#include <arpa/inet.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/netbase/EthAddr.h"
#include "platform/netbase/GenericIntfId.h"
#include "platform/netbase/IpGenPrefix.h"
#include "platform/netbase/MplsLabel.h"
#include "platform/netbase/MplsLabelAction.h"
#include "platform/netbase/NetU16.h"
#include "platform/netbase/NetU32.h"
#include "platform/netbase/VlanId.h"
#include "platform/netbase/VrfName.h"

namespace {

using namespace Netbase;

void require(bool holds) {
  if (!holds) std::abort();
}

/// An accepted value survives its own text and wire form, and keeps its hash.
template <class T>
void checkForms(const T& v) {
  T fromText{};
  Forma::strepToValue(Forma::valueToStrep(v), &fromText);
  require(fromText == v && Forma::hashOf(fromText) == Forma::hashOf(v));

  std::string wire;
  Forma::encode(wire, v);
  Forma::BytesIn in(wire);
  T fromWire{};
  Forma::decode(in, fromWire);
  require(fromWire == v && in.atEnd());
}

/// A refusal is one of our errors, and leaves the value alone.
template <class T, class Read>
void check(Read read) {
  T v{};
  try {
    read(v);
  } catch (const Forma::Exception&) {
    require(v == T());
    return;
  }
  checkForms(v);
}

template <class T>
void checkType(std::string_view bytes) {
  check<T>([&](T& v) {
    Forma::TextIn in(bytes);
    Forma::parse(in, v);
    require(in.position() != bytes.data());
  });
  check<T>([&](T& v) {
    Forma::BytesIn in(bytes);
    Forma::decode(in, v);
  });
}

template <class T>
void checkAgainstLibrary(int family, const std::string& text) {
  typename T::Bytes bytes;
  const bool accepted = inet_pton(family, text.c_str(), bytes.data()) == 1;
  const auto ours = T::fromText(text);
  require(ours.has_value() == accepted);
  if (!accepted) return;
  require(*ours == T(bytes));
  require(IpGenAddr::fromText(text) == IpGenAddr(T(bytes)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  checkType<AddressFamily>(bytes);
  checkType<MplsLabelAction>(bytes);
  checkType<MplsLabel>(bytes);
  checkType<VlanId>(bytes);
  checkType<NetU16>(bytes);
  checkType<NetU32>(bytes);
  checkType<IpAddr>(bytes);
  checkType<Ip6Addr>(bytes);
  checkType<IpGenAddr>(bytes);
  checkType<IpGenPrefix>(bytes);
  checkType<EthAddr>(bytes);
  checkType<IntfId>(bytes);
  checkType<GenericIntfId>(bytes);
  checkType<L3::VrfName>(bytes);
  if (bytes.find('\0') == std::string_view::npos) {  // the library would stop there
    checkAgainstLibrary<IpAddr>(AF_INET, std::string(bytes));
    checkAgainstLibrary<Ip6Addr>(AF_INET6, std::string(bytes));
  }
  return 0;
}
