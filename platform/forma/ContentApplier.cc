#include <cstdint>
#include <cstring>
#include <utility>

#include "platform/forma/Content.h"
#include "platform/forma/Errors.h"
#include "platform/forma/WireForm.h"

namespace Forma {

/// Removes what was not stated.
class ContentApplier::Sweep {
 public:
  /// `path` is that of the entity which will be swept.
  Sweep(ContentApplier& all, const ByteSet& stated, std::string path = {})
      : all_(all), stated_(stated), path_(std::move(path)) {}

  /// Whether anything in `entity` changed.
  bool run(Entity& entity) {
    const std::size_t before = changed_;
    for (const MemberType& member : entity.formaType().members)
      if (isContent(member.kind)) sweep(entity, member);
    return changed_ != before;
  }
  std::size_t changed() const { return changed_; }

 private:
  void sweep(Entity& entity, const MemberType& member) {
    if (member.kind == MemberKind::attribute && member.replica.isInitial(entity)) return;
    const bool children = member.kind == MemberKind::children || member.kind == MemberKind::child;
    std::vector<std::string> gone;
    member.each(entity, [&](const void* key, const void* element) {
      std::string bytes;
      if (key) member.replica.key->encode(bytes, key);
      const std::size_t before = path_.size();
      path_.push_back(static_cast<char>(member.index));
      appendBytes(path_, bytes);
      if (!stated_.contains(path_)) {
        gone.push_back(std::move(bytes));
      } else if (children) {
        auto& child = *const_cast<Entity*>(static_cast<const Entity*>(element));
        if (run(child) && member.surfaces) all_.note(entity, member, bytes);
      }
      path_.resize(before);
    });
    for (const std::string& bytes : gone) {
      const WireValue key(member.replica.key, bytes);
      if (!member.replica.drop(entity, key.get())) continue;
      ++changed_;
      all_.note(entity, member, bytes);
    }
  }

  ContentApplier& all_;
  const ByteSet& stated_;
  std::string path_;
  std::size_t changed_ = 0;
};

/// One pass of records over an entity.
class ContentApplier::Walk {
 public:
  Walk(ContentApplier& all, Entity& top)
      : all_(all),
        snapshot_(all.snapshotOf(top)),
        inside_{{&top, nullptr, {}, false, false, false, 0}} {}

  std::size_t run(std::string_view records) {
    for (BytesIn in(records); !in.atEnd();) record(takeRecord(in));
    return changed_;
  }

 private:
  struct Inside {
    Entity* entity;
    const MemberType* member;  // of the parent
    std::string_view key;
    bool made;     // by these records: nobody can have heard of it
    bool renewed;  // what is not stated up to its end is gone
    bool changed;  // something in it
    std::size_t path;
  };

  void record(const LogRecord& one) {
    if (one.op == LogOp::end) return skipped_ != 0 ? void(--skipped_) : leave();
    const bool enters = one.op == LogOp::create || one.op == LogOp::renew;
    if (skipped_ != 0) {
      if (enters) ++skipped_;
      return;
    }
    const MemberType* member = entity().formaType().member(one.member);
    if (!member || !isContent(member->kind)) {
      if (enters) ++skipped_;
      return all_.refuse(entity(), "member " + std::to_string(one.member) + " is not known");
    }
    try {
      take(one, *member);
    } catch (const Exception& problem) {
      if (enters) ++skipped_;
      all_.refuse(entity(), std::string(member->name) + ": " + problem.what());
    }
  }

  void take(const LogRecord& one, const MemberType& member) {
    const WireValue key(member.replica.key, one.key);
    if (one.op == LogOp::erase) {
      if (member.replica.drop(entity(), key.get())) changedAt(member, one.key);
      return;
    }
    if (one.op != LogOp::put) return enter(one, member, key.get());
    bool changed = false;
    if (isReference(member.kind)) {
      changed = all_.element(entity(), member, key.get(), one.value);
    } else if (member.replica.store) {
      const WireValue value(member.replica.value, one.value);
      changed = member.replica.store(entity(), key.get(), value.get());
    } else {
      throwParseException("a value for a child");
    }
    state(one);
    if (changed) changedAt(member, one.key);
  }

  void enter(const LogRecord& one, const MemberType& member, const void* key) {
    if (!member.replica.child) throwParseException("a child for a value");
    bool made = false;
    BytesIn arguments(one.value);
    Entity* const child = member.replica.child(entity(), key, arguments, made);
    if (made) changedAt(member, one.key);
    const std::size_t before = path_.size();
    state(one);
    const bool fresh = made || inside_.back().made;
    const bool renewed = one.op == LogOp::renew && !fresh && !renewing_;
    renewing_ |= renewed;
    appendStep(one);
    inside_.push_back({child, &member, one.key, fresh, renewed, false, before});
  }

  void leave() {
    Inside left = inside_.back();
    inside_.pop_back();
    if (left.renewed) {
      Sweep sweep(all_, stated_, path_);
      left.changed |= sweep.run(*left.entity);
      changed_ += sweep.changed();
      stated_.clear();
      renewing_ = false;
    }
    path_.resize(left.path);
    if (left.changed && !left.made && left.member->surfaces) {
      inside_.back().changed = true;
      note(*left.member, left.key);
    }
  }

  void changedAt(const MemberType& member, std::string_view key) {
    ++changed_;
    inside_.back().changed = true;
    note(member, key);
  }
  void note(const MemberType& member, std::string_view key) {
    if (!inside_.back().made) all_.note(entity(), member, key);
  }

  /// The snapshot, or the child that is renewed, has this key.
  void state(const LogRecord& one) {
    if (!tracks()) return;
    const std::size_t before = path_.size();
    appendStep(one);
    if (snapshot_) snapshot_->stated.insert(path_);
    if (renewing_) stated_.insert(path_);
    path_.resize(before);
  }
  bool tracks() const { return snapshot_ || renewing_; }
  void appendStep(const LogRecord& one) {
    if (!tracks()) return;
    path_.push_back(static_cast<char>(one.member));
    appendBytes(path_, one.key);
  }

  Entity& entity() { return *inside_.back().entity; }

  ContentApplier& all_;
  Snapshot* snapshot_;
  std::vector<Inside> inside_;
  std::string path_;       // of the innermost child, while what is stated is noted
  bool renewing_ = false;  // in the outermost child that is renewed
  ByteSet stated_;         // in that
  unsigned skipped_ = 0;   // depth below a child that was refused
  std::size_t changed_ = 0;
};

namespace {

bool isEmpty(const Entity& entity) {
  for (const MemberType& member : entity.formaType().members)
    if (member.kind == MemberKind::attribute
            ? !member.replica.isInitial(entity)
            : member.kind != MemberKind::table && member.size(entity) != 0)
      return false;
  return true;
}

}  // namespace

std::size_t ContentApplier::apply(Entity& top, std::string_view records) {
  checkRecords(records);
  return Walk(*this, top).run(records);
}

/// An element of a reference collection: one value under its key. The one that is there is kept,
/// and made equal, unless it was made from other arguments.
bool ContentApplier::element(Entity& entity, const MemberType& member, const void* key,
                             std::string_view value) {
  BytesIn in(value);
  const std::string_view arguments = takeBytes(in);
  const std::string_view content = in.rest();
  if (const void* found = member.find(entity, key)) {
    auto& there = *const_cast<Entity*>(static_cast<const Entity*>(found));
    scratch_.clear();
    member.replica.encodeArguments(there, scratch_);
    if (scratch_ == arguments) return makeEqual(there, content);
  }
  BytesIn from(arguments);
  const Ptr<Entity> made = member.replica.makeElement(from);
  applyNested(*made, content);
  if (entity.formaReplica() == Replica::copy) made->formaReplicaIs(Replica::copy);
  member.replica.file(entity, key, *made);
  return true;
}

bool ContentApplier::makeEqual(Entity& element, std::string_view content) {
  scratch_.clear();
  encodeContent(scratch_, element);
  if (scratch_ == content) return false;
  beginSnapshot(element);
  try {
    std::size_t changed = applyNested(element, content);
    changed += endSnapshot(element);
    return changed != 0;
  } catch (...) {
    dropSnapshot(element);
    throw;
  }
}

std::size_t ContentApplier::applyNested(Entity& element, std::string_view content) {
  if (nested_ == logDepthLimit) throwParseException("elements nested too deeply");
  ++nested_;
  try {
    const std::size_t changed = apply(element, content);
    --nested_;
    return changed;
  } catch (...) {
    --nested_;
    throw;
  }
}

void ContentApplier::beginSnapshot(Entity& top) {
  dropSnapshot(top);
  snapshots_.push_back(std::make_unique<Snapshot>(Snapshot{&top, isEmpty(top), {}}));
}

std::size_t ContentApplier::endSnapshot(Entity& top) {
  std::size_t changed = 0;
  for (auto at = snapshots_.begin(); at != snapshots_.end(); ++at) {
    if ((*at)->top != &top) continue;
    const std::unique_ptr<Snapshot> snapshot = std::move(*at);
    snapshots_.erase(at);
    Sweep sweep(*this, snapshot->stated);
    if (!snapshot->wasEmpty) sweep.run(top);
    changed = sweep.changed();
    break;
  }
  return changed;
}

void ContentApplier::dropSnapshot(const Entity& top) {
  std::erase_if(snapshots_, [&](const auto& one) { return one->top == &top; });
}

/// Nothing needs to be noted for a copy that was empty: all that is there afterwards was stated.
ContentApplier::Snapshot* ContentApplier::snapshotOf(const Entity& top) {
  for (const auto& one : snapshots_)
    if (one->top == &top) return one->wasEmpty ? nullptr : one.get();
  return nullptr;
}

/// A child whose changes surface may be passed through more than once.
void ContentApplier::note(Entity& entity, const MemberType& member, std::string_view key) {
  if (!entity.formaIsObserved()) return;
  if (member.surfaces) {
    const auto address = reinterpret_cast<std::uintptr_t>(&entity);
    noted_.assign(reinterpret_cast<const char*>(&address), sizeof address);
    noted_.push_back(static_cast<char>(member.index));
    noted_.append(key);
    if (!repeatable_.insert(noted_)) return;
  }
  if (changes_.list.empty() || changes_.list.back().entity != &entity)
    changes_.entities.emplace_back(&entity);
  changes_.list.push_back({&entity, &member, changes_.keys.size(), key.size()});
  changes_.keys.append(key);
}

void ContentApplier::tell(const OnException& onException) {
  if (changes_.list.empty()) return;
  repeatable_.clear();
  Changes changes = std::exchange(changes_, {});
  for (const Change& one : changes.list) {
    if (one.entity->isDeleted()) continue;  // its going is what is told
    try {
      const auto bytes = std::string_view(changes.keys).substr(one.key, one.keySize);
      const WireValue key(one.member->replica.key, bytes);
      one.entity->formaNextApart();
      one.member->replica.tell(*one.entity, key.get());
    } catch (...) {
      onException(std::current_exception());
    }
  }
  constexpr std::size_t burst = 1U << 14;  // of changes whose memory is kept
  if (!changes_.list.empty() || changes.list.size() > burst) return;
  changes.list.clear();
  changes.keys.clear();
  changes.entities.clear();
  changes_ = std::move(changes);
}

void ContentApplier::refuse(const Entity& entity, std::string_view problem) {
  ++refused_;
  refusal_ = entity.fullName() + ": " + std::string(problem);
}

}  // namespace Forma
