#include "agents/routes/Iproute2File.h"

#include <algorithm>
#include <array>

#include "agents/routes/Fields.h"
#include "agents/routes/FrrFile.h"
#include "agents/routes/Iproute2Command.h"

namespace StaticRoutes {

namespace {

using Verb = Iproute2Command::Verb;

constexpr std::array<std::string_view, 18> objects{
    "link", "l",     "address", "addr",   "a",       "neigh",   "neighbor", "neighbour", "rule",
    "ru",   "netns", "netconf", "tunnel", "monitor", "nexthop", "vrf",      "maddress",  "mroute"};
constexpr std::array<std::string_view, 10> routeVerbs{
    "add", "replace", "change", "append", "del", "delete", "show", "list", "flush", "get"};

bool isOneOf(const auto& texts, std::string_view text) {
  return std::ranges::find(texts, text) != texts.end();
}

/// `route` may be cut short, as in `ip ro add`.
bool isRoute(std::string_view text) {
  return !text.empty() && std::string_view("route").starts_with(text);
}

/// Goes over the options of `ip`; whether they choose the family MPLS.
bool takeOptions(WordReader& in) {
  bool mpls = false;
  while (in.peek().starts_with('-')) {
    const std::string_view option = in.take("an option").text;
    if (option == "-M") mpls = true;
    else if (option == "-f" || option == "-family") mpls = in.take("a family").text == "mpls";
    else if (option == "-n" || option == "-netns") in.take("the name of a network namespace");
  }
  return mpls;
}

/// Whether a route of another network namespace is meant, which is none of ours.
bool isElsewhere(const Line& line) {
  const auto option = [](const Word& word) { return word.text == "-n" || word.text == "-netns"; };
  return std::ranges::any_of(line.words, option);
}

/// Runs the commands of one file.
class Iproute2Reader {
 public:
  explicit Iproute2Reader(Mpls::RouteMetric metric) : metric_(metric) {}
  RouteFile read(std::string_view text);

 private:
  void readLine(const Line& line);
  void run(const Iproute2Command& command);
  static void addVias(Vias& to, const Iproute2Command& command);

  Mpls::RouteMetric metric_;
  RouteFile file_;
};

RouteFile Iproute2Reader::read(std::string_view text) {
  readLines(text, LineReader::Syntax::shell, file_.diagnostics,
            [this](const Line& line) { readLine(line); });
  return std::move(file_);
}

void Iproute2Reader::readLine(const Line& line) {
  const Word& first = line.words.front();
  if (first.text != "ip") {
    const auto isMpls = [](const Word& word) { return word.text == "mpls"; };
    if (isFrrLabelLine(line) || std::ranges::any_of(line.words, isMpls))
      refuse(first, "an `ip` command, as in the rest of this file");
    return;
  }
  WordReader in(line, 1);
  if (!takeOptions(in) || !isRoute(in.peek())) return;
  in.take("route");
  const Iproute2Command command = iproute2CommandFrom(in);
  if (command.verb == Verb::none) return;
  if (isElsewhere(line)) refuse(first, "a route of this network namespace");
  run(command);
}

void Iproute2Reader::run(const Iproute2Command& command) {
  const Mpls::RouteKey key(command.inLabel, metric_);
  const bool there = file_.routes.contains(key);
  const Verb verb = command.verb;
  if (verb == Verb::add && there)
    refuse(command.label, "a label without a route (this one exists: use replace or append)");
  if ((verb == Verb::change || verb == Verb::del) && !there)
    refuse(command.label, "a label with a route (this one has none)");
  if (verb == Verb::del) {
    file_.routes.erase(key);
    return;
  }
  Vias vias = verb == Verb::append && there ? file_.routes[key] : Vias();
  addVias(vias, command);
  file_.routes[key] = std::move(vias);
}

void Iproute2Reader::addVias(Vias& to, const Iproute2Command& command) {
  for (const Mpls::Via& via : command.vias) {
    if (isFull(to)) refuse(command.label, "a route of at most 511 vias");
    if (!to.insert(via).second) refuse(command.label, "next hops that the route has not yet");
  }
}

}  // namespace

bool isIproute2Line(const Line& line) {
  if (line.words.size() < 2 || line.words[0].text != "ip") return false;
  const std::string_view object = line.words[1].text;
  if (object.starts_with('-') || isOneOf(objects, object)) return true;
  return isRoute(object) && line.words.size() > 2 && isOneOf(routeVerbs, line.words[2].text);
}

RouteFile iproute2FileFromText(std::string_view text, Mpls::RouteMetric metric) {
  return Iproute2Reader(metric).read(text);
}

}  // namespace StaticRoutes
