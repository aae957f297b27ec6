#include "tools/mplsctl/Options.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <string>

#include "agents/common/ExitCode.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/Completion.h"
#include "tools/mplsctl/Errors.h"

namespace MplsCtl {

namespace {

constexpr const char* description =
    "Shows what the MPLS agents of this switch share, through the central database and in tables "
    "in memory.";

constexpr const char* footer =
    "Exit codes: 0 all right; 1 problems were found, or what was asked for is not there; 2 wrong "
    "usage, or output\nthat cannot be written; 3 the database is away, or does not have what is to "
    "be shown, or refused to tell, and the\nsame of tables; 4 damage was met, or a fault; 130 "
    "interrupted (143: by SIGTERM).\n\n`mplsctl help OBJECT` tells of the verbs of an object, "
    "`mplsctl OBJECT VERB --help` of one.";

void describeOutput(CLI::App& app, Options& options) {
  app.add_flag("-j,--json", options.json, "Print JSON");
  app.add_flag("-p,--pretty", options.pretty, "Print JSON with a line for each member");
  app.add_option_function<std::vector<std::string>>(
         "--filter",
         [&options](const std::vector<std::string>& texts) {
           for (const std::string& text : texts) {
             bool isComplete = false;
             options.filters.push_back(filterFrom(text, &isComplete));
             if (!isComplete) throw CLI::ValidationError("--filter", "expected KEY=VALUE");
           }
         },
         "Show records of which KEY has that value; may be repeated")
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false);
  app.add_option("--sort", options.sort, "Sort records by KEY; -KEY: the largest first")
      ->type_name("KEY");
  app.add_option("--limit", options.limit, "Show so many records at most")->type_name("N");
  app.add_flag("--count", options.count, "Print how many records there are, and nothing else");
  app.add_flag("--no-initial", options.noInitial, "watch: leave out what is there at the start");
  static const std::map<std::string, Options::Colour> colours{{"auto", Options::Colour::automatic},
                                                              {"always", Options::Colour::always},
                                                              {"never", Options::Colour::never}};
  app.add_option("--color", options.colour, "auto: on a terminal, unless NO_COLOR is set")
      ->type_name("auto|always|never")
      ->transform(CLI::Transformer(colours).description(""))
      ->default_str("auto");
}

void describeAll(CLI::App& app, Options& options) {
  Agents::describe(app, options);
  describeOutput(app, options);
  app.add_option("--timeout", options.timeout, "How long to wait for what is to be shown")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, 1e6))
      ->capture_default_str();
  Agents::describeRun(app, options.run);
  app.add_option("--lfib", options.lfib, "Directory of LFIB tables [all in lfib in that of --run]")
      ->type_name("DIR")
      ->check(Agents::notEmpty("DIR"));
}

// ---- Suggestions --------------------------------------------------------------------------------

/// How many letters are to be added, removed or replaced.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= b.size(); ++j)
      diagonal = std::exchange(row[j], std::min({row[j] + 1, row[j - 1] + 1,
                                                 diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)}));
  }
  return row.back();
}

/// "; did you mean NAME?", or the names that there are.
std::string suggestion(std::string_view word, const CLI::App& app) {
  std::string nearest, all;
  std::size_t best = std::max<std::size_t>(word.size() / 2, 2) + 1;
  for (const CLI::App* const one : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (one->get_group().empty()) continue;  // hidden
    const std::size_t away = distance(word, one->get_name());
    if (!word.empty() && away < best) nearest = one->get_name();
    best = std::min(best, away);
    all += (all.empty() ? "" : ", ") + one->get_name();
  }
  return nearest.empty() ? "; there are: " + all : "; did you mean " + nearest + "?";
}

/// The words of the command line that are neither options nor their values.
std::string problemText(const CLI::ParseError& problem, const CLI::App& app) {
  const CLI::App* at = &app;
  while (!at->get_subcommands().empty()) at = at->get_subcommands().front();
  const std::vector<std::string> left = app.remaining(true);
  const bool hasVerbs = !at->get_subcommands([](const CLI::App*) { return true; }).empty();
  for (const std::string& word : left) {
    if (word.starts_with('-')) continue;
    if (!hasVerbs) return "unexpected word: " + word;
    return "unknown " + std::string(at == &app ? "object" : "verb") + ": " + word +
           suggestion(word, *at);
  }
  if (hasVerbs && left.empty() && problem.get_name() == "RequiredError")
    return at == &app ? "expected an object" + suggestion("", app)
                      : "expected a verb of " + at->get_name() + suggestion("", *at);
  return problem.what();
}

CLI::App* objectOf(CLI::App& app, const std::string& name) {
  const auto found =
      app.get_subcommands([&](const CLI::App* one) { return one->get_name() == name; });
  return found.empty() ? nullptr : found.front();
}

// ---- Reading ------------------------------------------------------------------------------------

/// Wrong usage is told as JSON where that was asked for, as far as can be seen.
int tellUsage(const CLI::ParseError& problem, CLI::App& app, Options& options) {
  if (problem.get_exit_code() == 0) return app.exit(problem);
  std::string text = problemText(problem, app);
  tellError(options, ErrorCode::usage, text);
  if (!options.json) std::cerr << "Run with --help for more information.\n";
  return Agents::exitUsage;
}

/// That all keys are those of a column.
bool areKeysKnown(const Options& options) {
  std::vector<std::string> keys;
  for (const Filter& filter : options.filters) keys.push_back(filter.key);
  if (!options.sort.empty()) keys.push_back(options.sort.substr(options.sort[0] == '-' ? 1 : 0));
  for (const std::string& key : keys) {
    if (isKnownKey(options.types, key)) continue;
    const std::string known = knownKeys(options.types);
    tellError(options, ErrorCode::usage,
              options.object + " " + options.verb + " has no key " + key + "; " +
                  (known.empty() ? "it has none" : "there are: " + known));
    return false;
  }
  return true;
}

/// `help [OBJECT]`; raises what prints the help.
void describeHelp(CLI::App& app) {
  auto* const help = app.add_subcommand("help", "What there is to an object");
  const auto object = std::make_shared<std::string>();
  help->add_option("OBJECT", *object, "[all]")->type_name("");
  help->callback([&app, object] {
    CLI::App* of = &app;
    if (!object->empty()) of = objectOf(app, *object);
    if (of == nullptr)
      throw CLI::ValidationError("unknown object: " + *object + suggestion(*object, app));
    std::cout << of->help(of == &app ? "" : app.get_name());
    throw CLI::Success();
  });
}

void describeCompletion(CLI::App& app) {
  auto* const completion = app.add_subcommand("completion", "")->group("");
  completion->add_subcommand("bash", "")->callback([&app] {
    printBashCompletion(std::cout, app);
    throw CLI::Success();
  });
  completion->require_subcommand(1);
}

}  // namespace

Command commandFrom(int argc, const char* const* argv, Options& options, int& exitCode) {
  options.name = "mplsctl";
  CLI::App app(description, options.name);
  app.footer(footer);
  describeAll(app, options);
  app.require_subcommand(1);
  app.get_formatter()->label("SUBCOMMAND", "OBJECT VERB [KEY ...]");
  const auto ofObjects = std::make_shared<CLI::Formatter>();
  ofObjects->label("SUBCOMMAND", "VERB [KEY ...]");
  const Entry* chosen = nullptr;
  for (const Entry& one : entries()) {
    CLI::App* object = objectOf(app, one.object);
    if (object == nullptr) object = app.add_subcommand(one.object, one.objectText);
    object->fallthrough()->formatter(ofObjects);
    CLI::App* command = object;  // some objects are verbs themselves: those of all objects
    if (*one.verb != '\0') {
      object->require_subcommand(1);
      command = object->add_subcommand(one.verb, one.text)->fallthrough();
    }
    command->callback([&chosen, &one] { chosen = &one; });
    if (one.describe != nullptr) one.describe(*command, options);
  }
  describeHelp(app);
  describeCompletion(app);
  options.json = std::ranges::any_of(argv, argv + argc, [](std::string_view word) {
    return word == "-j" || word == "--json" || word == "-p" || word == "--pretty";
  });
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& problem) {
    exitCode = tellUsage(problem, app, options);
    return nullptr;
  }
  options.json = options.json || options.pretty;
  if (options.json)
    options.logSink = [&options](std::string_view level, std::string_view text,
                                 const Agents::LogFields& fields) {
      tellLogLine(options, level, text, fields);
    };
  options.object = chosen->object;
  options.verb = chosen->verb;
  if (chosen->types != nullptr) options.types = chosen->types();
  exitCode = Agents::exitUsage;
  return areKeysKnown(options) ? chosen->command : nullptr;
}

}  // namespace MplsCtl
