/// An observer of a tree of entities of any type that believes nothing: each notification must be
/// of something that differs from what was told last, and nothing may differ that was not told.
///
/// Meant for replicas, whose notifiees hear of real changes only, once for each: an original may
/// repeat a notification.
///
/// Thread    that of the entities.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/forma/EntityType.h"

class ReplicaWatch {
 public:
  /// What is there at the beginning counts as told. Keeps the tree until it is destroyed.
  explicit ReplicaWatch(Forma::Entity& top);
  ~ReplicaWatch();
  ReplicaWatch(const ReplicaWatch&) = delete;
  ReplicaWatch& operator=(const ReplicaWatch&) = delete;

  /// Compares what is there with what was told.
  void check();
  /// Notifications so far.
  std::size_t told() const { return told_; }
  /// The first that was lost or invented; empty when none was.
  const std::string& problem() const { return problem_; }

  /// What changed and changed back before anything was told may be told.
  bool mayReturn = false;
  /// Called after each notification: for what else is to be checked at that moment.
  std::function<void(const Forma::Entity&, const Forma::MemberType&)> onTold;

 private:
  class Node;

  void report(std::string_view what, const Forma::Entity& of, const Forma::MemberType& member,
              std::string_view key);

  std::size_t told_ = 0;
  std::string problem_;
  std::unique_ptr<Node> top_;
};
