// The texts that operators type: FECs, router identifiers, LDP identifiers.
//
// The whole-text parser must accept a text exactly when the sequence parser reads all of it; what
// is accepted must print as a text that is read back equal; what is refused must change nothing.

#include <cstdint>
#include <cstdlib>

#include "ldp/LdpIdentifier.h"
#include "mpls/types/FwdEqvClass.h"
#include "mpls/types/RouterId.h"

namespace {

using Forma::String8;

void require(bool holds) {
  if (!holds) std::abort();
}

/// Compact parsers raise RangeException only; anything else ends the fuzzer.
template <class Parse>
bool accepted(Parse parse) {
  try {
    parse();
    return true;
  } catch (const Forma::RangeException&) {
    return false;
  }
}

template <class T>
void check(const String8& text) {
  T whole;
  const bool accepts = accepted([&] { whole.stringValueIs(text); });
  if (accepts) {
    T back;
    back.stringValueIs(whole.stringValue());
    require(back == whole);
  } else {
    require(whole == T());
  }

  T begun;
  auto at = text.begin();
  const bool begins = accepted([&] { Forma::sequenceToValue(at, text.end(), &begun); });
  require(at >= text.begin() && at <= text.end());
  require(begins || (at == text.begin() && begun == T()));
  require(accepts == (begins && at == text.end()));
  if (accepts) require(whole == begun);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const String8 text(std::string_view(reinterpret_cast<const char*>(data), size));
  check<Mpls::FwdEqvClass>(text);
  check<Mpls::RouterId>(text);
  check<Ldp::LdpIdentifier>(text);
  return 0;
}
