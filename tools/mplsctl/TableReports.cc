#include "tools/mplsctl/TableReports.h"

#include <algorithm>
#include <filesystem>

#include "agents/common/ExitCode.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/TableFiles.h"

namespace MplsCtl {

namespace {

namespace Fs = std::filesystem;

bool isOfRights(std::string_view text) {
  return text.find("needs the right to ") != std::string_view::npos;
}

}  // namespace

Tarn::Report TableReports::of(const std::string& directory) {
  return [this, path = Fs::absolute(directory).string()](const std::string& text) {
    handle(path, text);
  };
}

void TableReports::attached() {
  isAwaiting_ = false;
  kept_.clear();  // of what was missing for a moment
}

void TableReports::handle(const std::string& directory, const std::string& text) {
  const bool isDamage = text.find(": damage: ") != std::string::npos;
  if (isAwaiting_ && !isDamage) {
    kept_.emplace_back(directory, text);
    return;
  }
  const bool isClosed = isOfRights(text);
  exitCode_ = std::max(exitCode_, isClosed ? Agents::exitDatabase : Agents::exitFault);
  tellError(options_, isClosed ? ErrorCode::cannotOpen : ErrorCode::corrupt, text, directory);
}

void TableReports::tellMissing(const std::vector<std::string>& directories, std::string_view hint) {
  isAwaiting_ = false;
  exitCode_ = std::max(exitCode_, Agents::exitDatabase);
  for (const auto& [directory, text] : kept_)
    tellError(options_, ErrorCode::cannotOpen, text, directory);
  for (const std::string& one : directories) {
    const std::string directory = Fs::absolute(one).string();
    const auto isEnough = [&](const Kept& kept) {
      return kept.first == directory && isOfRights(kept.second);
    };
    if (hasDamagedHead(directory)) exitCode_ = Agents::exitFault;
    if (std::ranges::none_of(kept_, isEnough))
      tellError(options_, ErrorCode::cannotOpen, hint, directory);
  }
  kept_.clear();
}

}  // namespace MplsCtl
