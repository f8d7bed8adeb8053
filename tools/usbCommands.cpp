/// stb, clear, ren, control-in and control-out.
#include "commandLine.h"
#include "operations.h"

#include <nlohmann/json.hpp>

#include <limits>
#include <memory>

namespace {

/// A control request to a USB device.
struct ControlRequest {
  ViInt16 type = 0;
  ViInt16 request = 0;
  ViUInt16 value = 0;
  ViUInt16 index = 0;
  ViUInt16 length = 0;  ///< of the device's answer
  bool raw = false;     ///< the answer is printed as it came, not as hexadecimal digits
  std::string hexData;  ///< for the device
};

Answer controlIn(const std::string& resource, const Options& options, const ControlRequest& request) {
  const Instrument instrument(resource, options);
  std::string data(request.length, '\0');
  ViUInt16 count = 0;
  instrument.check(QV_viUsbControlIn(instrument.handle(), request.type, request.request, request.value, request.index,
                                     request.length, reinterpret_cast<ViPBuf>(data.data()), &count),
                   "control request to");
  data.resize(count);
  if (options.json) return {textOf({{"resource", resource}, {"hex", hexOfBytes(data)}}), {}};
  return {request.raw ? data : hexOfBytes(data) + '\n', {}};
}

Answer controlOut(const std::string& resource, const Options& options, const ControlRequest& request) {
  std::string data = bytesOfHex(request.hexData);
  if (data.size() > std::numeric_limits<ViUInt16>::max()) throw UsageError("too much data for a control request");
  const Instrument instrument(resource, options);
  instrument.check(QV_viUsbControlOut(instrument.handle(), request.type, request.request, request.value, request.index,
                                      static_cast<ViUInt16>(data.size()), reinterpret_cast<ViBuf>(data.data())),
                   "control request to");
  return {};
}

void addRequest(CLI::App* subcommand, ControlRequest& request) {
  addNumber(subcommand, "REQTYPE", request.type, "bmRequestType, such as 0xA1");
  addNumber(subcommand, "REQUEST", request.request, "bRequest");
  addNumber(subcommand, "VALUE", request.value, "wValue");
  addNumber(subcommand, "INDEX", request.index, "wIndex");
}

void addControlCommands(CommandLine& line) {
  const auto request = std::make_shared<ControlRequest>();
  const Options& options = line.options();
  CLI::App* in =
      line.addOnResource("control-in", "Send a USB control request and print the device's data",
                         [&options, request](const auto& resource) { return controlIn(resource, options, *request); });
  addRequest(in, *request);
  addNumber(in, "LENGTH", request->length, "Number of bytes to ask for");
  in->add_flag("--raw", request->raw, "Print the bytes themselves, not their hexadecimal digits");
  CLI::App* out =
      line.addOnResource("control-out", "Send a USB control request with data, or without",
                         [&options, request](const auto& resource) { return controlOut(resource, options, *request); });
  addRequest(out, *request);
  addArgument(out, "HEXDATA", request->hexData, "Pairs of hexadecimal digits");
}

}  // namespace

void addUsbCommands(CommandLine& line) {
  const Options& options = line.options();
  line.addOnResource("stb", "Print the status byte of a USB instrument", [&options](const auto& resource) {
    return readStatusByte(Instrument(resource, options), options);
  });
  line.addOnResource("clear", "Clear a USB instrument, or empty the line to another one",
                     [&options](const auto& resource) {
                       Instrument(resource, options).clear();
                       return Answer{};
                     });
  const auto mode = std::make_shared<std::string>();
  CLI::App* ren =
      line.addOnResource("ren", "Control remote enable of a USB instrument", [&options, mode](const auto& resource) {
        const ViUInt16 number = parseRenMode(*mode);
        controlRemote(Instrument(resource, options), number);
        return Answer{};
      });
  addArgument(ren, "MODE", *mode, "A number, or a name such as VI_GPIB_REN_ASSERT_ADDRESS_LLO")->required();
  addControlCommands(line);
}
