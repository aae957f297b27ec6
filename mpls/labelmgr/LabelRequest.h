/// What a client agent asks the label manager for.
#pragma once

#include <utility>

#include "mpls/types/Namespace.h"

namespace Mpls {

/// A request for one block of labels. Requests of one identifier are one request.
///
/// Text      that of the identifier.
class LabelRequest {
  FORMA_VALUE(Mpls::LabelRequest, id)
  /// Any text of the client's choice.
  FORMA_FIELD(Forma::String8, id)
 public:
  LabelRequest() = default;
  explicit LabelRequest(Forma::String8 id) : id_(std::move(id)) {}
};

}  // namespace Mpls
