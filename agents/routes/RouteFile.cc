#include "agents/routes/RouteFile.h"

#include "agents/routes/FrrFile.h"
#include "agents/routes/Iproute2File.h"
#include "agents/routes/SonicFile.h"
#include "agents/routes/Words.h"

namespace StaticRoutes {

namespace {

constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";

std::string_view withoutMark(std::string_view text) {
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  return text;
}

}  // namespace

Format formatOf(std::string_view text) {
  text = withoutMark(text);
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos) return Format::frr;
  if (text[start] == '[' || text[start] == '{') return Format::sonic;
  LineReader lines(text, LineReader::Syntax::plain);
  while (const auto line = lines.next()) {
    if (isIproute2Line(*line)) return Format::iproute2;
    if (isFrrLabelLine(*line)) return Format::frr;
  }
  return Format::frr;
}

RouteFile routeFileFromText(std::string_view text, Mpls::RouteMetric metric) {
  text = withoutMark(text);
  // Not what somebody wrote, but a binary, UTF-16, or what a crash left of a file.
  if (const std::size_t zero = text.find('\0'); zero != std::string_view::npos) {
    RouteFile file;
    file.unusable = true;
    file.diagnostics.push_back({placeAt(text, zero), "expected text, found a zero byte"});
    return file;
  }
  switch (formatOf(text)) {
    case Format::sonic:
      return sonicFileFromText(text, metric);
    case Format::iproute2:
      return iproute2FileFromText(text, metric);
    case Format::frr:
      break;
  }
  return frrFileFromText(text, metric);
}

}  // namespace StaticRoutes
