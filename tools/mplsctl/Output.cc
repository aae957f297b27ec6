#include "tools/mplsctl/Output.h"

#include <unistd.h>

#include <cstdlib>

#include "agents/common/ExitCode.h"
#include "agents/common/Printable.h"
#include "tools/mplsctl/Errors.h"

namespace MplsCtl {

namespace {

constexpr std::size_t writtenAtOnce = std::size_t{256} * 1024;

}  // namespace

bool isColoured(const Options& options, int fd) {
  if (options.colour != Options::Colour::automatic)
    return options.colour == Options::Colour::always;
  const char* const unwanted = std::getenv("NO_COLOR");
  return (unwanted == nullptr || *unwanted == '\0') && ::isatty(fd) == 1;
}

Output::Output(const Options& options, std::size_t expected)
    : options_(options),
      form_{options.pretty},
      colour_(isColoured(options, STDOUT_FILENO)),
      isOnTerminal_(::isatty(STDOUT_FILENO) == 1) {
  progress_.begin(options.object + " " + options.verb, expected);
  if (!options_.json) return;
  out_ += '{';
  member("object", options_.object);
  member("verb", options_.verb);
}

void Output::member(std::string_view key, const Agents::Json& value) {
  if (!std::exchange(isFirstMember_, false)) out_ += ',';
  form_.newLine(out_, 1);
  appendJsonText(out_, key);
  out_ += form_.pretty ? ": " : ":";
  out_ += Agents::jsonText(value);
}

void Output::fact(std::string_view key, const Agents::Json& value) {
  if (!options_.json || options_.count) return;
  if (hasRecords_) later_.emplace_back(key, value);
  else member(key, value);
}

void Output::line(std::string_view text) {
  if (options_.json || options_.count) return;
  endTable();
  out_ += Agents::printable(text);
  out_ += '\n';
}

void Output::redLine(std::string_view text) {
  if (options_.json || options_.count) return;
  endTable();
  out_ += (colour_ ? "\x1b[31m" : "") + Agents::printable(text) + (colour_ ? "\x1b[0m\n" : "\n");
}

// ---- Records -----------------------------------------------------------------------------------

bool Output::add(const Record& record) {
  const RecordView view = record.view();
  progress_.add();
  if (view.type != type_) endTable();
  type_ = view.type;
  if (isFull() || !isNamed(view, options_.key) || !isWanted(view, options_.filters))
    return !isFull();
  if (!options_.sort.empty() && !options_.count) {
    held_.add(view);
    return true;
  }
  ++count_;
  if (!options_.count) show(view);
  return !isFull();
}

void Output::show(const RecordView& record) {
  if (options_.json) {
    if (!hasRecords_) beginRecords();
    if (!std::exchange(isFirstRecord_, false)) out_ += ',';
    if (form_.pretty) form_.newLine(out_, 2);
    else out_ += '\n';
    appendJson(out_, record, options_.types.size() > 1 ? record.type->name : "", form_, 2);
  } else {
    if (!table_) table_ = std::make_unique<RecordTable>(out_, *record.type, colour_);
    table_->add(record);
  }
  flushIfLong();
}

void Output::beginRecords() {
  out_ += ',';
  form_.newLine(out_, 1);
  out_ += form_.pretty ? "\"records\": [" : "\"records\":[";
  hasRecords_ = true;
}

void Output::endTable() {
  showSorted();
  if (table_) table_->end();
  table_.reset();
}

void Output::showSorted() {
  if (held_.size() == 0) return;
  const bool isDescending = options_.sort.starts_with('-');
  const std::string key = options_.sort.substr(isDescending ? 1 : 0);
  for (const std::size_t number : sorted(held_, key, isDescending)) {
    if (isFull()) break;
    ++count_;
    show(held_[number]);
  }
  held_.clear();
}

// ---- End and output ----------------------------------------------------------------------------

void Output::end() {
  endTable();
  if (options_.json) {
    if (options_.count) {
      member("count", count_);
    } else {
      if (!hasRecords_) beginRecords();
      if (!isFirstRecord_) {
        if (form_.pretty) form_.newLine(out_, 1);
        else out_ += '\n';
      }
      out_ += ']';
      for (const auto& [key, value] : later_) member(key, value);
    }
    form_.newLine(out_, 0);
    out_ += "}\n";
  } else if (options_.count) {
    out_ += std::to_string(count_) + "\n";
  }
  flush();
  if (writer_) writer_->wait();
}

int Output::end(int exitCode) {
  end();
  if (exitCode != Agents::exitGood || options_.verb != "get" || count_ != 0) return exitCode;
  std::string key;
  for (const std::string& word : options_.key) key += " " + word;
  tellError(options_, ErrorCode::notFound, "nothing of that name:" + key);
  return Agents::exitProblem;
}

/// The first lines are not to wait for those that follow.
void Output::flushIfLong() {
  if (out_.size() >= writtenAtOnce || (!isFlushed_ && table_ && table_->isStreaming())) flush();
}

/// Where the records themselves go to a terminal they are progress enough.
void Output::flush() {
  if (isOnTerminal_ && !out_.empty()) progress_.stop();
  isFlushed_ = isFlushed_ || !out_.empty();
  if (out_.size() >= writtenAtOnce && !writer_) writer_ = std::make_unique<BackgroundWriter>();
  if (writer_) writer_->write(out_);
  else writeOut(out_);
}

void tellGone(Output& out, const std::vector<std::string>& gone, std::string_view meaning) {
  out.fact("gone", gone);
  if (!gone.empty()) out.line("");
  for (const std::string& line : gone) out.redLine(line + ": " + std::string(meaning));
}

}  // namespace MplsCtl
