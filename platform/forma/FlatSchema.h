/// The description of a flat form: where each leaf of a value stands.
///
/// Thread    any.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Export.h"
#include "platform/forma/FlatForm.h"
#include "platform/forma/TypeName.h"

namespace Forma {

/// Builds the text that tells where each leaf stands.
class MPLS_EXPORT FlatSchema {
 public:
  template <class T>
  static std::string of() {
    FlatSchema schema;
    schema.text_.append(typeName<T>()).push_back('\n');
    schema.add<T>();
    return std::move(schema.text_);
  }

 private:
  template <class T>
  void add() {
    if constexpr (FlatArray<T>) {
      using Element = typename T::FormaElement;
      array(T::capacity, flatBytes<Element>);
      const std::size_t before = path_.size();
      path_.append("[]");
      add<Element>();
      path_.resize(before);
      arrayEnds();
    } else if constexpr (VisitsMembers<T> && !FlatLeaf<T>) {
      T::formaEachMember([this]<class C, class M>(const auto& member, M C::*) {
        const std::size_t before = path_.size();
        if (before != 0) path_.push_back('.');
        path_.append(member.name);
        add<M>();
        path_.resize(before);
      });
    } else {
      leaf(typeName<T>(), sizeof(T));
    }
  }
  void leaf(std::string_view type, std::size_t bytes);
  void array(std::size_t most, std::size_t bytes);
  void arrayEnds();
  void place();

  std::string text_;
  std::string path_;
  std::size_t offset_ = 0;
  bool inArray_ = false;
  bool behindArray_ = false;
};

/// The description of T's flat form: its name, then a line for each leaf,
///   key.topLabel Netbase::MplsLabel 4 @0
/// name, type, bytes and offset. Of an array
///   viaKey[128] 6 @9
///   viaKey[].index U32 4 @2
/// say that at 9 stands a count of 16 bits, at most 128, and then as many elements of 6 bytes, and
/// where in each element its leaves stand. Offsets of what follows, "@+0", count from its end.
template <class T>
std::string flatSchemaText() {
  return FlatSchema::of<T>();
}

}  // namespace Forma
