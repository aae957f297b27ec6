/// The names of the tables of label bindings that agents share.
#pragma once

#include "mpls/types/Namespace.h"

namespace Mpls {

struct MPLS_EXPORT CommonLibTableNames {
  /// The bindings that this router made itself.
  static const Forma::String8 localLabelBindingTable;
  /// The collection of tables, one for each peer, of the bindings learnt from it.
  static const Forma::String8 peerLabelBindingTableColl;
};

}  // namespace Mpls
