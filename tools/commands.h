/// What the tool can do, one function a subcommand. Each returns its answer and leaves the printing to the caller, so
/// that the instrument is closed again by then; failures are thrown as Failure, UsageError or std::exception.
#pragma once

#include "instrument.h"

#include <string>
#include <vector>

struct Result {
  std::string output;  ///< for standard output, to the byte
  std::string flaw;    ///< why the answer isn't all that was asked for; empty if it is
};

enum class FindFormat { Names, Table, Json };

/// A control request to a USB device.
struct ControlRequest {
  ViInt16 type = 0;
  ViInt16 request = 0;
  ViUInt16 value = 0;
  ViUInt16 index = 0;
};

/// `text` is a program message with escapes, or "-" for standard input as it is.
Result queryCommand(const std::string& resource, const Options& options, const std::string& text);
Result writeCommand(const std::string& resource, const Options& options, const std::string& text);
Result readCommand(const std::string& resource, const Options& options);
/// Each request is NAME or NAME=VALUE; without any, all attributes are listed.
Result attributeCommand(const std::string& resource, const Options& options, const std::vector<std::string>& requests);
Result findCommand(const std::string& expression, FindFormat format);
Result statusCommand(const std::string& code);
Result statusByteCommand(const std::string& resource, const Options& options);
Result clearCommand(const std::string& resource, const Options& options);
Result remoteCommand(const std::string& resource, const Options& options, const std::string& mode);
/// The answer is printed as hexadecimal digits, or as it came with `raw`.
Result controlInCommand(const std::string& resource, const Options& options, const ControlRequest& request,
                        ViUInt16 length, bool raw);
Result controlOutCommand(const std::string& resource, const Options& options, const ControlRequest& request,
                         const std::string& hexData);
