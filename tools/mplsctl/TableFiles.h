/// Finds the tables below a directory, and reads what their files tell; maps none of them.
///
/// Thread    any.
#pragma once

#include <functional>
#include <string>

#include "tools/mplsctl/TableHead.h"

namespace MplsCtl {

/// Who writes the tables of a directory, as far as can be told.
struct TableWriterInfo {
  bool isThere = false;  ///< it takes connections
  int pid = 0;           ///< of that one, or of the last; 0: nothing is known
  std::string agent;
};

/// One table, or a directory that cannot be read: then `name` is empty, and `problem` says why.
struct TableFile {
  std::string directory;
  std::string name;
  std::string problem;  ///< why the head cannot be read; else that of the head
  TableHead head;       ///< of no use when it could not be read
  bool isRead = false;
  TableWriterInfo writer;
};

/// Why a path cannot be read, with what is needed and what was found; `error` is an errno.
std::string unreadableText(const std::string& path, int error);
/// Whether a table can be read: exitGood, exitDatabase, or exitFault when its head is damaged.
int exitCodeOf(const TableFile& table);

/// Calls `visit` for each table in `path` and the directories below it, in the order of their
/// names.
void eachTable(const std::string& path, const std::function<void(const TableFile&)>& visit);

/// Whether the head of any table in `path` or below is damaged.
bool hasDamagedHead(const std::string& path);

}  // namespace MplsCtl
