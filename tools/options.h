/// What the user chose for all operations of one call of the tool.
#pragma once

#include "QVvisa.h"

#include <string>
#include <vector>

/// How an answer is written.
enum class Format { Text, Hex, Json };

struct Options {
  ViUInt32 timeout_ms = 3000;
  std::string termination = "\n";     ///< behind what is sent, and where a response ends; may be empty
  std::vector<std::string> settings;  ///< attributes to set after the open, as NAME=VALUE
  Format format = Format::Text;
};
