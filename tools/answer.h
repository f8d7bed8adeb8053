/// What a subcommand answers.
#pragma once

#include "errors.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>

struct Answer {
  std::string output;         ///< for standard output, to the byte
  std::string flaw;           ///< why the answer isn't all that was asked for; empty if it is
  ExitStatus status = kDone;  ///< kDone exactly if there is no flaw
};

/// A JSON document as lines of text. A device's strings may be in any encoding: what isn't UTF-8 is replaced.
std::string textOf(const nlohmann::ordered_json& document);
bool isUtf8(std::string_view bytes);
