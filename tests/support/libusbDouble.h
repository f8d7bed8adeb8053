/// A scripted libusb in the place of the real one, for what a good device never does. Its devices behave like a USB488
/// instrument until a test scripts a reply or makes a call fail. It keeps account of everything handed out: a leak, a
/// double release or a use after the end fails the test.
#pragma once

#include "QVvisaUSB.h"
#include "testing.h"

#include <deque>
#include <map>

using Bytes = std::vector<uint8_t>;

/// The calls that can fail or that a test counts.
enum class Call { List, Device, Config, Open, AutoDetach, Claim, String, Bulk, Interrupt, Control, Release, Close };

/// One transfer as it reached the bus.
struct Transfer {
  uint8_t port;  ///< endpoint address, or bRequest of a control request
  Bytes sent;
  int length;
  unsigned int timeout;
  uint8_t requestType = 0;
  uint16_t value = 0, index = 0;
};

/// What the device answers. A failed transfer still delivers `data`, and an OUT transfer takes `accepted` bytes, all by
/// default.
struct Reply {
  int result = LIBUSB_SUCCESS;
  Bytes data = {};
  int accepted = -1;
};

struct DoubleInterface {
  uint8_t class_, subClass, protocol;
  std::vector<libusb_endpoint_descriptor> endpoints;
  uint8_t string = 0;
};

struct libusb_device {
  libusb_device_descriptor descriptor;
  std::vector<DoubleInterface> interfaces;
  std::map<uint8_t, std::string> strings;
  Bytes response = {'4', '2', '\n'};  ///< what it answers to a read
  uint8_t statusByte = 0x50;
  /// Replies by port, each used once, ahead of the default behaviour.
  std::map<uint8_t, std::deque<std::function<Reply(const Transfer&)>>> script = {};
  Bytes lastOut = {};  ///< the last Bulk-OUT transfer
  int references = 0;

  void replies(uint8_t port, const Reply& reply, int times = 1) {
    script[port].insert(script[port].end(), static_cast<size_t>(times), [reply](const Transfer&) { return reply; });
  }
};

inline libusb_endpoint_descriptor endpoint(uint8_t address, uint8_t attributes) {
  return {7, 5, address, attributes, 64, 10, 0, 0, nullptr, 0};
}

const DoubleInterface kHid = {3, 0, 0, {endpoint(0x85, 3)}};
/// The USB488 interface of `instrument`.
const DoubleInterface kUsb488 = {0xFE, 3, 1, {endpoint(0x83, 3), endpoint(0x02, 2), endpoint(0x81, 2)}, 4};

/// A device 7C5A:0042 with maker "KESTRIX", product "K-7", the serial number given (none for null) and interface name
/// "IF".
libusb_device instrument(const char* serial = "SN1", std::vector<DoubleInterface> interfaces = {kUsb488});

struct DoubleBus {
  std::deque<libusb_device> devices;
  std::vector<Call> calls;           ///< every call of the kinds above, in order
  std::vector<Transfer> transfers;   ///< every transfer, in order
  std::vector<unsigned int> delays;  ///< every delay that the library took, in milliseconds
  /// Answers every transfer in the place of the device; none where it is empty.
  std::function<Reply(const Transfer&)> answers;
  size_t failAt = SIZE_MAX;  ///< the call of this place in `calls` fails with `failWith`
  int failWith = 0;

  /// Makes the call after the next `place` calls fail; `calls` starts anew.
  void fail(size_t place, int error) {
    calls.clear();
    failAt = place;
    failWith = error;
  }
  libusb_device& add(libusb_device device) { return devices.emplace_back(std::move(device)); }
  /// The ports of the transfers so far, which are forgotten.
  Bytes takePorts();
};

/// Starts each test with an empty bus and ends it with nothing left open.
class UsbTest : public ::testing::Test {
protected:
  UsbTest();
  ~UsbTest() override;

  /// A session for a name, which ends with the next one or with the test; the transfers of its opening are forgotten.
  QVvisa_usb_device_t* open(const std::string& name, ViStatus expected = VI_SUCCESS);
  void close() { QVvisa_closeUsbDevListElem(&session_); }

  DoubleBus& bus;

private:
  QVvisa_usb_device_t* session_ = nullptr;
};

/// Names of `instrument`.
inline const std::string kInstrument = "USB0::0x7C5A::0x42::SN1::", kInstr = kInstrument + "INSTR";
