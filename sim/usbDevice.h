/// @file
/// A virtual USB device: endpoints, claims and transfers. It doesn't know how a host reaches it.
#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>

#include "usbtmcFunction.h"

namespace qvsim {

/// What becomes of a transfer.
enum class UsbFate {
  served,
  silent,   ///< stays open until the host gives it up
  stalled,  ///< ends with a stall, and its endpoint is halted until the host clears it
  split,    ///< to the host: gets half of what there is and ends; the rest waits for the next one
  gone,     ///< the device disappears with it
};

/// A transfer as the host submitted it; comes back filled in.
struct UsbTransfer {
  uintptr_t client = 0;             ///< who submitted it
  unsigned long id = 0;             ///< the client's name for it
  std::shared_ptr<void> host = {};  ///< kept for the host side
  uint8_t endpoint = 0;             ///< its address; 0: a control request
  UsbSetup setup = {};              ///< of a control request
  size_t length = 0;                ///< bytes to send or room for bytes to receive; of a control request the data alone
  bool endsWithEmptyPacket = false;
  Bytes data = {};  ///< what is sent and, in the end, what was moved
  int status = 0;   ///< 0 or a negative errno
  UsbFate fate = UsbFate::served;
  bool toHost() const { return ((endpoint ? endpoint : setup.requestType) & 0x80) != 0; }
};

/// Every operation may be called from any thread.
class UsbDevice {
public:
  /// Decides on a transfer that is submitted. Is called under the device's lock, so it calls nothing of the device.
  using Hook = std::function<UsbFate(const UsbTransfer&)>;

  /// @param instrument  what answers SCPI; null: one of the device's own with the description's serial number
  /// @param ready       called with true when a transfer can be reaped and with false when none is left, under the
  ///                    device's lock
  UsbDevice(UsbDescription description, ScpiInstrument* instrument, std::function<void(bool)> ready);
  UsbDevice(const UsbDevice&) = delete;
  UsbDevice& operator=(const UsbDevice&) = delete;

  const UsbDescription& description() const { return description_; }
  /// The one way to make the device misbehave, and to see what hosts do; null ends it. What the hook has gathered may
  /// be read once another hook or none is set.
  void setHook(Hook hook);
  /// Is gone: transfers in flight end with ESHUTDOWN, everything after them fails with ENODEV.
  void vanish();
  /// Who holds an interface: "usbfs" for a client, the name of the host's driver, or empty for nobody.
  std::string driver(unsigned interface) const;

  // The host's side: results are 0 or a negative errno -----------------------------------------------------------

  /// Gives back all that the client held.
  void close(uintptr_t client);
  /// @param detach  takes the interface from the host's driver
  int claim(uintptr_t client, unsigned interface, bool detach);
  int release(uintptr_t client, unsigned interface);
  /// Gives an interface back to the host's driver that it was taken from.
  int attachDriver(unsigned interface);
  int submit(UsbTransfer transfer);
  int cancel(uintptr_t client, unsigned long id);
  struct Reaped {
    std::optional<UsbTransfer> transfer;
    int fault;  ///< without a transfer: -EAGAIN or, from a device that is gone, -ENODEV
  };
  /// The client's next finished transfer.
  Reaped reap(uintptr_t client);

private:
  struct Interface {
    uintptr_t owner = 0;  ///< client that has claimed it
    std::string driver;   ///< the host's driver for it
    bool attached = false;
  };
  using Transfers = std::list<UsbTransfer>;

  UsbPipe* interruptPipe();
  int claimLocked(uintptr_t client, unsigned number, bool detach);
  int claimTarget(const UsbTransfer& transfer);
  void vanishLocked();
  void serve();
  std::optional<int> progress(UsbTransfer& transfer);
  std::optional<Bytes> standardAnswer(const UsbSetup& setup);
  std::optional<Bytes> vendorAnswer(const UsbTransfer& transfer);
  int answer(UsbTransfer& transfer);
  void deliver(const UsbTransfer& transfer);
  void finish(Transfers::iterator transfer, int status);
  template <typename Test>
  bool finishWhere(Test test, int status);

  const UsbDescription description_;
  ScpiInstrument ownInstrument_;
  mutable std::mutex mutex_;
  std::function<void(bool)> ready_;
  Hook hook_;
  bool gone_ = false;
  Interface interfaces_[2];
  std::map<uint8_t, UsbPipe> pipes_;
  UsbtmcFunction usbtmc_;
  Bytes vendorMemory_;
  Transfers waiting_;
  Transfers finished_;
};

}  // namespace qvsim
