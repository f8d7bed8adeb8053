/// What can be done with an open instrument, on the command line and in the shell.
#pragma once

#include "answer.h"
#include "instrument.h"

#include <optional>
#include <string>
#include <vector>

/// The response in the form that the user chose.
Answer answerOf(const std::string& resource, Response response, const Options& options);

/// An attribute to print or, with a value, to set.
struct AttributeRequest {
  const Attribute* attribute;
  std::optional<ViAttrState> value;
};
/// Reads NAME and NAME=VALUE. Throws UsageError.
std::vector<AttributeRequest> parseRequests(const std::vector<std::string>& texts);
/// Prints and sets in order; prints all attributes if there is no request.
Answer carryOut(Instrument& instrument, const Options& options, const std::vector<AttributeRequest>& requests);

Answer readStatusByte(const Instrument& instrument, const Options& options);
/// A mode of remote enable by name or number. Throws UsageError.
ViUInt16 parseRenMode(const std::string& text);
void controlRemote(const Instrument& instrument, ViUInt16 mode);
