/// The bytes of a row as they stand in a table: the key first, then the row's other fields.
///
/// A row is a declared value type whose first field is `key`. Without arrays it is of one size, its
/// flat form (platform/forma/FlatForm.h); with arrays its size varies with what they hold. A row
/// type may bring `serializeLen()`, `serialize(to)`, `deserializeLen(from, bytes)` and
/// `deserialize(from, bytes)` of its own, as std::size_t and bool over std::byte: then its key's
/// flat form and what they write stand in the table.
///
/// Thread    any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

#include "platform/forma/FlatForm.h"
#include "platform/forma/FlatRow.h"
#include "platform/forma/FlatSchema.h"
#include "platform/tarn/Format.h"
#include "platform/tarn/TableView.h"

namespace Tarn {

/// What is known of a row type at run time.
struct RowKind {
  std::uint32_t keyBytes;
  std::uint32_t rowBytes;  ///< 0: rows vary in size
  std::uint32_t maxRowBytes;
  std::string (*schemaText)();
  Record (*find)(const TableView& view, const std::byte* key);
};

template <class Row>
class RowForm {
  static constexpr bool serializes() {
    return requires(const Row& r, Row& to, std::byte* b) {
      r.serializeLen();
      r.serialize(b);
      to.deserializeLen(b, std::size_t{});
      to.deserialize(b, std::size_t{});
    };
  }
  /// Those that arrays give take one parameter more.
  static constexpr bool bringsItsOwn() {
    if constexpr (!serializes()) return false;
    else if constexpr (!requires(const Row& r) { r.serializeLen(Forma::DerivedForm{}); })
      return true;
    else return requires {
        static_cast<std::size_t (Row::*)() const>(&Row::serializeLen);
      };
  }
  static constexpr bool hasArrays() { return !Forma::isFlat<Row>; }
  static constexpr std::uint32_t mostBytes() {
    if constexpr (bringsItsOwn()) return maxRowLimit;
    else return static_cast<std::uint32_t>(Forma::flatSize<Row>().most);
  }

 public:
  using Key = std::remove_cvref_t<decltype(std::declval<const Row&>().key())>;
  static constexpr bool isOwn = bringsItsOwn();

  static constexpr std::uint32_t keyBytes = Forma::flatBytes<Key>;
  static constexpr std::uint32_t maxRowBytes = mostBytes();
  /// 0 when rows vary in size.
  static constexpr std::uint32_t rowBytes = [] {
    if constexpr (isOwn) return 0U;
    else return hasArrays() ? 0U : maxRowBytes;
  }();
  static_assert(maxRowBytes <= maxRowLimit, "the row is too large for a table");
  static_assert(keyBytes >= 1 && keyBytes <= maxKeyLimit, "the key is too large for a table");

  /// Writes keyBytes bytes.
  static void encodeKey(const Key& key, std::byte* to) { Forma::storeFlat(to, key); }
  /// Whether the bytes make a sound key.
  static bool decodeKey(const std::byte* from, Key* key) { return Forma::loadFlat(from, *key); }

  static std::size_t size(const Row& row) {
    if constexpr (isOwn) return keyBytes + row.serializeLen();
    else return Forma::flatSizeOf(row);
  }
  /// Writes size(row) bytes.
  static void encode(const Row& row, std::byte* to) {
    if constexpr (isOwn) row.serialize(Forma::storeFlat(to, row.key()));
    else Forma::storeFlat(to, row);
  }
  /// Whether the bytes make a sound row; if not, `row` is of no use.
  static bool decode(const std::byte* from, std::size_t bytes, Row* row) {
    if constexpr (isOwn) {
      std::byte key[keyBytes];
      if (bytes < keyBytes || !row->deserialize(from + keyBytes, bytes - keyBytes)) return false;
      encodeKey(row->key(), key);
      return std::memcmp(key, from, keyBytes) == 0;
    } else if constexpr (rowBytes != 0) {
      return bytes == rowBytes && Forma::loadFlat(from, *row);
    } else {
      return Forma::loadWhole(from, bytes, *row);
    }
  }

  /// A line for each leaf of the row (Forma::flatSchemaText). Of a row with a form of its own, the
  /// leaves of its key.
  static std::string schemaText() {
    if constexpr (isOwn)
      return std::string(Row::formaTypeName) + " by functions of its own behind its key\n" +
             Forma::flatSchemaText<Key>();
    else return Forma::flatSchemaText<Row>();
  }

  static constexpr RowKind kind{
      keyBytes, rowBytes, maxRowBytes, &RowForm::schemaText,
      [](const TableView& view, const std::byte* key) { return view.find<keyBytes>(key); }};

 private:
  static constexpr bool beginsWithKey() {
    if constexpr (Forma::VisitsMembers<Row>) return Row::formaMemberNames[0] == "key";
    else return true;
  }
  static_assert(isOwn || beginsWithKey(), "the first field of a row is `key`");
};

}  // namespace Tarn
