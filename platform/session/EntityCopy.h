/// The copy of configuration from one tree of entities to another: the commit of a candidate, or
/// the start of one from what runs.
///
/// A copy makes the destination equal to the source and writes only what differs, so that readers
/// hear of exactly that. Entities whose type has a handler are copied by it, all others attribute
/// by attribute, what lies below them included.
///
/// Thread    one: that of the agent's event loop.
/// Errors    a write that is refused (Forma::Exception) is noted with its path, and the copy goes
///           on; so is what a notifiee raises of that kind, whose write stands. Other exceptions
///           leave at once. A copy that was left, or failed, may be made again: it goes on where
///           things still differ.
/// Cost      a walk over the source with a lookup for each element; over the destination, too,
///           where it has other elements.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/forma/Errors.h"
#include "platform/session/AttributeFilter.h"
#include "platform/session/CopyHandlers.h"
#include "platform/session/CopyPath.h"

namespace Session {

/// Something that could not be copied.
struct CopyFailure {
  std::string path;
  std::string text;
  bool operator==(const CopyFailure&) const = default;
};

/// The context of one copy: what handlers there are, and what failed.
class MPLS_EXPORT EntityCopy {
 public:
  /// `handlers` must outlive it.
  explicit EntityCopy(const CopyHandlers& handlers) : handlers_(handlers) {}
  EntityCopy(const EntityCopy&) = delete;
  EntityCopy& operator=(const EntityCopy&) = delete;

  /// Makes `dest` what `src` is, by the handler of its type if there is one. Whether all of it
  /// succeeded: if not, there is a failure more at least. Both must be of one type. Null raises
  /// NullException.
  bool copyEntity(const Forma::Ptr<Forma::Entity>& dest, const Forma::PtrConst<Forma::Entity>& src,
                  const CopyPath& path);
  /// The same; the path is the full name of `dest`.
  bool copyEntity(const Forma::Ptr<Forma::Entity>& dest, const Forma::PtrConst<Forma::Entity>& src);

  /// Copies the attributes and collections of `src`, apart from those that `filter` names, without
  /// asking for a handler of their type; for what lies below, copyEntity() is asked. Returns and
  /// raises as that does. A name in `filter` that the type does not have is a failure.
  ///
  /// References are made to lead to the same entities as those of `src`. A child that was made from
  /// other arguments is replaced. Shared tables are no part of a copy.
  bool copyAttributes(const Forma::Ptr<Forma::Entity>& dest,
                      const Forma::PtrConst<Forma::Entity>& src, const CopyPath& path,
                      const Forma::PtrConst<AttributeFilter>& filter = nullptr);

  /// Does one step of the copy. Whether it raised no Forma::Exception, which would be a failure at
  /// `path`.
  template <class Step>
  bool attempt(const CopyPath& path, Step step) {
    try {
      step();
      return true;
    } catch (const Forma::Exception& problem) {
      fail(path, problem.what());
      return false;
    }
  }
  void fail(const CopyPath& path, std::string_view text);

  /// How much failed.
  std::size_t failed() const { return failed_; }
  /// The first failures, up to failuresKept.
  const std::vector<CopyFailure>& failures() const { return failures_; }
  static constexpr std::size_t failuresKept = 100;

 private:
  const CopyHandlers& handlers_;
  std::vector<CopyFailure> failures_;
  std::size_t failed_ = 0;
};

}  // namespace Session
