/// @file
/// Puts virtual USB devices under the real libusb, with umockdev: a test bed in which the devices have sysfs
/// entries, device nodes and uevents, and whose ioctls are those of the kernel's usbfs.
///
/// The test bed holds for this process, if libumockdev-preload.so.0 comes first among its libraries, and for every
/// process that has that library in LD_PRELOAD and the test bed's directory in UMOCKDEV_DIR, which `VirtualUsb` sets
/// for children. There is one test bed in a process at a time.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "usbDevice.h"

namespace qvsim {

class VirtualUsb {
public:
  /// Throws std::runtime_error if a test bed can't be had.
  VirtualUsb();
  /// Every handle to its devices has to be closed before.
  ~VirtualUsb();
  VirtualUsb(const VirtualUsb&) = delete;
  VirtualUsb& operator=(const VirtualUsb&) = delete;

  /// Adds a device, which lives as long as the test bed, plugged in or not.
  /// @param instrument  what answers SCPI, to outlive the test bed; null: one of the device's own
  UsbDevice& plug(UsbDescription description = {}, ScpiInstrument* instrument = nullptr);

  /// Pulls a device: transfers in flight end, and it leaves the host's list as soon as the host has heard of it.
  void unplug(const UsbDevice& device);

  /// The directory for UMOCKDEV_DIR.
  std::string directory() const;

private:
  struct TestBed;
  class Node;
  std::unique_ptr<TestBed> testBed_;
  std::vector<std::shared_ptr<Node>> nodes_;
};

/// "USB0::0xVVVV::0xPPPP::SERIAL::INSTR"
std::string usbResourceName(const UsbDescription& description);

}  // namespace qvsim
