/// What the user chose for all operations of one call of the tool.
#pragma once

#include "QVvisa.h"

#include <optional>
#include <string>
#include <vector>

struct Options {
  ViUInt32 timeout_ms = 3000;
  ViUInt32 connectTimeout_ms = 5000;  ///< for opening over TCP; 0 is none
  std::optional<ViUInt32> settle_ms;  ///< how long a line has to be silent before a query; nothing: by the bus
  std::string termination = "\n";     ///< behind what is sent, and where a response ends; may be empty
  std::vector<std::string> settings;  ///< attributes to set after the open, as NAME=VALUE
  bool hex = false;                   ///< an answer's bytes as hexadecimal digits
  bool json = false;
  std::string outputFile;  ///< where the answer goes; empty for standard output
  bool verbose = false;    ///< show what the library prints
};
