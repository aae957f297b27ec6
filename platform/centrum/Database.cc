#include "platform/centrum/Database.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "platform/centrum/CellStore.h"
#include "platform/centrum/DeltaPieces.h"
#include "platform/centrum/PathNames.h"
#include "platform/forma/AttributeLog.h"
#include "platform/forma/Dir.h"
#include "platform/forma/Errors.h"

namespace Centrum {

using Forma::LogOp;

namespace {

constexpr std::string_view dirType = Forma::Dir::formaTypeName;

std::string hex(std::uint64_t number) {
  std::array<char, 17> text{};
  std::snprintf(text.data(), text.size(), "%016llx", static_cast<unsigned long long>(number));
  return text.data();
}

/// The operation on the directory that holds `path`.
std::string entryRecord(LogOp op, const Path& path) {
  const std::string_view name =
      std::string_view(path.fullName()).substr(path.fullName().rfind('/') + 1);
  std::string record;
  Forma::appendRecord(record, {op, 0, name, path.typeName()});
  return record;
}

[[noreturn]] void refuse(std::string_view wanted, std::string_view typeName, const Path& there,
                         const std::string& problem) {
  Forma::throwNameException("cannot make \"" + std::string(wanted) + "\" of type " +
                            std::string(typeName) + ": \"" + there.fullName() + "\" " + problem);
}

/// `there` is at the path where an entity of that type is asked for.
void checkSame(const Path& there, std::string_view typeName, std::uint64_t schema) {
  if (there.typeName() != typeName)
    refuse(there.fullName(), typeName, there, "is there, of type " + there.typeName());
  if (!there.isDirectory() && there.schema() != schema)
    refuse(there.fullName(), typeName, there,
           "is there, of schema " + hex(there.schema()) + " instead of " + hex(schema));
}

}  // namespace

Database::Database(Epoch epoch, Sequence sequence)
    : epoch_(epoch), sequence_(sequence), root_(&add(nullptr, "", dirType, 0)) {}

Database::~Database() = default;

Path* Database::find(std::string_view fullName) const {
  const auto found = paths_.find(canonicalPath(fullName));
  return found == paths_.end() ? nullptr : found->second.get();
}

Path* Database::find(std::uint32_t id) const {
  const auto found = byId_.find(id);
  return found == byId_.end() ? nullptr : found->second;
}

// The order of names: a path comes before those that begin with it.
void Database::eachPath(const std::function<void(Path&)>& visit) const {
  for (const auto& one : paths_) visit(*one.second);
}

Path& Database::make(std::string_view fullName, std::string_view typeName, std::uint64_t schema) {
  return make(fullName, typeName, schema, sequence_ + 1);
}

Path& Database::make(std::string_view fullName, std::string_view typeName, std::uint64_t schema,
                     Sequence at) {
  const auto names = pathNames(fullName);
  Path* path = root_;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (!path->isDirectory())
      refuse(fullName, typeName, *path, "is no directory but of type " + path->typeName());
    std::string name = path->fullName();
    name.append(path == root_ ? "" : "/").append(names[i]);
    const auto found = paths_.find(name);
    const bool last = i + 1 == names.size();
    Path& next = found != paths_.end() ? *found->second
                 : last                ? add(path, std::move(name), typeName, schema)
                                       : add(path, std::move(name), dirType, 0);
    if (path->apply(entryRecord(LogOp::put, next), false, at)) happened(next, at);
    path = &next;
  }
  checkSame(*path, typeName, schema);
  return *path;
}

Path& Database::add(Path* parent, std::string fullName, std::string_view typeName,
                    std::uint64_t schema) {
  const std::uint64_t kept = typeName == dirType ? 0 : schema;
  std::unique_ptr<Path> path(new Path(*this, parent, fullName, std::string(typeName), kept));
  byId_.emplace(path->id(), path.get());
  return *paths_.emplace(std::move(fullName), std::move(path)).first->second;
}

void Database::happened(Path& path, Sequence at) {
  path.sequence_ = at;
  sequence_ = std::max(sequence_, at);
}

void Database::remove(Path& path) { remove(path, sequence_ + 1); }

void Database::remove(Path& path, Sequence at) {
  if (&path == root_) Forma::throwNameException("the root directory cannot be removed");
  path.parent_->apply(entryRecord(LogOp::erase, path), false, at);
  happened(*path.parent_, at);
  const std::string name = path.fullName();
  const auto drop = [this](auto from, auto to) {
    for (auto one = from; one != to; ++one) byId_.erase(one->second->id());
    paths_.erase(from, to);
  };
  drop(paths_.lower_bound(name + '/'), paths_.lower_bound(name + static_cast<char>('/' + 1)));
  const auto self = paths_.find(name);
  drop(self, std::next(self));
}

bool Database::apply(Path& path, std::string_view records, bool renew, std::uint64_t writer,
                     std::uint64_t batch) {
  path.writer_ = writer;
  path.lastBatch_ = batch;
  if (!path.apply(records, renew, sequence_ + 1)) return false;
  happened(path, sequence_ + 1);
  return true;
}

}  // namespace Centrum
