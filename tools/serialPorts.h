/// The serial ports of this machine under the numbers that the library gives them.
#pragma once

#include <optional>
#include <string>
#include <vector>

struct SerialPort {
  int number = 0;
  std::string path;         ///< of the device
  std::string description;  ///< what a USB adapter calls itself, or the driver
  std::string resource() const { return "ASRL" + std::to_string(number) + "::INSTR"; }
};

/// In the order of their numbers. Nothing is opened for it.
std::vector<SerialPort> serialPorts();
std::optional<SerialPort> serialPort(int number);
/// The port with that path, which may be a link to the device.
std::optional<SerialPort> serialPortOf(const std::string& path);

/// An entry of QVVISA_SERIAL_PORTS.
struct PortEntry {
  std::string text;
  int number = 0;
  std::string path;
  std::string fault;  ///< why it adds no port; empty if it does
};
std::vector<PortEntry> portEntries();
