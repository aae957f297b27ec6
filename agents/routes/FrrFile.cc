#include "agents/routes/FrrFile.h"

#include <algorithm>
#include <array>

#include "agents/routes/Fields.h"
#include "agents/routes/Iproute2File.h"
#include "mpls/types/LabelRangeInfo.h"

namespace StaticRoutes {

namespace {

using Netbase::IpGenAddr;
using Netbase::MplsLabel;

constexpr std::string_view inLabel = "an incoming label from 16 to 1048575";

/// Reads one file: each handler takes what follows the words that it is called for.
class FrrReader {
 public:
  explicit FrrReader(Mpls::RouteMetric metric) : metric_(metric) {}
  RouteFile read(std::string_view text);
  /// Whether a statement begins like the line.
  static bool reads(const Line& line);

 private:
  using Handler = void (FrrReader::*)(WordReader&);
  struct Statement {
    std::array<std::string_view, 4> words;  // as many as are not empty
    Handler handler;
  };
  static const std::array<Statement, 8> statements;
  static std::size_t wordsMatched(const Statement& statement, const Line& line);

  void readLine(const Line& line);
  void lsp(WordReader& in);
  void noLsp(WordReader& in);
  void dynamicBlock(WordReader& in);
  void noDynamicBlock(WordReader& in);
  void globalBlock(WordReader& in);
  void noGlobalBlock(WordReader& in);
  void segmentRouting(WordReader& in);
  void noSegmentRouting(WordReader& in);

  void viaIs(const Word& key, const IpGenAddr& gateway, Mpls::Via via);
  void block(WordReader& in, std::string_view name);
  void noBlock(WordReader& in, std::string_view name);

  Mpls::RouteMetric metric_;
  RouteFile file_;
};

const std::array<FrrReader::Statement, 8> FrrReader::statements{{
    {{"mpls", "lsp"}, &FrrReader::lsp},
    {{"no", "mpls", "lsp"}, &FrrReader::noLsp},
    {{"mpls", "label", "dynamic-block"}, &FrrReader::dynamicBlock},
    {{"no", "mpls", "label", "dynamic-block"}, &FrrReader::noDynamicBlock},
    {{"mpls", "label", "global-block"}, &FrrReader::globalBlock},
    {{"no", "mpls", "label", "global-block"}, &FrrReader::noGlobalBlock},
    {{"segment-routing", "global-block"}, &FrrReader::segmentRouting},
    {{"no", "segment-routing", "global-block"}, &FrrReader::noSegmentRouting},
}};

std::uint32_t label(const Word& word, std::string_view what) {
  const auto number = numberFromText(word.text);
  if (!number || *number < firstFreeLabel || *number > MplsLabel::max) refuse(word, what);
  return *number;
}

IpGenAddr gateway(const Word& word) {
  const auto address = IpGenAddr::fromText(word.text);
  if (!address || !address->isSet()) refuse(word, "an IPv4 or IPv6 gateway");
  return *address;
}

Mpls::Via viaTo(const IpGenAddr& gateway, const Word& out) {
  Mpls::Via via;
  via.nextHopIs(gateway);
  if (out.text == "implicit-null") popIs(via);
  else if (out.text == "explicit-null") swapIs(via, gateway.isV4() ? explicitNull4 : explicitNull6);
  else swapIs(via, label(out, "an out label from 16 to 1048575, implicit-null or explicit-null"));
  return via;
}

Mpls::LabelRange range(WordReader& in) {
  const std::uint32_t first = label(in.take("the first label"), "a first label from 16 to 1048575");
  const Word& end = in.take("the last label");
  const std::uint32_t last = label(end, "a last label from 16 to 1048575");
  if (last < first) refuse(end, "a last label of " + std::to_string(first) + " or more");
  return {first, last - first + 1};
}

std::size_t eraseGateway(Vias& vias, const IpGenAddr& gateway) {
  return std::erase_if(vias, [&](const Mpls::Via& via) { return via.nextHop() == gateway; });
}

RouteFile FrrReader::read(std::string_view text) {
  readLines(text, LineReader::Syntax::plain, file_.diagnostics,
            [this](const Line& line) { readLine(line); });
  return std::move(file_);
}

/// How many words of the statement the line begins with, or 0 when it is another statement.
std::size_t FrrReader::wordsMatched(const Statement& statement, const Line& line) {
  std::size_t at = 0;
  for (; at < statement.words.size() && !statement.words[at].empty(); ++at)
    if (at >= line.words.size() || line.words[at].text != statement.words[at]) return 0;
  return at;
}

bool FrrReader::reads(const Line& line) {
  return std::ranges::any_of(statements,
                             [&](const Statement& one) { return wordsMatched(one, line) != 0; });
}

void FrrReader::readLine(const Line& line) {
  for (const Statement& statement : statements) {
    const std::size_t matched = wordsMatched(statement, line);
    if (matched == 0) continue;
    WordReader in(line, matched);
    (this->*statement.handler)(in);
    return;
  }
  const Word& first = line.words.front();
  if (isIproute2Line(line)) refuse(first, "an FRR line, as in the rest of this file");
  if (numberFromText(first.text)) refuse(first, "an FRR configuration line");
}

void FrrReader::lsp(WordReader& in) {
  const Word& key = in.take(inLabel);
  label(key, inLabel);
  const IpGenAddr to = gateway(in.take("a gateway"));
  const Mpls::Via via = viaTo(to, in.take("an out label, implicit-null or explicit-null"));
  in.takeEnd();
  viaIs(key, to, via);
}

/// A second line with the same gateway replaces the first.
void FrrReader::viaIs(const Word& key, const IpGenAddr& gateway, Mpls::Via via) {
  Vias& vias = file_.routes[{label(key, inLabel), metric_}];
  if (eraseGateway(vias, gateway) == 0 && isFull(vias)) refuse(key, "a route of at most 511 vias");
  vias.insert(std::move(via));
}

void FrrReader::noLsp(WordReader& in) {
  const Mpls::RouteKey key(label(in.take(inLabel), inLabel), metric_);
  std::optional<IpGenAddr> to;
  if (!in.atEnd()) to = gateway(in.take("a gateway"));
  if (!in.atEnd()) viaTo(*to, in.take("an out label"));
  in.takeEnd();
  const auto found = file_.routes.find(key);
  if (found == file_.routes.end()) return;
  if (to) eraseGateway(found->second, *to);
  if (!to || found->second.empty()) file_.routes.erase(found);
}

void FrrReader::block(WordReader& in, std::string_view name) {
  const Place place = in.place();
  const Mpls::LabelRange labels = range(in);
  in.takeEnd();
  file_.labelRanges[std::string(name)] = {labels, place};
}

/// The bounds may be repeated, and do not matter.
void FrrReader::noBlock(WordReader& in, std::string_view name) {
  if (!in.atEnd()) range(in);
  in.takeEnd();
  file_.labelRanges.erase(std::string(name));
}

void FrrReader::dynamicBlock(WordReader& in) { block(in, Mpls::LabelRangeInfo::rangeTypeDynamic); }

void FrrReader::noDynamicBlock(WordReader& in) {
  noBlock(in, Mpls::LabelRangeInfo::rangeTypeDynamic);
}

void FrrReader::globalBlock(WordReader& in) { block(in, Mpls::LabelRangeInfo::rangeTypeBgpSrgb); }

void FrrReader::noGlobalBlock(WordReader& in) {
  noBlock(in, Mpls::LabelRangeInfo::rangeTypeBgpSrgb);
}

void FrrReader::segmentRouting(WordReader& in) {
  const Place globalPlace = in.place();
  const Mpls::LabelRange global = range(in);
  std::optional<RouteFile::Range> local;
  if (!in.atEnd()) {
    const Word& word = in.take("local-block");
    if (word.text != "local-block") refuse(word, "local-block or the end of the line");
    const Place place = in.place();
    local = {range(in), place};
  }
  in.takeEnd();
  file_.labelRanges[std::string(Mpls::LabelRangeInfo::rangeTypeSrgb)] = {global, globalPlace};
  const std::string srlb(Mpls::LabelRangeInfo::rangeTypeSrlb);
  if (local) file_.labelRanges[srlb] = *local;
}

void FrrReader::noSegmentRouting(WordReader& in) {
  if (!in.atEnd()) range(in);
  if (in.takeIf("local-block")) range(in);
  in.takeEnd();
  file_.labelRanges.erase(std::string(Mpls::LabelRangeInfo::rangeTypeSrgb));
  file_.labelRanges.erase(std::string(Mpls::LabelRangeInfo::rangeTypeSrlb));
}

}  // namespace

bool isFrrLabelLine(const Line& line) { return FrrReader::reads(line); }

RouteFile frrFileFromText(std::string_view text, Mpls::RouteMetric metric) {
  return FrrReader(metric).read(text);
}

}  // namespace StaticRoutes
