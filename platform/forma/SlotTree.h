/// An ordered tree threaded through the slots of a map: a height-balanced (AVL) tree whose nodes
/// are the ends of slots and whose pointers are slot numbers. Keys are not known here: who searches
/// compares keys and walks down by itself, and the balancing is compiled once.
///
/// A slot that came may wait beside the tree until somebody needs the order: most of what is filled
/// is looked up by key and never walked. While slots wait the root has a parent, the newest of
/// them; each names the one before it as its left child, and the one after it as its parent.
///
/// Thread    as the map that it belongs to.
/// Cost      link, unlink: O(log n); wait: O(1); a step of a walk: O(1) on average.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/Export.h"
#include "platform/forma/SlotBlock.h"

namespace Forma {

/// A view of the tree; made for each use.
class MPLS_EXPORT SlotTree {
 public:
  enum Side : std::uint8_t { left_, right_ };

  /// The end of a slot. The link of a live slot is liveLink plus the height of its subtree, which
  /// is 0 while the slot waits.
  struct Node {
    std::uint32_t child[2];
    std::uint32_t parent;
    std::uint32_t link;
  };

  /// `first` is the node of slot 0; the others follow every `slotSize` bytes.
  SlotTree(Node* first, std::size_t slotSize, std::uint32_t* root)
      : first_(reinterpret_cast<char*>(first)), slotSize_(slotSize), root_(root) {}

  /// A slot came: it waits, unless it is the first.
  void wait(std::uint32_t slot) const;
  /// Removes a slot, be it in the tree or waiting.
  void unlink(std::uint32_t slot) const;

  /// Whether slots wait. The functions below want that none does.
  bool hasWaiting() const { return *root_ != noSlot && node(*root_).parent != noSlot; }
  /// Takes all that wait: the newest; each is to be linked, after olderOf() told the next.
  std::uint32_t takeWaiting() const;
  std::uint32_t olderOf(std::uint32_t waiting) const { return node(waiting).child[left_]; }
  /// Adds a slot as a leaf, where `parent` has no child yet; noSlot for the first of all.
  void link(std::uint32_t slot, std::uint32_t parent, Side side) const;

  /// The least slot of the tree, or noSlot.
  std::uint32_t first() const { return *root_ == noSlot ? noSlot : least(*root_); }
  /// The slot that follows, or noSlot.
  std::uint32_t next(std::uint32_t slot) const;

 private:
  Node& node(std::uint32_t slot) const {
    return *reinterpret_cast<Node*>(first_ + slot * slotSize_);
  }
  std::uint32_t height(std::uint32_t slot) const {
    return slot == noSlot ? 0 : node(slot).link - liveLink;
  }
  std::uint32_t least(std::uint32_t slot) const;
  void waitingAre(std::uint32_t newest) const;
  void leave(std::uint32_t waiting) const;
  void cut(std::uint32_t slot) const;
  void replace(std::uint32_t parent, std::uint32_t old, std::uint32_t by) const;
  void measure(std::uint32_t slot) const;
  std::uint32_t lift(std::uint32_t slot, Side side) const;
  std::uint32_t balance(std::uint32_t slot) const;
  void balanceUpFrom(std::uint32_t slot) const;

  char* first_;
  std::size_t slotSize_;
  std::uint32_t* root_;
};

}  // namespace Forma
