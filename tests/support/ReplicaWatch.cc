#include "tests/support/ReplicaWatch.h"

#include <map>
#include <set>
#include <utility>

#include "tests/support/ContentText.h"

using Forma::Entity;
using Forma::MemberType;

/// Watches one entity, and owns the watchers of its children.
class ReplicaWatch::Node final : public Forma::AnyNotifiee {
 public:
  Node(ReplicaWatch& all, const Entity& entity) : all_(all) {
    notifierIs(Forma::Ptr<Entity const>(&entity));
    each([&](const Place& place, const MemberType& member, const void* element) {
      take(place, member, element, textOf(member, element));
    });
  }

  void onChange(const MemberType& member, const void* key) override {
    const Place place = placeOf(member, key);
    const void* const element = member.find(*notifier(), key);
    std::string text = element ? textOf(member, element) : "";
    ++all_.told_;
    if (told_[place] == text && !all_.mayReturn)
      all_.report("told without a change", *notifier(), member, place.second);
    take(place, member, element, std::move(text));
    if (all_.onTold) all_.onTold(*notifier(), member);
  }

  void check() const {
    std::set<Place> there;
    each([&](const Place& place, const MemberType& member, const void* element) {
      there.insert(place);
      const auto told = told_.find(place);
      if (told == told_.end() || told->second != textOf(member, element))
        all_.report("changed and not told", *notifier(), member, place.second);
    });
    for (const auto& [place, text] : told_)
      if (!there.contains(place))
        all_.report("went and not told", *notifier(), *notifier()->formaType().member(place.first),
                    place.second);
    for (const auto& [place, child] : children_) child->check();
  }

 private:
  using Place = std::pair<std::uint8_t, std::string>;  // member, key in wire form

  static bool owns(const MemberType& member) {
    return !member.replica.value && !Forma::isReference(member.kind);
  }
  static Place placeOf(const MemberType& member, const void* key) {
    return {member.index, wireKey(member, key)};
  }
  /// Never empty. A child that was made again is another one, be it as the old one was.
  static std::string textOf(const MemberType& member, const void* element) {
    std::string text = "=" + elementText(member, element);
    if (member.surfaces || Forma::isReference(member.kind))
      for (const std::string& line : contentLines(*static_cast<const Entity*>(element)))
        text += "\n" + line;
    return owns(member) ? std::to_string(reinterpret_cast<std::uintptr_t>(element)) + text : text;
  }
  template <class Visit>
  void each(Visit visit) const {
    for (const MemberType& member : notifier()->formaType().members)
      member.each(*notifier(), [&](const void* key, const void* element) {
        visit(placeOf(member, key), member, element);
      });
  }
  void take(const Place& place, const MemberType& member, const void* element, std::string text) {
    if (element) told_[place] = std::move(text);
    else told_.erase(place);
    if (!owns(member)) return;
    auto& child = children_[place];
    if (child && child->notifier() == element) return;
    child.reset();
    if (element) child = std::make_unique<Node>(all_, *static_cast<const Entity*>(element));
    else children_.erase(place);
  }

  ReplicaWatch& all_;
  std::map<Place, std::string> told_;
  std::map<Place, std::unique_ptr<Node>> children_;
};

ReplicaWatch::ReplicaWatch(Entity& top) : top_(std::make_unique<Node>(*this, top)) {}
ReplicaWatch::~ReplicaWatch() = default;

void ReplicaWatch::check() { top_->check(); }

void ReplicaWatch::report(std::string_view what, const Entity& of, const MemberType& member,
                          std::string_view key) {
  if (!problem_.empty()) return;
  problem_.append(what).append(": ").append(of.fullName()).append(" ").append(member.name);
  if (!member.keyType.empty()) problem_.append("[").append(readable(key)).append("]");
}
