// The texts that operators type: FECs, router identifiers, LDP identifiers.
//
// The whole-text parser must accept a text exactly when the sequence parser reads all of it; what
// is accepted must print as a text that is read back equal; what is refused must change nothing.

#include "fuzz/Check.h"
#include "ldp/LdpIdentifier.h"
#include "mpls/types/FwdEqvClass.h"
#include "mpls/types/RouterId.h"

namespace {

using Forma::String8;

template <class T>
void check(const String8& text) {
  T whole;
  const bool accepts = accepted<Forma::RangeException>([&] { whole.stringValueIs(text); });
  if (accepts) {
    T back;
    back.stringValueIs(whole.stringValue());
    require(back == whole);
  } else {
    require(whole == T());
  }

  T begun;
  auto at = text.begin();
  const bool begins =
      accepted<Forma::RangeException>([&] { Forma::sequenceToValue(at, text.end(), &begun); });
  require(at >= text.begin() && at <= text.end());
  require(begins || (at == text.begin() && begun == T()));
  require(accepts == (begins && at == text.end()));
  if (accepts) require(whole == begun);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const String8 text(textOf(data, size));
  check<Mpls::FwdEqvClass>(text);
  check<Mpls::RouterId>(text);
  check<Ldp::LdpIdentifier>(text);
  return 0;
}
