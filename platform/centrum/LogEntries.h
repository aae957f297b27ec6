/// The entries of the log file: a 32-bit length, a 32-bit checksum of that, a 64-bit checksum of
/// what follows; one byte that says what it is, and its fields in wire form.
///
/// The length has a checksum of its own, so that an entry that was cut off is never confused with
/// one that is damaged.
///
/// Thread    any.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/forma/Wire.h"

namespace Centrum {

enum class EntryKind : std::uint8_t {
  started = 1,  ///< epoch; the first one
  made,         ///< path, type, schema, sequence
  removed,      ///< path, sequence
  applied,      ///< path, sequence, writer, batch, renew, operations
  reached,      ///< sequence
  path,         ///< of a snapshot: path, type, schema, sequence, forgotten, writer, batch
  cells         ///< of the last `path`: sequence, operations as CellWriter::image writes them
};

/// Appends one entry: construct, append the fields to out(), destroy.
class EntryWriter {
 public:
  EntryWriter(std::string& out, EntryKind kind);
  ~EntryWriter();
  EntryWriter(const EntryWriter&) = delete;
  EntryWriter& operator=(const EntryWriter&) = delete;

  /// Appends fields: numbers, strings behind their length.
  template <class... Ts>
  void add(const Ts&... fields) {
    (addOne(fields), ...);
  }
  /// Appends what goes to the end of the entry.
  void addRest(std::string_view bytes) { out_.append(bytes); }

 private:
  template <class T>
  void addOne(const T& field) {
    Forma::encode(out_, field);
  }
  void addOne(const std::string& text);

  std::string& out_;
  const std::size_t start_;
};

/// Walks over the entries of a file.
class EntryReader {
 public:
  /// Raises ParseException for what does not begin as our logs do.
  explicit EntryReader(std::string_view content);

  /// The next entry, its kind first; false at the end, or when the rest is an entry that was cut
  /// off. Raises ParseException for one that is damaged.
  bool next(std::string_view& entry);
  /// Bytes before the next entry.
  std::size_t position() const { return position_; }

 private:
  const std::string_view content_;
  std::size_t position_;
};

/// With what a log begins.
extern const std::string_view logBegin;

}  // namespace Centrum
