/// reference, which only the build calls.
#include "commandLine.h"
#include "reference.h"

#include <map>
#include <memory>

void addReferenceCommand(CommandLine& line) {
  using Maker = std::string (*)(const CLI::App&);
  static const std::map<std::string, Maker> makers = {
      {"man", manPageOf}, {"bash", bashCompletionOf}, {"zsh", zshCompletionOf}};
  const auto form = std::make_shared<std::string>();
  CLI::App* reference = line.add("reference", "Print the man page, or what bash or zsh complete from", [&line, form] {
    return Answer{makers.at(*form)(line.app()), {}};
  });
  reference->group("");
  addArgument(reference, "FORM", *form, "man, bash or zsh")->required()->check(CLI::IsMember({"man", "bash", "zsh"}));
}
