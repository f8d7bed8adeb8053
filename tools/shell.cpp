#include "shell.h"

#include "nearest.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <sstream>
#include <utility>

struct Shell::Operation {
  const char* name;
  const char* argument;
  const char* help;
  Answer (Shell::*run)(const std::string& argument);
};

const Shell::Operation Shell::kOperations[] = {
    {".query", "TEXT", "send a message and print the answer, as a line with a ? outside quotes does", &Shell::query},
    {".write", "TEXT", "send a message and read nothing, as a line without a ? does", &Shell::write},
    {".read", "", "print what the instrument sends", &Shell::read},
    {".attr", "[NAME[=VALUE]]...", "print attributes, all of them if none is named, or set them", &Shell::attributes},
    {".stb", "", "print the status byte of a USB instrument", &Shell::statusByte},
    {".clear", "", "clear a USB instrument, or empty the line to another one", &Shell::clear},
    {".ren", "MODE", "control remote enable of a USB instrument", &Shell::remote},
    {".time", "", "tell how long each line takes, or no longer", &Shell::time},
    {".help", "", "list these operations", &Shell::help},
    {".quit", "", "end, as Ctrl-D does", &Shell::quit},
};

namespace {

/// The common commands of IEEE 488.2 that instruments have to know.
constexpr std::array<const char*, 13> kCommonCommands = {"*CLS", "*ESE", "*ESE?", "*ESR?", "*IDN?", "*OPC", "*OPC?",
                                                         "*RST", "*SRE", "*SRE?", "*STB?", "*TST?", "*WAI"};

/// Whether an answer will come: a ? stands outside quotes.
bool isQuery(std::string_view text) {
  char quote = 0;
  for (const char c : text) {
    if (c == '?' && quote == 0) return true;
    if (quote == 0 && (c == '"' || c == '\'')) {
      quote = c;
    } else if (c == quote) {
      quote = 0;
    }
  }
  return false;
}

std::string upper(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return result;
}

std::vector<std::string> wordsOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

/// With a word that begins like a whole name, whole names; else names without their prefix.
std::string inStyleOf(std::string_view word, std::string_view name) {
  const bool isWhole = upper(word).starts_with("VI_") || upper(word).starts_with("QV_");
  return std::string(isWhole ? name : withoutPrefix(name));
}

std::vector<std::string> attributeWords(std::string_view word) {
  std::vector<std::string> words;
  const size_t sign = word.find('=');
  if (sign == std::string_view::npos) {
    for (const Attribute& attribute : attributes()) words.push_back(inStyleOf(word, attribute.name));
    return words;
  }
  const Attribute* attribute = findAttribute(word.substr(0, sign));
  if (!attribute) return words;
  const std::string_view value = word.substr(sign + 1);
  for (const NamedValue& row : attribute->values) {
    words.push_back(std::string(word.substr(0, sign + 1)) + inStyleOf(value, row.name));
  }
  return words;
}

}  // namespace

std::vector<std::string> Shell::completions(std::string_view text) {
  const size_t start = text.find_last_of(' ') + 1;
  const std::string_view word = text.substr(start);
  std::vector<std::string> words;
  if (start == 0) {
    for (const Operation& operation : kOperations) words.emplace_back(operation.name);
    words.insert(words.end(), kCommonCommands.begin(), kCommonCommands.end());
  } else if (text.starts_with(".attr ")) {
    words = attributeWords(word);
  } else if (text.starts_with(".ren ")) {
    for (const NamedValue& mode : renModes()) words.push_back(inStyleOf(word, mode.name));
  }
  std::erase_if(words, [wanted = upper(word)](const std::string& known) { return !upper(known).starts_with(wanted); });
  return words;
}

Answer Shell::carryOut(const std::string& line) {
  const size_t first = line.find_first_not_of(" \t");
  if (first == std::string::npos || line[first] == '#') return {};
  const std::string text = line.substr(first, line.find_last_not_of(" \t\r") + 1 - first);
  if (text.front() != '.') return isQuery(text) ? query(text) : write(text);
  const size_t end = std::min(text.find(' '), text.size());
  const std::string name = text.substr(0, end);
  std::string argument = text.substr(end);
  argument.erase(0, argument.find_first_not_of(' '));
  std::vector<std::string> names;
  for (const Operation& operation : kOperations) {
    if (name == operation.name) return (this->*operation.run)(argument);
    names.emplace_back(operation.name);
  }
  throw UsageError("no operation is called '" + name + "'." + didYouMean(name, names) + " .help lists them");
}

/// A terminal gets the bytes of a block as digits.
Answer Shell::show(Response response) const {
  Options options = options_;
  options.hex = options.hex || (isTerminal_ && response.isBinary && !options.json);
  return answerOf(instrument_.resource(), std::move(response), options);
}

Answer Shell::query(const std::string& text) {
  return show(instrument_.query(unescape(text)));
}

Answer Shell::write(const std::string& text) {
  instrument_.write(unescape(text));
  return {};
}

Answer Shell::read(const std::string&) {
  return show(instrument_.read());
}

Answer Shell::attributes(const std::string& text) {
  return ::carryOut(instrument_, options_, parseRequests(wordsOf(text)));
}

Answer Shell::statusByte(const std::string&) {
  return readStatusByte(instrument_, options_);
}

Answer Shell::clear(const std::string&) {
  instrument_.clear();
  return {};
}

Answer Shell::remote(const std::string& text) {
  controlRemote(instrument_, parseRenMode(text));
  return {};
}

Answer Shell::time(const std::string&) {
  tellsTimes_ = !tellsTimes_;
  return {};
}

Answer Shell::help(const std::string&) {
  std::string text = "A line is sent to the instrument; if it asks something (VOLT?), the answer is read. Besides:\n";
  for (const Operation& operation : kOperations) {
    std::string usage = std::string("  ") + operation.name + ' ' + operation.argument;
    usage.resize(std::max<size_t>(usage.size() + 1, 28), ' ');
    text += usage + operation.help + '\n';
  }
  return {text + "Tab completes operations, attributes and their values.\n", {}};
}

Answer Shell::quit(const std::string&) {
  isOver_ = true;
  return {};
}
