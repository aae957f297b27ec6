#include "platform/netbase/MplsTapIntfConstants.h"

namespace Netbase {

namespace {

/// A record without fields.
constexpr std::string_view text = "Value('Netbase::MplsTapIntfConstants', ** {})";

}  // namespace

void formaPrint(std::string& out, const MplsTapIntfConstants& /*v*/) { out.append(text); }
void formaParse(Forma::TextIn& in, MplsTapIntfConstants& /*v*/) { in.take(text); }
void formaEncode(std::string& /*out*/, const MplsTapIntfConstants& /*v*/) {}
void formaDecode(Forma::BytesIn& /*in*/, MplsTapIntfConstants& /*v*/) {}

}  // namespace Netbase
