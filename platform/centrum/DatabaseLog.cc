#include "platform/centrum/DatabaseLog.h"

#include <algorithm>

#include "platform/centrum/DatabaseImage.h"
#include "platform/forma/Errors.h"

namespace Centrum {

LogFile::~LogFile() = default;

DatabaseLog::DatabaseLog(std::unique_ptr<LogFile> file) : file_(std::move(file)) {}
DatabaseLog::~DatabaseLog() = default;

// ---- Reading -----------------------------------------------------------------------------------

std::unique_ptr<Database> DatabaseLog::load(Epoch fresh) {
  std::unique_ptr<Database> database;
  const std::string content = file_ ? file_->content() : std::string();
  try {
    if (!content.empty()) database = replay(content);
  } catch (const Forma::Exception& e) {
    setAside(e.what());
  }
  if (!database) database = std::make_unique<Database>(fresh);
  reached_ = database->sequence();
  return database;
}

std::unique_ptr<Database> DatabaseLog::replay(std::string_view content) {
  EntryReader reader(content);
  DatabaseImage image;
  std::size_t snapshot = 0;
  for (std::string_view entry; reader.next(entry);) {
    image.take(entry);
    if (image.inSnapshot()) snapshot = reader.position();
  }
  auto database = image.database();
  size_ = content.size();
  rewriteAt_ = std::max(leastSize, growth * snapshot);
  written_ = reader.position() == size_;
  if (!written_)
    notice_ = file_->name() + ": dropped the last " + std::to_string(size_ - reader.position()) +
              " bytes, an entry that was cut off";
  return database;
}

void DatabaseLog::setAside(const std::string& problem) {
  notice_ = file_->name() + ": " + problem + ": set aside, starting without content";
  try {
    file_->setAside();
  } catch (const std::system_error& e) {
    problem_ = e.what();
  }
}

// ---- Writing -----------------------------------------------------------------------------------

void DatabaseLog::made(const Path& path) {
  if (file_) reached_ = std::max(reached_, DatabaseImage::appendMade(noted_, path));
}

void DatabaseLog::removed(const Path& path) {
  if (file_) reached_ = DatabaseImage::appendRemoved(noted_, path);
}

void DatabaseLog::applied(const Path& path, std::string_view records, bool renew) {
  if (!file_) return;
  reached_ = std::max(reached_, DatabaseImage::appendApplied(noted_, path, records, renew));
}

void DatabaseLog::commit(const Database& database) {
  if (!file_) return;
  // Changes that are not to be logged count all the same: no sequence is used twice.
  if (database.sequence() > reached_)
    EntryWriter(noted_, EntryKind::reached).add(database.sequence());
  reached_ = database.sequence();
  if (noted_.empty()) return;
  try {
    if (written_) append();
    else if (--retryIn_ == 0) rewrite(database);
  } catch (const std::system_error& e) {
    failed(e);
  }
  noted_.clear();
  if (!written_ || size_ <= rewriteAt_) return;
  try {
    rewrite(database);
  } catch (const std::system_error&) {
    rewriteAt_ = size_ + size_ / 2;  // the log is as good as before, only long
  }
}

void DatabaseLog::append() {
  file_->append(noted_);
  size_ += noted_.size();
}

void DatabaseLog::rewrite(const Database& database) {
  std::string content;
  content.reserve(size_ / growth);
  content.append(logBegin);
  DatabaseImage::append(content, database);
  file_->contentIs(content);
  size_ = content.size();
  rewriteAt_ = std::max(leastSize, growth * size_);
  written_ = true;
  problem_.clear();
}

void DatabaseLog::failed(const std::system_error& error) {
  retryIn_ = written_ ? 1 : retryEvery;
  written_ = false;
  size_ = 0;
  problem_ = error.what();
  try {
    file_->remove();
  } catch (const std::system_error& e) {
    problem_ += std::string("; ") + e.what();
  }
}

}  // namespace Centrum
