#include "agents/routes/SonicFile.h"

#include "agents/routes/Fields.h"
#include "agents/routes/SonicRoute.h"

namespace StaticRoutes {

namespace {

using Kind = JsonTree::Kind;

/// Applies the entries of one file in their order.
class SonicReader {
 public:
  explicit SonicReader(Mpls::RouteMetric metric) : metric_(metric) {}
  RouteFile read(std::string_view text);

 private:
  /// One object of the array: a table's entry, and what to do with it.
  struct Operation {
    std::string table, key;
    std::string pointer;  // of the entry
    const JsonTree* entry = nullptr;
    bool set = false;
  };

  void readTree(const JsonTree& tree);
  static Operation operation(const JsonTree& object, const std::string& pointer);
  static void nameIs(Operation& operation, const std::string& name, const std::string& pointer);
  void run(const Operation& operation);
  void labelRoute(const Operation& operation);
  void intf(const Operation& operation);

  Mpls::RouteMetric metric_;
  RouteFile file_;
};

std::string found(const JsonTree& tree) {
  return tree.kind == Kind::string ? quoted(tree.text) : std::string(nameOf(tree.kind));
}

RouteFile SonicReader::read(std::string_view text) {
  try {
    readTree(jsonTreeFromText(text));
  } catch (const Refusal& refusal) {
    file_.unusable = true;
    file_.diagnostics.push_back(refusal.why);
  }
  return std::move(file_);
}

void SonicReader::readTree(const JsonTree& tree) {
  if (tree.kind != Kind::array)
    refuseAt("", "expected a JSON array of table entries, found " + found(tree));
  for (std::size_t i = 0; i < tree.members.size(); ++i) {
    try {
      run(operation(tree.members[i].tree, "/" + std::to_string(i)));
    } catch (const Refusal& refusal) {
      file_.diagnostics.push_back(refusal.why);
    }
  }
}

SonicReader::Operation SonicReader::operation(const JsonTree& object, const std::string& pointer) {
  if (object.kind != Kind::object) refuseAt(pointer, "expected an object, found " + found(object));
  Operation operation;
  const JsonTree* op = nullptr;
  for (const auto& [name, value] : object.members) {
    const JsonTree*& place = name == "OP" ? op : operation.entry;
    if (place != nullptr)
      refuseAt(below(pointer, name), name == "OP"
                                         ? "expected one OP, found it twice"
                                         : "expected one entry and OP, found another entry");
    place = &value;
    if (name != "OP") nameIs(operation, name, pointer);
  }
  if (operation.entry == nullptr) refuseAt(pointer, "expected a TABLE:KEY, found none");
  if (op == nullptr) refuseAt(pointer, "expected an OP, found none");
  if (op->kind != Kind::string || (op->text != "SET" && op->text != "DEL"))
    refuseAt(below(pointer, "OP"), "expected \"SET\" or \"DEL\", found " + found(*op));
  operation.set = op->text == "SET";
  return operation;
}

void SonicReader::nameIs(Operation& operation, const std::string& name,
                         const std::string& pointer) {
  operation.pointer = below(pointer, name);
  const std::size_t colon = name.find(':');
  if (colon == std::string::npos)
    refuseAt(operation.pointer, "expected a name like TABLE:KEY, found " + quoted(name));
  operation.table = name.substr(0, colon);
  operation.key = name.substr(colon + 1);
}

void SonicReader::run(const Operation& operation) {
  if (operation.table == "LABEL_ROUTE_TABLE") labelRoute(operation);
  if (operation.table == "INTF_TABLE") intf(operation);
}

void SonicReader::labelRoute(const Operation& operation) {
  const auto label = numberFromText(operation.key);
  if (!label || *label > Netbase::MplsLabel::max)
    refuseAt(operation.pointer, expected("a label from 0 to 1048575", operation.key));
  const Mpls::RouteKey key(*label, metric_);
  const SonicFields fields = sonicFields(*operation.entry, operation.pointer);
  if (operation.set) file_.routes[key] = sonicVias(fields, operation.pointer);
  else file_.routes.erase(key);
}

void SonicReader::intf(const Operation& operation) {
  const SonicFields fields = sonicFields(*operation.entry, operation.pointer);
  const auto mpls = fields.find("mpls");
  if (operation.set && mpls == fields.end()) return;  // an address, or another setting
  const auto intf = intfFromText(operation.key);
  if (!operation.set) {
    if (intf) file_.disabledIntfs.erase(*intf);
    return;
  }
  if (!intf)
    refuseAt(operation.pointer, expected("an interface name of at most 15 bytes", operation.key));
  if (mpls->second == "disable") file_.disabledIntfs.insert(*intf);
  else if (mpls->second == "enable") file_.disabledIntfs.erase(*intf);
  else refuseAt(below(operation.pointer, "mpls"), expected("enable or disable", mpls->second));
}

}  // namespace

RouteFile sonicFileFromText(std::string_view text, Mpls::RouteMetric metric) {
  return SonicReader(metric).read(text);
}

}  // namespace StaticRoutes
