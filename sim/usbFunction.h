/// @file
/// The device's side of a USB interface: what it answers to control requests and does with its endpoints.
#pragma once

#include <functional>
#include <memory>
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

  bool toHost() const { return requestType & 0x80; }
  bool operator==(const UsbSetup&) const = default;
};

/// The endpoints, as a function sees them.
class UsbPipes {
public:
  /// Bytes for the host to fetch. @param ended  a short packet (an empty one if need be) closes the transfer; without
  /// it the host's transfer stays open for more.
  virtual void queue(uint8_t endpoint, Bytes bytes, bool ended) = 0;
  /// Whether something waits for the host.
  virtual bool queued(uint8_t endpoint) const = 0;
  virtual void discard(uint8_t endpoint) = 0;
  virtual void halt(uint8_t endpoint) = 0;

protected:
  ~UsbPipes() = default;
};

/// What instruments do to their ready Bulk-IN transfer, header and alignment included, before it goes out: the
/// transfers that it turns into. None is silence.
using ResponseFilter = std::function<std::vector<Bytes>(Bytes transfer)>;

/// The faults that instruments in the field have.
namespace fault {
ResponseFilter silent();
/// Ends the first transfer early, so that @p second bytes follow in a transfer of their own.
ResponseFilter split(size_t second);
ResponseFilter extraBytes(size_t count);
/// Replaces the header's byte at @p offset: 0 MsgID, 1 bTag, 2 bTagInverse, 3 and 9 to 11 reserved, 8 attributes.
ResponseFilter headerByte(size_t offset, uint8_t value);
ResponseFilter wrongTag();
ResponseFilter wrongTagInverse();
ResponseFilter endOfMessageClear();
ResponseFilter transferSize(uint32_t size);
/// Cuts the transfer off after so many bytes.
ResponseFilter truncated(size_t size);
}  // namespace fault

/// Remote/local state of USB488's RL1 function.
struct RemoteState {
  bool enabled = false;  ///< REN is asserted
  bool remote = false;   ///< addressed while REN was asserted
  bool lockout = false;  ///< front panel locked
  bool operator==(const RemoteState&) const = default;
};

/// Calls come one at a time, under the device's lock.
class UsbFunction {
public:
  virtual ~UsbFunction() = default;
  /// A class request to the interface or its endpoints. @return the answer, empty for a request without data; none
  /// stalls
  virtual std::optional<Bytes> control(const UsbSetup& setup) = 0;
  /// Bytes of the interface's OUT endpoint. @param ended  the transfer ended with them
  virtual void received(const Bytes& bytes, bool ended) = 0;
  virtual void setResponseFilter(const ResponseFilter&) {}
  virtual RemoteState remoteState() const { return {}; }
};

/// The function that the interface's role asks for, null for none.
std::unique_ptr<UsbFunction> makeUsbFunction(const UsbInterface& interface, UsbPipes& pipes,
                                             ScpiInstrument& instrument);

}  // namespace qvsim
