#include "platform/forma/Content.h"
#include "platform/forma/WireForm.h"

namespace Forma {

namespace {

/// Appends what `write` appends, behind its length. Most are short: their length takes one byte.
template <class Write>
void appendSized(std::string& out, Write write) {
  const std::size_t at = out.size();
  out.push_back('\0');
  write();
  const std::size_t length = out.size() - at - 1;
  if (length < 0x80) {
    out[at] = static_cast<char>(length);
    return;
  }
  std::string prefix;
  appendLength(prefix, length);
  out.replace(at, 1, prefix);
}

bool holdsChildren(const MemberType& member) {
  return member.kind == MemberKind::children || member.kind == MemberKind::child;
}

const Entity& entityAt(const void* element) { return *static_cast<const Entity*>(element); }

/// Writes records.
class RecordWriter {
 public:
  explicit RecordWriter(std::string& out) : out_(out) {}

  void content(const Entity& entity) {
    for (const MemberType& member : entity.formaType().members) {
      if (!isContent(member.kind)) continue;
      if (member.kind == MemberKind::attribute && member.replica.isInitial(entity)) continue;
      member.each(entity, [&](const void* key, const void* element) {
        head(holdsChildren(member) ? LogOp::create : LogOp::put, member, [&] {
          if (key) member.replica.key->encode(out_, key);
        });
        body(member, element);
      });
    }
  }
  /// What is at a key; null for nothing.
  void element(const MemberType& member, std::string_view key, const void* element) {
    const LogOp there = holdsChildren(member) ? LogOp::renew : LogOp::put;
    head(element ? there : LogOp::erase, member, [&] { out_.append(key); });
    if (element) body(member, element);
  }
  void enter(const MemberType& member, std::string_view key, const Entity& child) {
    head(LogOp::create, member, [&] { out_.append(key); });
    arguments(member, child);
  }
  void end() { out_.push_back(static_cast<char>(LogOp::end)); }

 private:
  template <class WriteKey>
  void head(LogOp op, const MemberType& member, WriteKey writeKey) {
    out_.push_back(static_cast<char>(op));
    out_.push_back(static_cast<char>(member.index));
    appendSized(out_, writeKey);
  }
  void body(const MemberType& member, const void* element) {
    if (holdsChildren(member)) {
      arguments(member, entityAt(element));
      content(entityAt(element));
      end();
    } else if (isReference(member.kind)) {
      appendSized(out_, [&] {
        arguments(member, entityAt(element));
        content(entityAt(element));
      });
    } else {
      appendSized(out_, [&] { member.replica.value->encode(out_, element); });
    }
  }
  void arguments(const MemberType& member, const Entity& element) {
    appendSized(out_, [&] { member.replica.encodeArguments(element, out_); });
  }

  std::string& out_;
};

struct Step {
  std::uint8_t member;
  std::string_view key;
  bool operator==(const Step&) const = default;
};

/// Writes what is at paths, one after the other, staying in a child while they lie in it.
class ChangeWriter {
 public:
  ChangeWriter(std::string& out, const Entity& top) : writer_(out), top_(top) {}

  void path(std::string_view path) {
    steps_.clear();
    for (BytesIn in(path); !in.atEnd();) {
      const auto member = static_cast<std::uint8_t>(in.take(1));
      steps_.push_back({member, takeBytes(in)});
    }
    if (steps_.size() == 1 && inside_.empty()) return element(steps_.back());
    std::size_t same = 0;
    while (same < inside_.size() && same + 1 < steps_.size() && inside_[same].step == steps_[same])
      ++same;
    leave(same);
    for (std::size_t i = same; i + 1 < steps_.size(); ++i)
      if (!enter(steps_[i])) return;
    element(steps_.back());
  }
  void leave(std::size_t depth) {
    for (; inside_.size() > depth; inside_.pop_back()) writer_.end();
  }

 private:
  struct Inside {
    Step step;
    const Entity* entity;
  };

  const Entity& entity() const { return inside_.empty() ? top_ : *inside_.back().entity; }
  const MemberType& memberOf(const Step& step) const {
    return *entity().formaType().member(step.member);
  }
  bool enter(const Step& step) {
    const MemberType& member = memberOf(step);
    const WireValue key(member.replica.key, step.key);
    const void* child = member.find(entity(), key.get());
    if (!child) return false;
    writer_.enter(member, step.key, entityAt(child));
    inside_.push_back({step, &entityAt(child)});
    return true;
  }
  void element(const Step& step) {
    const MemberType& member = memberOf(step);
    const WireValue key(member.replica.key, step.key);
    const bool initial = member.kind == MemberKind::attribute && member.replica.isInitial(entity());
    writer_.element(member, step.key, initial ? nullptr : member.find(entity(), key.get()));
  }

  RecordWriter writer_;
  const Entity& top_;
  std::vector<Step> steps_;
  std::vector<Inside> inside_;
};

void appendStep(std::string& out, const MemberType& member, const auto& writeKey) {
  out.push_back(static_cast<char>(member.index));
  appendSized(out, writeKey);
}

void appendStepsTo(std::string& out, const Entity& top, const Entity& entity) {
  if (&entity == &top) return;
  const Entity& parent = *entity.parent();
  appendStepsTo(out, top, parent);
  const MemberType& member = *parent.formaType().member(entity.formaParentMember());
  appendStep(out, member, [&] { member.replica.encodeKeyOf(entity, out); });
}

}  // namespace

void encodeContent(std::string& out, const Entity& entity) { RecordWriter(out).content(entity); }

void encodePath(std::string& out, const Entity& top, const Entity& entity, const MemberType& member,
                const void* key) {
  appendStepsTo(out, top, entity);
  appendStep(out, member, [&] {
    if (key) member.replica.key->encode(out, key);
  });
}

void encodeChanges(std::string& out, const Entity& top, const ByteSet& paths) {
  ChangeWriter writer(out, top);
  for (std::size_t i = 0; i < paths.size(); ++i) writer.path(paths[i]);
  writer.leave(0);
}

}  // namespace Forma
