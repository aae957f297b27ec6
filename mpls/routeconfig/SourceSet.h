/// The sources that configure one key of the route merge.
#pragma once

#include "mpls/types/RouteKey.h"
#include "platform/forma/HashMap.h"
#include "platform/forma/String8.h"

namespace Mpls {

/// A set of source names, kept for each key that at least one source configures: as good as always
/// one name, which therefore stands in the object itself. There may be a million.
class SourceSet {
 public:
  SourceSet() = default;
  explicit SourceSet(RouteKey key) : key_(key) {}

  const RouteKey& key() const { return key_; }
  std::size_t sources() const { return (hasFirst_ ? 1U : 0U) + others_.size(); }
  bool source(const Forma::Name& name) const {
    return (hasFirst_ && first_ == name) || others_.contains(name);
  }
  /// One of the sources; the only one where there is one.
  const Forma::Name& anySource() const { return first_; }
  /// Calls `visit(name)` for each source, in no order to rely on.
  template <class Visit>
  void forEachSource(Visit visit) const {
    if (hasFirst_) visit(first_);
    others_.forEach([&](const Forma::Name& name, bool) { visit(name); });
  }

  void sourceIs(const Forma::Name& name) {
    if (source(name)) return;
    if (hasFirst_) {
      others_.put(name, true);
    } else {
      first_ = name;
      hasFirst_ = true;
    }
  }
  void sourceDel(const Forma::Name& name) {
    if (!hasFirst_ || !(first_ == name)) {
      others_.erase(name);
    } else if (others_.empty()) {
      first_ = Forma::Name();
      hasFirst_ = false;
    } else {
      for (const auto& one : others_) first_ = one.key;
      others_.erase(first_);
    }
  }

 private:
  RouteKey key_;
  Forma::Name first_;
  Forma::HashMap<Forma::Name, bool> others_;  // empty while there is no first
  bool hasFirst_ = false;                     // a name may be empty
};

}  // namespace Mpls

/// Its fields may all be moved by copying bytes, so the million may grow by mremap.
template <>
inline constexpr bool Forma::isRelocatable<Mpls::SourceSet> = true;
