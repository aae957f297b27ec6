// Text and bytes of every registered value type. The low seven bits of the first byte choose the
// type, in the order of names; the eighth says whether text (0) or bytes (1) follow.
//
// What is refused must leave the value as it was; what is accepted must survive both forms.

#include <iterator>

#include "fuzz/Check.h"
#include "mpls/types/Registration.h"

namespace {

using Forma::AnyValue;

const Forma::TypeRegistry& registry() {
  static const Forma::TypeRegistry all = [] {
    Forma::TypeRegistry types;
    Mpls::registerTypes(types);
    return types;
  }();
  return all;
}

/// By the bytes: a double may hold a NaN, which does not equal itself.
bool same(const AnyValue& a, const AnyValue& b) { return a.wire() == b.wire(); }

/// A refusal is one of two errors, and leaves the value as it was.
template <class Assign>
bool takes(AnyValue& v, Assign assign) {
  const AnyValue before = v;
  try {
    assign(v);
    return true;
  } catch (const Forma::ParseException&) {
  } catch (const Forma::RangeException&) {
  }
  require(same(v, before));
  return false;
}

void checkWire(const AnyValue& v) {
  AnyValue back(registry(), v.type());
  back.wireIs(v.wire());
  require(same(back, v));
}

void checkText(const AnyValue& v) {
  AnyValue back(registry(), v.type());
  back.textIs(v.text());
  require(same(back, v));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const auto& types = registry().values();
  const auto place = static_cast<std::ptrdiff_t>((data[0] & 0x7f) % types.size());
  AnyValue v(registry(), std::next(types.begin(), place)->second);
  const std::string_view input = textOf(data + 1, size - 1);
  if ((data[0] & 0x80) != 0) {
    if (takes(v, [&](AnyValue& to) { to.wireIs(input); })) checkWire(v);
  } else if (takes(v, [&](AnyValue& to) { to.textIs(input); })) {
    checkText(v);
    checkWire(v);
  }
  return 0;
}
