/// Goes through what stops an instrument.
#pragma once

#include "options.h"

#include <functional>
#include <string>

/// What was looked at, and how it is.
struct Finding {
  std::string subject;
  std::string state;
  std::string advice{};  ///< what to do; may be empty
  bool isOk = true;
  bool stops = !isOk;  ///< nothing can be opened
};
using Report = std::function<void(const Finding&)>;

/// Tells of this machine's USB instruments and serial ports. None of them is opened for talking.
/// @param repair  gives interfaces that a killed program left without a driver back to the kernel
void examineMachine(bool repair, const Report& report);
/// Tells of what lies between this machine and one instrument, and asks that who it is.
void examineResource(const std::string& resource, const Options& options, bool repair, const Report& report);
