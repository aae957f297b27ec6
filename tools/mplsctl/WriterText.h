/// Who writes a directory of tables, as people and programs read it.
#pragma once

#include <string>

#include "agents/common/JsonWriter.h"
#include "platform/tarn/ReaderDirectory.h"

namespace MplsCtl {

/// "writer lfib-writer (pid 12)", or "no writer since 3.2 s, was lfib-writer (pid 12)". `view` is
/// that of one of its tables.
std::string writerText(const Tarn::ReaderDirectory& directory, const Tarn::TableView& view);
/// {"directory", "writer": {"agent", "pid", "present", "goneSeconds"}}
Agents::Json directoryJson(const Tarn::ReaderDirectory& directory, const Tarn::TableView& view);

}  // namespace MplsCtl
