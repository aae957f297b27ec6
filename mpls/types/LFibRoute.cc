#include "mpls/types/LFibRoute.h"

namespace Mpls {

FORMA_DEFINE_WIRE(FecId)
void formaPrint(std::string& out, const FecId& v) { Forma::print(out, v.value()); }
void formaParse(Forma::TextIn& in, FecId& v) { Forma::parse(in, v.value_); }

namespace LFib {

FORMA_DEFINE_VALUE(Route)

}  // namespace LFib
}  // namespace Mpls
