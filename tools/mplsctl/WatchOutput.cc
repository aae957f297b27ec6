#include "tools/mplsctl/WatchOutput.h"

#include <iostream>

#include "agents/common/Printable.h"
#include "tools/mplsctl/Ages.h"
#include "tools/mplsctl/RecordJson.h"

namespace MplsCtl {

namespace {

constexpr std::size_t writtenAtOnce = 65536;

}  // namespace

bool WatchOutput::isMeant(const Record& record) const {
  return isWanted(record.view(), options_.filters);
}

void WatchOutput::initial(const Record& record) {
  if (!options_.json || !isMeant(record)) return;
  key_.clear();
  now_.clear();
  appendJsonKey(key_, record.view());
  appendJson(now_, record.view(), "");
  const std::string_view kind = record.view().type->name;
  known_[std::string(kind) + key_] = now_;
  if (!options_.noInitial) print("initial", kind, key_, {}, now_);
}

void WatchOutput::sync() {
  if (options_.json && !options_.noInitial) print("sync", {}, {}, {}, {});
  flush();
}

void WatchOutput::changed(std::string_view op, const Record& record, std::string_view text) {
  if (!options_.json) {
    if (isMeant(record)) line(text);
    return;
  }
  key_.clear();
  now_.clear();
  appendJsonKey(key_, record.view());
  appendJson(now_, record.view(), "");
  const std::string_view kind = record.view().type->name;
  if (!isMeant(record)) {  // it may have been
    known_.erase(std::string(kind) + key_);
    return;
  }
  std::string& known = known_[std::string(kind) + key_];
  print(op, kind, key_, known, now_);
  known = now_;
}

void WatchOutput::removed(std::string_view op, const Record& key, std::string_view text) {
  if (!options_.json) return line(text);
  key_.clear();
  appendJsonKey(key_, key.view());
  const std::string_view kind = key.view().type->name;
  const auto known = known_.find(std::string(kind) + key_);
  if (known == known_.end()) return;  // filters do not let it through
  print(op, kind, key_, known->second, {});
  known_.erase(known);
}

void WatchOutput::forget(const Record& key) {
  key_.clear();
  appendJsonKey(key_, key.view());
  known_.erase(std::string(key.view().type->name) + key_);
}

void WatchOutput::print(std::string_view op, std::string_view kind, std::string_view key,
                        std::string_view old, std::string_view now) {
  out_ += "{\"seq\":" + std::to_string(++sequence_) + ",\"time\":\"" + utcText(utcNow()) +
          "\",\"op\":\"";
  out_.append(op) += '"';
  if (!kind.empty()) out_.append(",\"kind\":\"").append(kind) += '"';
  if (!key.empty()) out_.append(",\"key\":").append(key);
  if (!old.empty()) out_.append(",\"old\":").append(old);
  if (!now.empty()) out_.append(",\"new\":").append(now);
  out_ += "}\n";
  if (out_.size() > writtenAtOnce) flush();
}

void WatchOutput::line(std::string_view text) {
  out_ += Agents::printable(text);
  out_ += '\n';
}

void WatchOutput::flush() {
  if (out_.empty()) return;
  std::cout.write(out_.data(), static_cast<std::streamsize>(out_.size()));
  std::cout.flush();
  out_.clear();
}

}  // namespace MplsCtl
