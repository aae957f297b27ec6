/// Tables, measured: a process that writes and one that reads, each on a core of its own.
#pragma once

#include <sched.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "bench/TableRoles.h"

namespace Bench {

class SharedGate {
 public:
  SharedGate();
  ~SharedGate();
  SharedGate(const SharedGate&) = delete;
  SharedGate& operator=(const SharedGate&) = delete;
  Gate& operator*() const { return *static_cast<Gate*>(at_); }
  Gate* operator->() const { return static_cast<Gate*>(at_); }

 private:
  void* at_;
};

/// Bytes that the files of a folder take.
double bytesIn(const std::string& folder);

template <class Table>
class TableRun {
 public:
  explicit TableRun(std::uint32_t rows) : rows_(rows) {
    if constexpr (!Table::isPrivate) {
      writer_ = std::make_unique<Worker>("table-writer", writerCore,
                                         [this] { return start<WritingRole<Table>>(); });
      writer_->call({fillTask});
      writer_->call({overwriteTask, 1});
    }
  }

  TableReads reads() {
    TableReads times;
    startReader();
    times.lookup = read(lookupTask);
    times.dependent = read(dependentTask);
    times.miss = read(missTask);
    if constexpr (hasBatches<Table>) times.batch = read(batchTask);
    times.iterate = read(iterateTask);
    if constexpr (!Table::isPrivate) {
      times.whileWriting = pouring(lookupTask).read;
      pouring(verifyTask);
    }
    return times;
  }
  TableWrites writes() {
    TableWrites times;
    writer_->call({overwriteTask, 3});
    times.overwrite = writer_->call({overwriteTask, 3})[0];
    if constexpr (hasExpectations<Table>) times.batch = writer_->call({expectedTask, 3})[0];
    const Answer replaced = writer_->call({replaceTask});
    times.erase = replaced[0];
    times.insert = replaced[1];
    times.fileBytes = bytesIn(scratch_.path(""));
    startReader();
    times.overwriteWhileReading = pouring(lookupTask).write;
    return times;
  }

 private:
  struct Times {
    double read;
    double write;
  };
  template <class Role>
  Worker::Handler start() {
    return [role = std::make_shared<Role>(scratch_.path(""), rows_, *gate_)](const Command& task) {
      return role->handle(task);
    };
  }
  void startReader() {
    reader_ = std::make_unique<Worker>("table-reader", readerCore,
                                       [this] { return start<ReadingRole<Table>>(); });
    read(iterateTask);  // fills the page tables
  }
  double read(TableTask task) { return reader_->call({task})[0]; }
  Times pouring(TableTask task) {
    gate_->stop = gate_->pouring = false;
    writer_->post({pourTask});
    while (!gate_->pouring) sched_yield();
    const double reading = read(task);
    gate_->stop = true;
    return {reading, writer_->wait()[0]};
  }

  std::uint32_t rows_;
  Scratch scratch_;
  SharedGate gate_;
  std::unique_ptr<Worker> writer_;
  std::unique_ptr<Worker> reader_;
};

template <class Table>
TableKind tableKind(const char* name) {
  TableKind kind{name, !Table::isPrivate,
                 [](std::uint32_t rows) { return TableRun<Table>(rows).reads(); }, nullptr};
  if constexpr (!Table::isPrivate)
    kind.writes = [](std::uint32_t rows) { return TableRun<Table>(rows).writes(); };
  return kind;
}

}  // namespace Bench
