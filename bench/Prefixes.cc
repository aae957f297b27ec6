#include "bench/Prefixes.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Bench {
namespace {

constexpr std::uint32_t firstLabel = 16;
constexpr std::uint32_t labels = 1'048'560;

Netbase::MplsLabel labelOf(std::uint32_t system) { return firstLabel + system % labels; }

[[noreturn]] void cannotRead(const std::string& path, const std::string& what) {
  throw std::runtime_error("cannot read " + path + ": " + what);
}

/// A line: prefix, tabulator, number of the system. Those that begin with ";" are comments.
LabelledPrefix parsed(std::string_view line, const std::string& path) {
  const std::size_t tab = std::min(line.find('\t'), line.size());
  const auto prefix = Netbase::IpGenPrefix::fromText(line.substr(0, tab));
  std::uint32_t system = 0;
  const char* const end = line.data() + line.size();
  if (!prefix || std::from_chars(line.data() + tab + 1, end, system).ptr != end)
    cannotRead(path, std::string(line));
  return {Mpls::FwdEqvClass(*prefix), labelOf(system)};
}

std::vector<LabelledPrefix> read(const std::string& path) {
  const std::string command = "gzip -dc '" + path + "'";
  const std::unique_ptr<FILE, int (*)(FILE*)> in(::popen(command.c_str(), "r"), ::pclose);
  if (!in) cannotRead(path, "gzip does not start");
  std::vector<LabelledPrefix> table;
  char line[256];
  while (std::fgets(line, sizeof line, in.get()) != nullptr) {
    std::string_view text(line);
    text.remove_suffix(text.ends_with('\n') ? 1 : 0);
    if (!text.empty() && text.front() != ';') table.push_back(parsed(text, path));
  }
  std::ranges::sort(table);
  return table;
}

/// The prefix of 24 bits with that number, of a system that may move between the tables.
LabelledPrefix generated(std::uint32_t number, std::uint32_t system) {
  const Netbase::IpGenAddr address(Netbase::IpAddr((1U << 24) + (number << 8)));
  return {Mpls::FwdEqvClass(Netbase::IpGenPrefix(address, 24)), labelOf(system)};
}

PrefixTables generatedTables() {
  constexpr std::uint32_t moved = 50'000;  // are in both, with other labels
  PrefixTables tables;
  for (std::uint32_t i = 0; i < PrefixTables::stay + PrefixTables::gone; ++i)
    tables.before.push_back(generated(i, i / 10));
  for (std::uint32_t i = 0; i < PrefixTables::stay + moved; ++i)
    tables.after.push_back(generated(i, i / 10 + (i < PrefixTables::stay ? 0 : 1)));
  for (std::uint32_t i = 0; i < PrefixTables::come - moved; ++i)
    tables.after.push_back(generated(PrefixTables::stay + PrefixTables::gone + i, i / 10));
  return tables;
}

}  // namespace

PrefixTables prefixTables() {
  const char* const data = std::getenv("MPLS_DATA");
  const std::string folder = std::string(data == nullptr ? "../shared/data" : data) + "/prefixes/";
  if (!std::filesystem::exists(folder)) return generatedTables();
  return {read(folder + "ipasn_20080501_v12.dat.gz"), read(folder + "ipasn_20140513_v12.dat.gz")};
}

}  // namespace Bench
