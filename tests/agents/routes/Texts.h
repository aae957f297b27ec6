/// What a parser made of a file, as text to compare with.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "agents/routes/RouteFile.h"

namespace StaticRoutes {

/// "LABEL: GATEWAY ACTION [OUT] [dev IF] [xWEIGHT] [TTL], ..." for each route.
inline std::vector<std::string> routesOf(const RouteFile& file) {
  std::vector<std::string> lines;
  for (const auto& [key, vias] : file.routes) {
    std::string line = std::to_string(key.topLabel().value()) + ":";
    for (const Mpls::Via& via : vias) {
      line += line.back() == ':' ? " " : ", ";
      line += via.nextHop().stringValue().view();
      line += " " + std::string(formaEnumName(via.labelAction()));
      if (via.outLabel() != Netbase::MplsLabel())
        line += " " + std::to_string(via.outLabel().value());
      if (!via.intf().empty()) line += " dev " + std::string(via.intf().name());
      if (via.weight() != 1) line += " x" + std::to_string(via.weight());
      if (via.ttlMode() != Mpls::undefinedTtlMode_)
        line += " " + std::string(formaEnumName(via.ttlMode()));
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

inline std::vector<std::string> errorsOf(const RouteFile& file) {
  std::vector<std::string> lines;
  for (const Diagnostic& one : file.diagnostics) lines.push_back(lineOf("F", one));
  return lines;
}

/// A text, and what it is to be read as.
struct ParserCase {
  std::string text;
  std::vector<std::string> routes;
  std::vector<std::string> errors;
};

inline void check(const std::vector<ParserCase>& cases) {
  for (const ParserCase& one : cases) {
    const RouteFile file = routeFileFromText(one.text, 100);
    EXPECT_EQ(routesOf(file), one.routes) << one.text;
    EXPECT_EQ(errorsOf(file), one.errors) << one.text;
  }
}

}  // namespace StaticRoutes
