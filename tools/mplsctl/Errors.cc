#include "tools/mplsctl/Errors.h"

#include "agents/common/JsonWriter.h"
#include "agents/common/Log.h"

namespace MplsCtl {

namespace {

/// The log escapes what is no ASCII in a way of its own.
std::string asciiText(const Agents::Json& json) {
  return json.dump(-1, ' ', true, Agents::Json::error_handler_t::replace);
}

}  // namespace

void tellError(const Options& options, std::string_view code, std::string_view text,
               std::string_view file) {
  Agents::Log log(options.name);
  if (options.json) {
    Agents::Json error = {{"code", code}, {"text", text}};
    if (!file.empty()) error["file"] = file;
    return log.raw(asciiText({{"error", std::move(error)}}));
  }
  const bool isNamed = file.empty() || text.starts_with(file);
  log.say((isNamed ? "" : std::string(file) + ": ") + std::string(text));
}

void tellInfo(const Options& options, std::string_view text) {
  Agents::Log log(options.name);
  if (options.json) log.raw(asciiText({{"info", {{"text", text}}}}));
  else log.say(text);
}

void tellLogLine(const Options& options, std::string_view level, std::string_view text,
                 const Agents::LogFields& fields) {
  const bool isError = level == "error";
  Agents::Json line = {{"text", text}};
  if (isError) line["code"] = fields.empty() ? ErrorCode::corrupt : ErrorCode::cannotOpen;
  for (const Agents::LogField& one : fields) line[std::string(one.key)] = one.value;
  Agents::Log(options.name).raw(asciiText({{isError ? "error" : "info", std::move(line)}}));
}

}  // namespace MplsCtl
