#include "platform/tarn/TableReader.h"

#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include "platform/tarn/Changes.h"
#include "platform/tarn/Shadow.h"

namespace Tarn {

namespace {

constexpr auto acquire = std::memory_order_acquire;
constexpr unsigned attachAttempts = 8;      // another generation may come while one is read
constexpr std::size_t reportLimit = 64;     // distinct problems without a good moment in between
constexpr std::size_t nearRows = 64 << 10;  // the index of so many fits the nearest caches

}  // namespace

class TableReader::State {
 public:
  State(const Storage& storage, TableShape shape, Follow follow, Report report)
      : shape_(std::move(shape)), storage_(storage), follow_(follow), report_(std::move(report)) {}

  const TableShape& shape() const { return shape_; }
  const TableView& view() const { return view_; }
  const TableView& told() const { return follow_ == Follow::yes ? told_ : view_; }
  const std::string& problem() const { return problem_; }

  void passLimitIs(unsigned limit) { passLimit_ = limit; }
  /// `changed` is null when nobody listens.
  void refresh(Look look, KeyList* changed);

 private:
  struct Followed {
    Followed(const TableView& view, TableView& told, std::size_t keyBytes)
        : shadow(view, told, keyBytes), changes(view, keyBytes) {}
    void viewIs(const TableView& view) {
      shadow.viewIs(view);
      changes.viewIs(view);
    }
    Shadow shadow;
    Changes changes;
  };

  bool isUnchanged() const;
  bool mayBeSuperseded(Look look);
  Mapping newerHead();
  void attach(Mapping head, KeyList* changed);
  void follow(Look look, KeyList* changed);
  void tidy();
  void problemIs(const std::string& text);

  std::unique_ptr<Followed> newFollowed(const TableView& view) {
    auto made = std::make_unique<Followed>(view, told_, shape_.keyBytes);
    if (passLimit_ != 0) made->shadow.passLimitIs(passLimit_);
    return made;
  }

  const TableShape shape_;
  const Storage& storage_;
  const Follow follow_;
  const Report report_;
  TableView view_;
  TableView told_;
  std::unique_ptr<Followed> followed_;  // null: not attached, or nobody follows
  std::uint64_t generation_ = 0;
  unsigned passLimit_ = 0;  // 0: as it is
  Word segmentsRemoved_ = 0;
  bool isDamaged_ = false;
  std::string problem_;
  std::set<std::string> reported_;
};

void TableReader::State::refresh(Look look, KeyList* changed) {
  if (changed != nullptr) changed->keyBytes = shape_.keyBytes;
  if (look == Look::counted && isUnchanged()) [[likely]]
    return;
  if (followed_ != nullptr) followed_->changes.begin(changed);
  for (unsigned attempt = 0; attempt < attachAttempts; ++attempt) {
    const bool mayBeOther = mayBeSuperseded(attempt == 0 ? look : Look::counted);
    Mapping head = mayBeOther ? newerHead() : Mapping{};
    if (!head && attempt != 0) break;
    if (head) attach(std::move(head), changed);
    if (followed_ != nullptr) follow(look, changed);
  }
  if (followed_ != nullptr && changed != nullptr) followed_->changes.finish();
  if (view_.isAttached()) tidy();
}

/// Two loads of lines that stay in the cache until the writer changes something.
bool TableReader::State::isUnchanged() const {
  if (!view_.isAttached() || isDamaged_) return false;
  const HeadState& state = view_.state();
  return state.retired.load(acquire) == 0 &&
         state.segmentsRemoved.load(acquire) == segmentsRemoved_ &&
         (followed_ == nullptr || followed_->shadow.isCurrent());
}

// ---- Attaching ----------------------------------------------------------------------------------

bool TableReader::State::mayBeSuperseded(Look look) {
  if (!view_.isAttached() || isDamaged_ || view_.state().retired.load(acquire) != 0) return true;
  if (look == Look::counted) return false;
  isDamaged_ = view_.isDamaged();
  if (isDamaged_ || !storage_.isThere(headName(shape_.name), view_.head())) return true;
  problemIs("");
  return false;
}

/// The head of a generation that is not attached; none when there is no such.
Mapping TableReader::State::newerHead() {
  Opened opened = storage_.open(headName(shape_.name), Access::read);
  if (!opened.mapping) {
    problemIs(opened.text);
    return {};
  }
  const auto* bytes = reinterpret_cast<const char*>(opened.mapping.data());
  std::string problem = headProblem({bytes, opened.mapping.size}, shape_);
  const bool isUsable = problem.empty();
  const bool isSame = isUsable && view_.isAttached() &&
                      reinterpret_cast<const HeadFixed*>(bytes)->generation == generation_;
  if (isSame && isDamaged_) problem = "damage: a file of this table was cut short by somebody else";
  problemIs(problem.empty() ? problem
                            : storage_.name() + "/" + headName(shape_.name) + ": " + problem);
  if (isSame || !isUsable) return {};
  return std::move(opened.mapping);
}

void TableReader::State::attach(Mapping head, KeyList* changed) {
  isDamaged_ = false;
  if (followed_ == nullptr) {
    view_.headIs(storage_, Access::read, std::move(head), report_);
    if (follow_ == Follow::yes) followed_ = newFollowed(view_);
    if (followed_ != nullptr) followed_->changes.begin(changed);
  } else {
    TableView next;
    next.headIs(storage_, Access::read, std::move(head), report_);
    auto followed = newFollowed(next);
    followed->shadow.update(true, nullptr);
    if (changed != nullptr)
      followed->changes.succeed(followed_->changes, followed_->shadow.words(),
                                followed->shadow.words());
    view_.take(next);
    followed->viewIs(view_);
    followed_ = std::move(followed);
  }
  generation_ = view_.fixed().generation;
  segmentsRemoved_ = view_.state().segmentsRemoved.load(acquire);
}

void TableReader::State::problemIs(const std::string& text) {
  if (text == problem_) return;
  problem_ = text;
  if (text.empty()) return reported_.clear();
  if (reported_.size() < reportLimit && reported_.insert(text).second && report_)
    report_(shape_.name + ": " + text);
}

// ---- Following ----------------------------------------------------------------------------------

void TableReader::State::follow(Look look, KeyList* changed) {
  auto& [shadow, changes] = *followed_;
  shadow.update(look == Look::everywhere, changed == nullptr ? nullptr : &changes);
}

/// Lets go of segments that are gone, after nothing here needs them any more.
void TableReader::State::tidy() {
  const Word removed = view_.state().segmentsRemoved.load(acquire);
  if (removed == segmentsRemoved_) return;
  segmentsRemoved_ = removed;
  if (followed_ == nullptr) return view_.tidy();
  view_.tidy([this](std::uint32_t segment) { return followed_->shadow.names(segment); });
}

// ---- TableReader --------------------------------------------------------------------------------

TableReader::TableReader(const Storage& storage, TableShape shape, Follow follow, Report report)
    : state_(std::make_unique<State>(storage, std::move(shape), follow, std::move(report))) {}

TableReader::~TableReader() = default;

const TableShape& TableReader::shape() const { return state_->shape(); }

const TableView& TableReader::view() const { return state_->view(); }

const TableView& TableReader::told() const { return state_->told(); }

void TableReader::prefetch(const std::byte* key) const {
  const TableView& told = state_->told();
  if (told.state().rows.load(std::memory_order_relaxed) <= nearRows) return;
  const std::uint64_t hash = told.hash(key, shape().keyBytes);
  const TableView::Directory directory = told.directory();
  const Word entry = directory.entries[prefixOf(hash, directory.depth)].load(acquire);
  if (const SharedWord* const words = told.page(pageOf(entry)))
    __builtin_prefetch(words + lineOf(hash, ownDepthOf(entry), told.pageShift()));
}

const std::string& TableReader::problem() const { return state_->problem(); }

void TableReader::refresh(Look look, KeyList* changed) { state_->refresh(look, changed); }

void TableReader::passLimitIs(unsigned limit) { state_->passLimitIs(limit); }

void TableReader::refreshSilently() { state_->refresh(Look::counted, nullptr); }

}  // namespace Tarn
