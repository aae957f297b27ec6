/// Entities as a stream of attribute changes (AttributeLog.h): written from an original, applied to
/// copies of it.
///
/// Where an element lies below an entity is a path: for each step from the top, the member and the
/// key in wire form behind its length, as in a record of the stream.
///
/// Thread    that of the entities.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/forma/AttributeLog.h"
#include "platform/forma/ByteSet.h"
#include "platform/forma/EntityType.h"

namespace Forma {

/// Appends the records of all that `entity` holds. Directory entries are not content.
MPLS_EXPORT void encodeContent(std::string& out, const Entity& entity);

/// Appends the path from `top` to the element of `member` of `entity` at `key` (null for members
/// without keys). `top` must be the entity or one above it.
MPLS_EXPORT void encodePath(std::string& out, const Entity& top, const Entity& entity,
                            const MemberType& member, const void* key);

/// Appends what is at each of the paths below `top`: the value, the whole child, or that there is
/// none. What lies below a child that is not there is left out.
MPLS_EXPORT void encodeChanges(std::string& out, const Entity& top, const ByteSet& paths);

/// Makes entities what a stream says, without telling anybody; then tells each key that changed
/// once. A value that its type refuses is left out, and counted.
class MPLS_EXPORT ContentApplier {
 public:
  /// Applies records to `top`. Between two calls of tell() a stream states each key once, children
  /// that it passes through apart. Raises ParseException, before anything is changed, when the
  /// records are not whole. Returns how many keys changed.
  std::size_t apply(Entity& top, std::string_view records);

  /// Begins a snapshot of `top`: the records that are applied to it up to endSnapshot state all
  /// that there is.
  void beginSnapshot(Entity& top);
  /// Removes what the snapshot did not state. Returns how many keys changed.
  std::size_t endSnapshot(Entity& top);
  /// Forgets that one was begun.
  void dropSnapshot(const Entity& top);

  /// Notes a change that was made otherwise.
  void note(Entity& entity, const MemberType& member, std::string_view key);

  using OnException = std::function<void(std::exception_ptr)>;
  /// Tells what changed, in order, and forgets it. Exceptions of notifiees go to `onException`.
  void tell(const OnException& onException);
  bool changed() const { return !changes_.list.empty(); }

  /// Records that were left out: values, keys or arguments that their types refuse.
  std::uint64_t refused() const { return refused_; }
  /// What was wrong with the newest of them.
  const std::string& refusal() const { return refusal_; }

 private:
  class Walk;
  class Sweep;
  struct Snapshot {
    const Entity* top;
    bool wasEmpty;
    ByteSet stated;  // paths
  };

  bool element(Entity& entity, const MemberType& member, const void* key, std::string_view value);
  bool makeEqual(Entity& element, std::string_view content);
  std::size_t applyNested(Entity& element, std::string_view content);
  Snapshot* snapshotOf(const Entity& top);
  void refuse(const Entity& entity, std::string_view problem);

  struct Change {
    Entity* entity;
    const MemberType* member;
    std::size_t key;  // its place in keys_
    std::size_t keySize;
  };
  struct Changes {
    std::vector<Change> list;
    std::string keys;
    std::vector<Ptr<Entity>> entities;  // keeps those of the list
  };
  Changes changes_;
  ByteSet repeatable_;  // those of changes_ that may be noted again: entity, member, key
  std::vector<std::unique_ptr<Snapshot>> snapshots_;
  std::string scratch_;
  std::string noted_;
  unsigned nested_ = 0;
  std::uint64_t refused_ = 0;
  std::string refusal_;
};

}  // namespace Forma
