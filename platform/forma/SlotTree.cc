#include "platform/forma/SlotTree.h"

#include <algorithm>
#include <utility>

namespace Forma {

namespace {

SlotTree::Side other(SlotTree::Side side) {
  return side == SlotTree::left_ ? SlotTree::right_ : SlotTree::left_;
}

}  // namespace

void SlotTree::link(std::uint32_t slot, std::uint32_t parent, Side side) const {
  node(slot) = {{noSlot, noSlot}, parent, liveLink + 1};
  if (parent == noSlot) *root_ = slot;
  else node(parent).child[side] = slot;
  balanceUpFrom(parent);
}

// ---- Slots that wait ----------------------------------------------------------------------------

void SlotTree::wait(std::uint32_t slot) const {
  if (*root_ == noSlot) return link(slot, noSlot, left_);
  const std::uint32_t newest = node(*root_).parent;
  node(slot) = {{newest, noSlot}, noSlot, liveLink};
  if (newest != noSlot) node(newest).parent = slot;
  node(*root_).parent = slot;
}

std::uint32_t SlotTree::takeWaiting() const {
  return *root_ == noSlot ? noSlot : std::exchange(node(*root_).parent, noSlot);
}

/// Those that were taken wait again. One of them becomes the tree when there is none.
void SlotTree::waitingAre(std::uint32_t newest) const {
  if (newest == noSlot) return;
  if (*root_ == noSlot) {
    const std::uint32_t older = olderOf(newest);
    link(newest, noSlot, left_);
    newest = older;
    if (newest != noSlot) node(newest).parent = noSlot;
  }
  node(*root_).parent = newest;
}

void SlotTree::leave(std::uint32_t waiting) const {
  const std::uint32_t newer = node(waiting).parent, older = olderOf(waiting);
  if (newer == noSlot) node(*root_).parent = older;
  else node(newer).child[left_] = older;
  if (older != noSlot) node(older).parent = newer;
}

// ---- Slots in the tree --------------------------------------------------------------------------

void SlotTree::unlink(std::uint32_t slot) const {
  if (height(slot) == 0) return leave(slot);
  const std::uint32_t waiting = takeWaiting();
  cut(slot);
  waitingAre(waiting);
}

void SlotTree::cut(std::uint32_t slot) const {
  const Node gone = node(slot);
  std::uint32_t changed = gone.parent;  // the lowest node whose subtree lost one
  if (gone.child[left_] == noSlot || gone.child[right_] == noSlot) {
    replace(gone.parent, slot, gone.child[gone.child[left_] == noSlot ? right_ : left_]);
  } else {  // the one that follows, which has no left child, takes the place
    const std::uint32_t heir = least(gone.child[right_]);
    changed = node(heir).parent == slot ? heir : node(heir).parent;
    replace(node(heir).parent, heir, node(heir).child[right_]);
    node(heir) = node(slot);
    replace(gone.parent, slot, heir);
    for (const std::uint32_t child : node(heir).child)
      if (child != noSlot) node(child).parent = heir;
  }
  balanceUpFrom(changed);
}

std::uint32_t SlotTree::next(std::uint32_t slot) const {
  if (node(slot).child[right_] != noSlot) return least(node(slot).child[right_]);
  std::uint32_t up = node(slot).parent;
  while (up != noSlot && node(up).child[right_] == slot) {
    slot = up;
    up = node(up).parent;
  }
  return up;
}

std::uint32_t SlotTree::least(std::uint32_t slot) const {
  while (node(slot).child[left_] != noSlot) slot = node(slot).child[left_];
  return slot;
}

/// Puts a subtree, which may be empty, where `old` was below `parent`.
void SlotTree::replace(std::uint32_t parent, std::uint32_t old, std::uint32_t by) const {
  if (parent == noSlot) *root_ = by;
  else node(parent).child[node(parent).child[left_] == old ? left_ : right_] = by;
  if (by != noSlot) node(by).parent = parent;
}

void SlotTree::measure(std::uint32_t slot) const {
  Node& n = node(slot);
  n.link = liveLink + 1 + std::max(height(n.child[left_]), height(n.child[right_]));
}

/// Rotates: the child on `side` takes the place of its parent, which becomes its other child.
std::uint32_t SlotTree::lift(std::uint32_t slot, Side side) const {
  const std::uint32_t top = node(slot).child[side];
  const std::uint32_t inner = node(top).child[other(side)];
  replace(node(slot).parent, slot, top);
  node(slot).child[side] = inner;
  if (inner != noSlot) node(inner).parent = slot;
  node(top).child[other(side)] = slot;
  node(slot).parent = top;
  measure(slot);
  measure(top);
  return top;
}

/// Restores the balance of a subtree whose own subtrees are balanced; gives its root.
std::uint32_t SlotTree::balance(std::uint32_t slot) const {
  for (const Side side : {left_, right_}) {
    const std::uint32_t child = node(slot).child[side];
    if (height(child) <= height(node(slot).child[other(side)]) + 1) continue;
    if (height(node(child).child[side]) < height(node(child).child[other(side)]))
      lift(child, other(side));
    return lift(slot, side);
  }
  measure(slot);
  return slot;
}

void SlotTree::balanceUpFrom(std::uint32_t slot) const {
  while (slot != noSlot) {
    const std::uint32_t before = node(slot).link;
    const std::uint32_t top = balance(slot);
    if (node(top).link == before) return;  // nothing changed for those above
    slot = node(top).parent;
  }
}

}  // namespace Forma
