/// Readers that were written from docs/tarn-format.md and docs/centrum-protocol.md alone, in
/// another language, see what the library wrote.
#include <algorithm>
#include <set>
#include <sstream>

#include "mpls/entities/Registration.h"
#include "mpls/entities/RouteConfig.h"
#include "platform/forma/Schema.h"
#include "tests/agents/system/System.h"

namespace {

using namespace AgentTest;

class FormatsTest : public System {
 protected:
  struct Read {
    int code;
    std::set<std::string> lines;
    std::string errors;
  };

  /// Runs a reader of tests/formats to its end.
  Read read(const std::string& name, const Arguments& arguments) const {
    const auto place = Fs::absolute(__FILE__).parent_path() / "../../formats" / name;
    Program reader(folder, place.string(), arguments);
    Read all;
    std::istringstream output(reader.rest());
    for (std::string line; std::getline(output, line);)
      EXPECT_TRUE(all.lines.insert(line).second) << "twice: " << line;
    all.errors = reader.errors();
    all.code = reader.end();
    return all;
  }
  Read readTables() const { return read("read-table.py", {"run/lfib/static"}); }
  static std::string address(int i) {
    return "10.0." + std::to_string(i / 250) + "." + std::to_string(1 + i % 250);
  }

  static constexpr int routeCount = 1500;  // more than a page of the index holds
};

/// What is left of a line behind a field, up to the next one.
std::string fieldOf(const std::string& line, const std::string& field) {
  const std::size_t at = line.find(" " + field + "=");
  if (at == std::string::npos) return "none";
  const std::size_t from = at + field.size() + 2;
  return line.substr(from, line.find(' ', from) - from);
}

TEST_F(FormatsTest, ATableReaderInAnotherLanguageSeesAllRowsAndAllDamage) {
  std::string text;
  std::set<std::string> due;
  for (int i = 0; i < routeCount; ++i) {
    text += "mpls lsp " + std::to_string(1000 + i) + " " + address(i) + " 20\n";
    due.insert(std::to_string(1000 + i) + " over " + address(i));
  }
  folder.write("static", text);
  startAll({"centrum", "mpls-agent", "lfib-writer", "static"});
  const auto found = [](const Read& tables) {
    std::map<std::string, std::string> hopOf, viaOf;
    for (const std::string& line : tables.lines) {
      if (line.starts_with("mplsVia:"))
        hopOf[fieldOf(line, "key.index")] = fieldOf(line, "nextHop");
      if (line.starts_with("viaSet:"))
        viaOf[fieldOf(line, "key.index")] = fieldOf(line, "viaKey[].index");
    }
    std::set<std::string> routes;
    for (const std::string& line : tables.lines) {
      if (!line.starts_with("lfibRoute:")) continue;
      const std::string via = viaOf[fieldOf(line, "viaSetKey.index")];
      routes.insert(fieldOf(line, "key.topLabel") + " over " +
                    hopOf[via.empty() ? "" : via.substr(1, via.size() - 2)]);
    }
    return routes;
  };
  Read live = readTables();  // the writer is at it
  for (; found(live) != due; live = readTables())
    ASSERT_EQ(live.code, 0) << live.errors << members.at("lfib-writer")->pid();
  killAll({"lfib-writer"});
  const Read dead = readTables();
  EXPECT_TRUE(dead.code == 0 && dead.lines == live.lines) << dead.errors;

  for (const auto& file : Fs::directory_iterator(folder / "run/lfib/static")) {
    if (file.path().string().find("lfibRoute") == std::string::npos) continue;
    if (file.path().extension().string().find(".seg") != 0) continue;
    std::fstream segment(file.path(), std::ios::in | std::ios::out | std::ios::binary);
    segment.seekp(64 + 16 + 10);  // in the first row
    segment.put('\x5a');
  }
  const Read damaged = readTables();
  EXPECT_EQ(damaged.code, 1);
  EXPECT_NE(damaged.errors.find("lfibRoute: damaged: record at 64: checksum is wrong"),
            std::string::npos)
      << damaged.errors;
}

TEST_F(FormatsTest, AClientInAnotherLanguageReadsDirectoriesAndEntities) {
  folder.write("static", "mpls lsp 100 10.0.0.1 200\nmpls lsp 100 2001:db8::1 201\n");
  startAll({"centrum", "static"});
  const std::string path = "routing/mpls/route/input/static";
  const std::string type = "Mpls::RouteConfigInput";
  Forma::TypeRegistry types;
  Mpls::registerEntityTypes(types);
  folder.write("schema", Forma::schemaText(Mpls::RouteConfigInput::formaEntityType(), types));

  const Read known = read("read-path.py", {"socket", path, type, "schema"});
  EXPECT_EQ(known.code, 0) << known.errors;
  const std::string route = "route[{'topLabel': 100, 'metric': {'value': 100}}]";
  const auto via = [&route](const std::string& hop, int label) {
    return route + ".via[{'nextHop': '" + hop +
           "', 'nexthopGroup': '', 'labelAction': 'swap', 'outLabel': " + std::to_string(label) +
           ", 'intf': '', 'payloadType': 'undefinedPayload', 'skipEgressAcl': False, 'ttlMode': "
           "'undefinedTtlMode', 'weight': 1}] = True";
  };
  EXPECT_EQ(known.lines, (std::set{route, via("10.0.0.1", 200), via("2001:db8::1", 201)}));

  const Read opaque = read("read-path.py", {"socket", path, type});  // learns the schema's hash
  EXPECT_TRUE(opaque.code == 0 && opaque.lines.size() == 3) << opaque.errors;
  EXPECT_TRUE(opaque.lines.contains("0[6400000064]")) << *opaque.lines.begin();

  EXPECT_EQ(read("read-path.py", {"socket", "routing/mpls/route/input", "Forma::Dir"}).lines,
            (std::set<std::string>{"static: " + type}));
  const Read wrong = read("read-path.py", {"socket", path, "Mpls::Config"});
  EXPECT_EQ(wrong.errors,
            "status 2: " + path + " is of type " + type + ", not of type Mpls::Config\n");
}

}  // namespace
