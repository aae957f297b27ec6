/// Where a copy is, as a text that is put together only when somebody asks for it: for a trace, or
/// for what failed. A tree of a million entities is copied without making a million texts.
#pragma once

#include <concepts>
#include <string>
#include <string_view>

#include "platform/Export.h"

namespace Forma {
class Entity;
}

namespace Session {

/// The path of an entity. Holds views of what it is made from: lives on the stack of the copy.
///
/// A child has the path of its parent, ".", the member, "/" and its name: `input.route/KEY`. What
/// stands alone in a member has no name there (`commonLib.localLabelBindingTable`), an entry of a
/// directory no member (`routing/mpls`).
///
/// Thread    that of the copy.
class MPLS_EXPORT CopyPath {
 public:
  /// The path that the text says. Implicit: a text is a path.
  template <class Text>
  requires std::convertible_to<const Text&, std::string_view> CopyPath(const Text& text)
      : last_(text) {}
  /// What is in a member: all of it, or `element`. An empty `member` is that of a directory.
  CopyPath(const CopyPath& above, std::string_view member, const Forma::Entity* element = nullptr)
      : above_(&above), last_(member), element_(element) {}

  std::string text() const;

 private:
  const CopyPath* above_ = nullptr;
  std::string_view last_;
  const Forma::Entity* element_ = nullptr;
};

}  // namespace Session
