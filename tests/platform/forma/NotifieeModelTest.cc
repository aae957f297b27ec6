// Random changes from inside and outside of callbacks, against a model that
// knows at each moment who has to be told of what next.
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <vector>

#include "tests/platform/forma/NotifieeSpies.h"

namespace FormaTest {
namespace {

using Forma::Entity;
using Forma::MemberKind;
using Forma::MemberType;
using Forma::Ptr;

struct Boom {
  int id;
};

/// What the model knows of one notifiee.
struct Seat {
  std::unique_ptr<Forma::NotifieeBase> real;
  std::function<void(Entity*)> bind;  // null unbinds
  std::function<Entity*()> target;    // some entity that it may be bound to
  std::function<const Entity*()> bound;
  bool hearsSub;  // changes of members that only a Sub has
  const Entity* to = nullptr;
  int ticket = 0;  // place in the list of `to`: rises with each registration; 0:
                   // not in it
  bool registered = true, active = true, weak = false;
};

/// A change that is being delivered.
struct Frame {
  Place place;
  std::vector<int> tickets;  // of those that were registered when the delivery began
  std::size_t next = 0;
  int inside = 0;  // callbacks that run
  std::optional<int> thrown = {};
};

/// Reality and model side by side. A mistake ends the process: the model is
/// lost then.
class World {
 public:
  explicit World(unsigned seed) : seed_(seed), random_(seed) {
    lifeHook = [this](const Entity* who, bool born) { born ? lives(who) : died(who); };
    seats_.resize(15);
    for (std::size_t i = 0; i < seats_.size(); ++i) newSeat(i);
  }
  ~World() {
    for (Seat& seat : seats_) seat.to = nullptr, seat.real.reset();
    held_.clear();
    lifeHook = nullptr;
    require(alive_.empty(), "something outlives its last reference");
  }
  /// How often a notifiee was told.
  int run(int steps) {
    for (step_ = 0; step_ < steps; ++step_) {
      budget_ = 12;
      some(3);
      compare();
    }
    return told_;
  }

 private:
  void require(bool holds, const char* why) const {
    if (holds) return;
    std::cerr << why << ", seed " << seed_ << ", step " << step_ << std::endl;
    std::abort();
  }
  Number pick(std::size_t below) { return static_cast<Number>(random_() % below); }
  template <class T>
  T* random() {
    std::vector<T*> all;
    for (Entity* one : alive_)
      if (auto* t = dynamic_cast<T*>(one)) all.push_back(t);
    return all.empty() ? nullptr : all[pick(all.size())];
  }
  const Place* ownerOf(const Entity* who) const {
    const auto at = owners_.find(who);
    return at == owners_.end() ? nullptr : &at->second;
  }
  std::int64_t valueAt(const Place& place) const {
    const auto at = values_.find(place);
    return at == values_.end() ? 0 : at->second;
  }

  void lives(const Entity* who) {
    alive_.push_back(const_cast<Entity*>(who));
    if (!expectedBirth_) return;
    values_[*expectedBirth_] = bits(who);
    owners_[who] = *std::exchange(expectedBirth_, std::nullopt);
  }
  void died(const Entity* who) {
    require(std::erase(alive_, who) == 1, "died twice");
    for (Seat& seat : seats_) {
      if (seat.to != who) continue;
      require(seat.weak && !seat.bound(), "died under a strong or a bound notifiee");
      seat.to = nullptr, seat.ticket = 0;
    }
    for (const Frame& frame : frames_)
      require(frame.place.of != who || !frame.inside, "died during a delivery");
    std::erase_if(values_, [&](const auto& one) { return one.first.of == who; });
    std::erase_if(owners_,
                  [&](const auto& one) { return one.first == who || one.second.of == who; });
  }

  /// Every member of every entity holds what the model says, and nothing else.
  void compare() const {
    std::map<Place, std::int64_t> real;
    for (const Entity* one : alive_) {
      for (const MemberType& member : one->formaType().members)
        member.each(*one, [&](const void* key, const void* v) {
          const std::int64_t number = asNumber(member, v);
          if (number || key) real[{one, std::string(member.name), numberOf(member, key)}] = number;
        });
      const Place* owner = ownerOf(one);
      require(one->parent() == (owner ? owner->of : nullptr), "parent");
    }
    require(real == values_, "the content differs from the model");
    for (const Seat& seat : seats_)
      require(!seat.real || seat.bound() == seat.to, "a notifiee is bound elsewhere");
  }

  Frame frameOf(const Place& at) const {
    Frame frame{at, {}};
    for (const Seat& seat : seats_)
      if (seat.to == at.of && seat.ticket) frame.tickets.push_back(seat.ticket);
    std::ranges::sort(frame.tickets);
    return frame;
  }
  bool hears(const Seat& seat, const Place& place) const {
    return seat.active && (seat.hearsSub || (place.member != "speed" && place.member != "port"));
  }
  /// Whoever has to be told next; moves on to the owner of a surfacing child
  /// when all were.
  std::optional<int> nextTicket(Frame& frame) const {
    for (;;) {
      for (; frame.next < frame.tickets.size(); ++frame.next)
        for (const Seat& seat : seats_)
          if (seat.ticket == frame.tickets[frame.next] && hears(seat, frame.place))
            return seat.ticket;
      const Place* owner = ownerOf(frame.place.of);
      if (!owner || owner->member != "item") return {};
      const std::optional<int> thrown = frame.thrown;
      frame = frameOf(*owner);
      frame.thrown = thrown;
    }
  }

  void heard(std::size_t seat, const Place& place) {
    require(!frames_.empty(), "told out of the blue");
    const std::size_t at = frames_.size() - 1;
    require(nextTicket(frames_[at]) == seats_[seat].ticket, "not this one's turn");
    require(frames_[at].place == place, "told of another change");
    const MemberType& type = *place.of->formaType().findMember(place.member);
    const AnyKey key(type, place.key);
    require(asNumber(type, type.find(*place.of, key.key)) == valueAt(place),
            "the callback does not see the newest value");
    ++frames_[at].next, ++frames_[at].inside, ++told_;
    const std::shared_ptr<void> ends(nullptr, [&](void*) { --frames_[at].inside; });
    try {
      some(2);
      if (pick(30) == 0) throw Boom{++booms_};
    } catch (const Boom& boom) {
      if (!frames_[at].thrown) frames_[at].thrown = boom.id;
      throw;
    }
  }

  /// Makes a change, which the model has made already; checks that all who had
  /// to be told were.
  template <class F>
  void change(const Place& at, bool tells, F apply) {
    const std::size_t me = frames_.size();
    frames_.push_back(tells ? frameOf(at) : Frame{{nullptr, {}}, {}});
    std::optional<int> caught;
    try {
      apply();
    } catch (const Boom& boom) {
      caught = boom.id;
    }
    require(frames_.size() == me + 1 && !nextTicket(frames_[me]), "somebody was not told");
    require(frames_[me].thrown == caught, "not the first exception");
    frames_.pop_back();
    if (caught) throw Boom{*caught};
  }

  /// Up to `most` steps, whose exceptions mostly end here.
  void some(std::size_t most) {
    for (Number i = pick(most + 1); i > 0; --i) {
      try {
        step();
      } catch (const Boom&) {
        if (!frames_.empty() && pick(3) == 0) throw;
      }
    }
  }
  void step() {
    if (--budget_ < 0 || frames_.size() > 5) return;
    static const Forma::EntityType* const types[] = {
        &Node::formaEntityType(), &Sub::formaEntityType(), &Folder::formaEntityType()};
    const Number kind = pick(14);
    if (kind == 0 && held_.size() < 5) {
      held_.push_back(types[pick(std::size(types))]->make(nameOf(1 + pick(4))));
    } else if (kind == 1 && !held_.empty()) {
      std::swap(held_[pick(held_.size())], held_.back());
      const Ptr<Entity> gone = std::move(held_.back());  // perhaps the last reference
      held_.pop_back();
    } else if (kind < 4) {
      changeSeat(pick(seats_.size()));
    } else if (auto* one = random<Entity>(); one && !one->formaType().members.empty()) {
      changeMember(*one);
    }
  }

  /// Changes a random member as replication would: by name.
  void changeMember(Entity& entity) {
    const auto& members = entity.formaType().members;
    const MemberType& member = members[pick(members.size())];
    const AnyKey any(member, member.keyType.empty() ? 0 : 1 + pick(4));
    const Place at{&entity, std::string(member.name), any.number};
    const bool there = values_.contains(at);
    if (pick(6) == 0) return walk(at, member);
    if (pick(3) == 0 && member.erase) {
      forget(at);
      if (there && member.create && pick(2)) {
        const auto* child = static_cast<const Entity*>(member.find(entity, any.key));
        return change(at, true, [&] { const_cast<Entity*>(child)->deletedIs(true); });
      }
      return change(at, there, [&] { member.erase(entity, any.key); });
    }
    if (member.kind == MemberKind::entries) return file(static_cast<Forma::Dir&>(entity));
    if (member.kind == MemberKind::references) {
      const Ptr<Entity const> item = random<Item>();
      if (!item) return;
      values_[at] = bits(item.get());
      return change(at, true, [&] { member.put(entity, any.key, &item); });
    }
    if (member.put) {
      const auto v = static_cast<std::int32_t>(1 + pick(2));
      const bool tells = std::exchange(values_[at], v) != v;
      return change(at, tells, [&] { member.put(entity, any.key, &v); });
    }
    std::string arguments;
    if (member.name != "port") Forma::encode(arguments, any.name);
    if (member.name == "item") arguments.push_back(1);
    if (!there) expectedBirth_ = at;
    change(at, !there, [&] {
      Forma::BytesIn in(arguments);
      member.create(entity, any.key, in);
    });
  }
  /// Files a node that stands in no directory; takes it out of the one it
  /// stands in otherwise.
  void file(Forma::Dir& dir) {
    const Ptr<Node> node = random<Node>();
    if (!node) return;
    const Place* owner = ownerOf(node.get());
    const Place at = owner ? *owner : Place{&dir, "entry", numberOf(node->name())};
    forget(at);
    if (owner) return change(at, true, [&] { node->deletedIs(true); });
    values_[at] = bits(node.get());
    owners_[node.get()] = at;
    change(at, true, [&] { dir.entryIs(node); });
  }
  /// The element at `at` goes, and with it the child that stood there.
  void forget(const Place& at) {
    std::erase_if(owners_, [&](const auto& one) { return one.second == at; });
    values_.erase(at);
    for (auto& [place, due] : walks_)
      if (place.of == at.of && place.member == at.member) due->erase(at.key);
  }
  void walk(const Place& of, const MemberType& member) {
    std::set<Number> due, seen;
    const std::size_t me = walks_.size();
    for (const auto& [place, v] : values_)
      if (place.of == of.of && place.member == of.member) due.insert(place.key);
    walks_.push_back({of, &due});
    const std::shared_ptr<void> ends(nullptr, [&](void*) { walks_.resize(me); });
    member.each(*of.of, [&](const void* key, const void*) {
      const Number number = numberOf(member, key);
      require(!key || values_.contains({of.of, of.member, number}), "walked to what is not there");
      require(seen.insert(number).second, "walked to one element twice");
      due.erase(number);
      some(2);
    });
    require(due.empty(), "left out on a walk");
  }

  template <class SpyType, class T>
  void seatOf(std::size_t at, bool hearsSub) {
    auto spy = std::make_unique<SpyType>(hearing_, at);
    SpyType* const s = spy.get();
    seats_[at] = {std::move(spy), [s](Entity* to) { s->notifierIs(Ptr<T>(dynamic_cast<T*>(to))); },
                  [this] { return random<T>(); }, [s]() -> const Entity* { return s->notifier(); },
                  hearsSub};
  }
  void newSeat(std::size_t at) {
    if (at % 4 == 0) seatOf<NodeSpy, Node>(at, false);
    else if (at % 4 == 1) seatOf<SubSpy, Sub>(at, true);
    else seatOf<AnySpy, Entity>(at, true);
  }
  void changeSeat(std::size_t at) {
    Seat& seat = seats_[at];
    const auto stand = [&](const Entity* to) {
      seat.to = to;
      seat.ticket = to && seat.registered ? ++tickets_ : 0;
    };
    const Number kind = pick(13);
    if (kind == 0) {
      stand(nullptr);
      const auto old = std::move(seat.real);  // possibly the one that runs this; dies at the end
      newSeat(at);
    } else if (kind == 1) {
      stand(nullptr);
      seat.bind(nullptr);
    } else if (kind == 2) {
      seat.registered = !seat.registered;
      stand(seat.to);
      seat.real->isRegisteredNotifieeIs(seat.registered);
    } else if (kind == 3) {
      seat.real->hasNotificationActiveIs(seat.active = pick(2));
    } else if (kind == 4) {
      seat.real->isWeakReferenceIs(seat.weak = !seat.weak);
    } else if (Entity* const to = seat.target()) {
      stand(to);
      seat.bind(to);
    }
  }

  const unsigned seed_;
  int step_ = 0, budget_ = 0, tickets_ = 0, booms_ = 0, told_ = 0;
  std::mt19937 random_;
  const Hearing hearing_ = [this](std::size_t seat, const Place& place) { heard(seat, place); };
  std::vector<Entity*> alive_;  // in order of birth
  std::map<Place, std::int64_t> values_;
  std::map<const Entity*, Place> owners_;
  std::optional<Place> expectedBirth_;
  std::vector<Ptr<Entity>> held_;
  std::vector<Seat> seats_;
  std::vector<Frame> frames_;
  std::vector<std::pair<Place, std::set<Number>*>> walks_;  // what each must still visit
};

TEST(NotifieeModelTest, WhoMustBeToldIsToldInOrder) {
  int told = 0;
  for (unsigned seed = 1; seed <= 200; ++seed) told += World(seed).run(300);
  EXPECT_GT(told, 20000);
}

}  // namespace
}  // namespace FormaTest
