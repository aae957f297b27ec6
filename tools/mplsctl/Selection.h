/// Which records a command is to show, and in what order: --filter, --sort, --limit.
///
/// Thread    any.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/mplsctl/Record.h"

namespace MplsCtl {

/// KEY=VALUE: holds for a record of which that cell has that value; of a list any element, of a
/// list of records that cell of any.
struct Filter {
  std::string key;
  std::string value;
};

/// "KEY" as a filter; `isComplete` says whether there is a '='.
Filter filterFrom(std::string_view text, bool* isComplete);

/// The types of records that a command shows.
using RecordTypes = std::span<const RecordType* const>;

/// All keys by which records of any of the types can be filtered, in order: "label, metric".
std::string knownKeys(RecordTypes types);
bool isKnownKey(RecordTypes types, std::string_view key);

/// Whether a record is wanted by all of the filters. Of a type without such a column none is.
bool isWanted(const RecordView& record, const std::vector<Filter>& filters);

/// Whether the first columns of a record are the words of a key, as far as there are words.
bool isNamed(const RecordView& record, const std::vector<std::string>& key);

/// The numbers of the records, in the order of a column; numbers by value, text by bytes; those
/// without a value last. Equal ones stay in order.
std::vector<std::size_t> sorted(const RecordList& records, std::string_view key, bool descending);

}  // namespace MplsCtl
