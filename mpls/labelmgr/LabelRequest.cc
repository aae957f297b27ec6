#include "mpls/labelmgr/LabelRequest.h"

namespace Mpls {

FORMA_DEFINE_WIRE(LabelRequest)
void formaPrint(std::string& out, const LabelRequest& v) { Forma::print(out, v.id()); }
void formaParse(Forma::TextIn& in, LabelRequest& v) { Forma::parse(in, v.id_); }

}  // namespace Mpls
