/// @file
/// The SCPI instrument behind USBTMC 1.0 with the USB488 subclass: what it answers to control requests and does with
/// its endpoints.
#pragma once

#include <deque>
#include <optional>

#include "scpiInstrument.h"
#include "usbDescription.h"

namespace qvsim {

/// The eight bytes of a control request.
struct UsbSetup {
  uint8_t requestType = 0;
  uint8_t request = 0;
  uint16_t value = 0;
  uint16_t index = 0;
  uint16_t length = 0;
  bool operator==(const UsbSetup&) const = default;
};

/// The device's end of an endpoint.
struct UsbPipe {
  /// Bytes for the host to fetch. Where they end, a short packet (an empty one if need be) closes the host's transfer;
  /// without that it stays open for more.
  struct Outgoing {
    Bytes bytes;
    bool ended = true;
  };
  unsigned interface = 0;
  bool halted = false;
  std::deque<Outgoing> outgoing = {};
};

/// Calls come one at a time, under the device's lock.
class UsbtmcFunction {
public:
  /// @param interruptIn  null where the interface has no such endpoint
  UsbtmcFunction(ScpiInstrument& instrument, UsbPipe& bulkOut, UsbPipe& bulkIn, UsbPipe* interruptIn);

  /// A class request to the interface or its endpoints. @return the answer; none stalls
  std::optional<Bytes> control(const UsbSetup& setup);
  /// A transfer to the Bulk-OUT endpoint, which it halts if the transfer breaks the protocol.
  void received(const Bytes& transfer);

private:
  void takeMessage(std::string_view message, bool ends);
  void respond(uint8_t tag, size_t most);
  void notify(uint8_t kind, uint8_t statusByte);
  std::optional<Bytes> endpointRequest(const UsbSetup& setup);
  Bytes initiateAbortBulkIn(uint8_t tag);
  Bytes initiateClear();
  Bytes capabilities() const;
  Bytes readStatusByte(uint8_t tag);

  ScpiSession session_;
  UsbPipe& bulkOut_;
  UsbPipe& bulkIn_;
  UsbPipe* const interruptIn_;
  uint8_t responseTag_ = 0;
  size_t responseSize_ = 0;
  bool responseOwed_ = false;  ///< one has been asked for when there was none
  bool serviceRequested_ = false;
};

}  // namespace qvsim
