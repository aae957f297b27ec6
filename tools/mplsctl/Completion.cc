#include "tools/mplsctl/Completion.h"

#include <sstream>
#include <string>
#include <vector>

namespace MplsCtl {

namespace {

std::vector<const CLI::App*> commandsOf(const CLI::App& app) {
  std::vector<const CLI::App*> all;
  for (const CLI::App* const one : app.get_subcommands([](const CLI::App*) { return true; }))
    if (!one->get_group().empty()) all.push_back(one);
  return all;
}

std::string namesOf(const std::vector<const CLI::App*>& apps) {
  std::string names;
  for (const CLI::App* const one : apps) names += (names.empty() ? "" : " ") + one->get_name();
  return names;
}

/// All names of options, or those that `wanted` holds for, with `separator` between them.
std::string optionsOf(const CLI::App& app, const std::string& separator, auto wanted) {
  std::string names;
  for (const CLI::Option* const option : app.get_options()) {
    if (!wanted(*option)) continue;
    for (const std::string& name : option->get_lnames())
      names += (names.empty() ? "" : separator) + "--" + name;
    for (const std::string& name : option->get_snames())
      names += (names.empty() ? "" : separator) + "-" + name;
  }
  return names;
}

bool isNamed(const CLI::Option& option) { return option.nonpositional(); }
bool isFile(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  return isNamed(option) &&
         (type.starts_with("DIR") || type.starts_with("FILE") || type.starts_with("PATH"));
}
bool hasValue(const CLI::Option& option) {
  return isNamed(option) && option.get_expected_max() > 0;
}

/// A case of the options that a command has beside those of all.
std::string furtherOf(const CLI::App& command, const std::string& words) {
  const std::string own = optionsOf(command, " ", [](const CLI::Option& option) {
    return isNamed(option) && !option.check_lname("help");
  });
  return own.empty() ? "" : "    " + words + ") options+=\" " + own + "\" ;;\n";
}

/// "a|b" and what of "b|c" is not in it.
std::string joined(std::string all, const std::string& more) {
  std::istringstream names(more);
  for (std::string name; std::getline(names, name, '|');)
    if (("|" + all + "|").find("|" + name + "|") == std::string::npos) all += "|" + name;
  return all;
}

constexpr const char* head = R"(# bash completion of mplsctl, made by `mplsctl completion bash`.

_mplsctl() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} object= verb= i
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; i++)); do
)";

constexpr const char* middle = R"(      -*) ;;
      *) if [[ -z $object ]]; then object=${COMP_WORDS[i]}
         elif [[ -z $verb ]]; then verb=${COMP_WORDS[i]}; fi ;;
    esac
  done
)";

}  // namespace

void printBashCompletion(std::ostream& out, const CLI::App& app) {
  std::string values = optionsOf(app, "|", hasValue);
  std::string files = optionsOf(app, "|", isFile);
  std::string verbs, further;
  for (const CLI::App* const object : commandsOf(app)) {
    if (object->get_name() == "help") continue;
    const auto of = commandsOf(*object);
    verbs += "    " + object->get_name() + ") words=\"" + namesOf(of) + "\" ;;\n";
    further += furtherOf(*object, object->get_name() + "\\ ");
    for (const CLI::App* const verb : of)
      further += furtherOf(*verb, object->get_name() + "\\ " + verb->get_name());
    for (const CLI::App* const verb : of) {
      values = joined(values, optionsOf(*verb, "|", hasValue));
      files = joined(files, optionsOf(*verb, "|", isFile));
    }
  }
  out << head << "    case ${COMP_WORDS[i]} in\n      " << values << ") ((i++)) ;;\n"
      << middle << "  case $before in\n    " << files
      << ") COMPREPLY=($(compgen -f -- \"$word\")); return ;;\n"
      << "    --color) COMPREPLY=($(compgen -W \"auto always never\" -- \"$word\")); return ;;\n"
      << "    " << values << ") return ;;\n  esac\n"
      << "  local words=\"" << namesOf(commandsOf(app)) << "\" options=\""
      << optionsOf(app, " ", isNamed) << "\"\n  case $object in\n    \"\") ;;\n    help) words=\""
      << namesOf(commandsOf(app)) << "\" ;;\n"
      << verbs << "    *) words= ;;\n  esac\n  [[ -n $verb ]] && words=\n"
      << "  case \"$object $verb\" in\n"
      << further << "  esac\n"
      << "  if [[ $word == -* ]]; then words=$options; fi\n"
      << "  COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n}\ncomplete -F _mplsctl mplsctl\n";
}

}  // namespace MplsCtl
