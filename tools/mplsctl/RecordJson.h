/// Records as JSON: a member for each cell that has a value, in the order of the columns.
///
/// Thread    any.
/// Cost      appends to a text; makes no other.
#pragma once

#include <string>
#include <string_view>

#include "tools/mplsctl/Record.h"

namespace MplsCtl {

/// How JSON is laid out.
struct JsonForm {
  bool pretty = false;  ///< a line for each member, with two blanks for each level
  /// To a new line at that level; nothing unless pretty.
  void newLine(Text& out, std::size_t level) const {
    if (!pretty) return;
    out += '\n';
    for (; level > 0; --level) out += "  ";
  }
};

/// A string in quotes. Bytes that are no UTF-8 are replaced.
void appendJsonText(Text& out, std::string_view text);
/// An object; with `kind`, that is its first member. `level` is that of the object.
void appendJson(Text& out, const RecordView& record, std::string_view kind,
                const JsonForm& form = {}, unsigned level = 0);
/// The same, for those who keep it.
void appendJson(std::string& out, const RecordView& record, std::string_view kind);
/// The object of the first columns only, which name the record.
void appendJsonKey(std::string& out, const RecordView& record);

}  // namespace MplsCtl
