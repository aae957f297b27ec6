#include "mpls/labelmgr/LabelBlock.h"

namespace Mpls {

FORMA_DEFINE_WIRE(LabelBlock)
void formaPrint(std::string& out, const LabelBlock& v) { Forma::print(out, v.blockStart()); }
void formaParse(Forma::TextIn& in, LabelBlock& v) { Forma::parse(in, v.blockStart_); }

}  // namespace Mpls
