#include "reference.h"

#include <cctype>
#include <sstream>
#include <string_view>
#include <vector>

namespace {

/// In the order of the help, hidden ones left out.
std::vector<const CLI::App*> subcommandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* subcommand) { return !subcommand->get_group().empty(); });
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& app, bool positional) {
  return app.get_options([positional](const CLI::Option* option) { return option->get_positional() == positional; });
}

/// "-t", "--timeout"
std::vector<std::string> namesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

bool takesValue(const CLI::Option& option) {
  return option.get_items_expected_max() > 0;
}

/// What stands for the value in the help, without what it is checked for.
std::string valueNameOf(const CLI::Option& option) {
  const std::string name = option.get_type_name();
  return name.substr(0, name.find(':'));
}

std::string upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

std::string replaced(std::string text, std::string_view what, std::string_view with) {
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
    text.replace(at, what.size(), with);
  }
  return text;
}

// The man page -------------------------------------------------------------------------------------------------------

/// Text as troff takes it literally.
std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else if (c == '\'') {
      result += "\\(aq";
    } else {
      result += c;
    }
  }
  // A line that begins with a dot is a request.
  return result.starts_with('.') ? "\\&" + result : result;
}

/// A line that is indented stays a line of its own.
std::string paragraphOf(const std::string& text) {
  std::string result;
  bool isVerbatim = false;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("  ") != isVerbatim) result += (isVerbatim = !isVerbatim) ? ".nf\n" : ".fi\n";
    result += escaped(line) + '\n';
  }
  return result + (isVerbatim ? ".fi\n" : "");
}

/// Paragraphs with an empty line between two. One that begins with a title and a colon is a section of its own.
std::string proseOf(std::string text, const std::vector<std::string>& titles) {
  std::string result;
  while (!text.empty()) {
    const size_t end = text.find("\n\n");
    std::string paragraph = text.substr(0, end);
    text.erase(0, end == std::string::npos ? end : end + 2);
    std::string head = ".PP\n";
    for (const std::string& title : titles) {
      if (!paragraph.starts_with(title + ":")) continue;
      head = ".SH " + upper(title) + '\n';
      paragraph.erase(0, paragraph.find_first_not_of(" \n", title.size() + 1) -
                             (paragraph[title.size() + 1] == '\n' ? 2 : 0));
    }
    result += head + paragraphOf(paragraph);
  }
  return result;
}

std::string manEntryOf(const CLI::Option& option) {
  std::string names;
  for (const std::string& name : namesOf(option)) names += (names.empty() ? "\\fB" : ", \\fB") + escaped(name) + "\\fP";
  if (option.get_positional()) names = "\\fI" + escaped(option.get_name(true)) + "\\fP";
  if (!option.get_positional() && takesValue(option)) names += " \\fI" + escaped(valueNameOf(option)) + "\\fP";
  std::string text = option.get_description();
  if (!option.get_default_str().empty()) text += " (default: " + option.get_default_str() + ")";
  return ".TP\n" + names + '\n' + escaped(text) + '\n';
}

std::string manEntryOf(const CLI::App& subcommand, const std::string& commonFooter) {
  std::string synopsis = ".SS \"" + escaped(subcommand.get_name());
  std::string entries;
  for (const CLI::Option* argument : optionsOf(subcommand, true)) {
    const std::string name = escaped(argument->get_name(true));
    synopsis += argument->get_required() ? " " + name : " [" + name + "]";
    entries += manEntryOf(*argument);
  }
  for (const CLI::Option* option : optionsOf(subcommand, false)) {
    if (option != subcommand.get_help_ptr()) entries += manEntryOf(*option);
  }
  const std::string footer = replaced(subcommand.get_footer(), commonFooter, "");
  return synopsis + "\"\n" + escaped(subcommand.get_description()) + ".\n" + entries + proseOf(footer, {});
}

// Completion ---------------------------------------------------------------------------------------------------------

/// All names of options, or of those alone that a value follows.
std::string wordsOf(const CLI::App& app, bool withValue) {
  std::string words;
  for (const CLI::Option* option : optionsOf(app, false)) {
    if (withValue && !takesValue(*option)) continue;
    for (const std::string& name : namesOf(*option)) words += (words.empty() ? "" : " ") + name;
  }
  return words;
}

/// Text between single quotes of a shell.
std::string inQuotes(const std::string& text) {
  return "'" + replaced(text, "'", "'\\''") + "'";
}

/// Options as zsh's _arguments takes them.
std::string zshArgumentsOf(const CLI::App& app) {
  std::string text;
  for (const CLI::Option* option : optionsOf(app, false)) {
    std::string help = replaced(replaced(option->get_description(), "[", "("), "]", ")");
    help = replaced(help, ":", "\\:");
    std::string rest = "[" + help + "]";
    if (takesValue(*option)) rest += ":" + valueNameOf(*option) + (valueNameOf(*option) == "FILE" ? ":_files" : ": ");
    for (const std::string& name : namesOf(*option)) {
      const bool takesSign = name.starts_with("--") && takesValue(*option);
      std::string completion = "*" + name + (takesSign ? "=" : "");
      completion += rest;
      text += " \\\n      " + inQuotes(completion);
    }
  }
  return text;
}

}  // namespace

std::string manPageOf(const CLI::App& app) {
  const std::string& name = app.get_name();
  std::string page = ".TH " + upper(name) + " 1 \"\" \"" + app.version() + "\" \"User commands\"\n";
  page += ".SH NAME\n" + name + " \\- talk to measurement instruments over USB, serial ports and TCP\n";
  page += ".SH SYNOPSIS\n.B " + name + "\n[\\fIOPTIONS\\fP] \\fISUBCOMMAND\\fP [\\fIARGUMENTS\\fP]\n";
  page += ".SH DESCRIPTION\n" + proseOf(app.get_description(), {});
  page += ".SH OPTIONS\nThey may also stand behind the subcommand.\n";
  for (const CLI::Option* option : optionsOf(app, false)) page += manEntryOf(*option);
  page += ".SH SUBCOMMANDS\n";
  for (const CLI::App* subcommand : subcommandsOf(app)) {
    page += manEntryOf(*subcommand, "Options of all subcommands: " + name + " --help");
  }
  page += ".SH ANSWERS\n" + proseOf(app.get_footer(), {"Exit status", "Examples", "Environment"});
  return page + ".SH SEE ALSO\n.BR qvvisa\\-sim (1)\n";
}

std::string bashCompletionOf(const CLI::App& app) {
  std::string names;
  std::string cases;
  for (const CLI::App* subcommand : subcommandsOf(app)) {
    names += (names.empty() ? "" : " ") + subcommand->get_name();
    cases += "  " + subcommand->get_name() + ") options=" + inQuotes(wordsOf(*subcommand, false)) +
             " valued=" + inQuotes(wordsOf(*subcommand, true)) + " ;;\n";
  }
  return "# Completion of qvvisa for bash, made from its list of options.\n"
         "_qvvisa() {\n"
         "  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
         "  local common=" +
         inQuotes(wordsOf(app, false)) +
         "\n"
         "  local commonValued=" +
         inQuotes(wordsOf(app, true)) +
         "\n"
         "  local subcommands=" +
         inQuotes(names) +
         "\n"
         "  local subcommand='' options='' valued='' word\n"
         "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
         "    [[ -z $subcommand && \" $subcommands \" == *\" $word \"* ]] && subcommand=$word\n"
         "  done\n"
         "  case $subcommand in\n" +
         cases +
         "  esac\n"
         "  COMPREPLY=()\n"
         "  case $previous in\n"
         "  -o | --output)\n"
         "    mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
         "    return ;;\n"
         "  esac\n"
         "  [[ \" $commonValued $valued \" == *\" $previous \"* ]] && return\n"
         "  if [[ $current == -* ]]; then\n"
         "    mapfile -t COMPREPLY < <(compgen -W \"$common $options\" -- \"$current\")\n"
         "  elif [[ -z $subcommand ]]; then\n"
         "    mapfile -t COMPREPLY < <(compgen -W \"$subcommands\" -- \"$current\")\n"
         "  fi\n"
         "}\n"
         "complete -F _qvvisa qvvisa\n";
}

std::string zshCompletionOf(const CLI::App& app) {
  std::string list;
  std::string cases;
  for (const CLI::App* subcommand : subcommandsOf(app)) {
    const std::string help = replaced(subcommand->get_description(), ":", "\\:");
    list += "    " + inQuotes(subcommand->get_name() + ":" + help) + "\n";
    cases += "  " + subcommand->get_name() + ")\n    arguments=(" + zshArgumentsOf(*subcommand) + ")\n    ;;\n";
  }
  return "#compdef qvvisa\n"
         "# Completion of qvvisa for zsh, made from its list of options.\n"
         "_qvvisa() {\n"
         "  local -a common arguments subcommands\n"
         "  local word subcommand\n"
         "  subcommands=(\n" +
         list +
         "  )\n"
         "  common=(" +
         zshArgumentsOf(app) +
         ")\n"
         "  for word in \"${(@)words[2,CURRENT-1]}\"; do\n"
         "    [[ -z $subcommand && -n ${(M)subcommands:#${word}:*} ]] && subcommand=$word\n"
         "  done\n"
         "  case $subcommand in\n" +
         cases +
         "  esac\n"
         "  if [[ -z $subcommand ]]; then\n"
         "    _arguments $common '*: :{_describe subcommand subcommands}'\n"
         "  else\n"
         "    _arguments $common $arguments '*:argument:{true}'\n"
         "  fi\n"
         "}\n"
         "_qvvisa \"$@\"\n";
}
