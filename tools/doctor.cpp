#include "doctor.h"

#include "diagnosis.h"
#include "errors.h"
#include "hosts.h"
#include "instrument.h"
#include "serialPorts.h"
#include "usbDevices.h"

#include <cstdlib>
#include <utility>

namespace {

Finding faultOf(std::string subject, const Diagnosis& diagnosis) {
  return {std::move(subject), diagnosis.cause, diagnosis.advice, false};
}

std::string counted(size_t number, const std::string& thing) {
  return std::to_string(number) + ' ' + thing + (number == 1 ? "" : "s");
}

// USB ----------------------------------------------------------------------------------------------------------------

Finding findingOf(const std::string& subject, const UsbDevice& device, const UsbInterface& interface) {
  using enum UsbInterface::Holder;
  switch (interface.holder) {
  case Driver:
    return {subject, interface.wasOffered ? "given back to the kernel's driver"
                                          : "held by the kernel's driver, which a session sets aside"};
  case Program:
    return {subject, "in use by " + holdersInWords(device.node), "end that program, or its session", false};
  case Unknown:
    return {subject, "nobody knows who holds it"};
  case Nobody:
    break;
  }
  if (!interface.isUsbtmc || !hasUsbtmcDriver()) return {subject, "free, without a driver of the kernel"};
  Finding finding{subject, "left without the kernel's driver by a program that was killed",
                  interface.wasOffered ? "the driver doesn't take it back: plug the instrument in again"
                                       : "qvvisa doctor --repair gives it back, for programs that use /dev/usbtmc0",
                  false};
  finding.stops = false;
  return finding;
}

void examineDevice(const UsbDevice& device, const Report& report) {
  const std::string name = "USB " + hexadecimal(device.vendor) + "::" + hexadecimal(device.product) +
                           (device.serialNumber.empty() ? "" : "::" + device.serialNumber);
  if (device.whyNotLooked) return report(faultOf(name, *device.whyNotLooked));
  report({name, device.node + " may be read and written"});
  for (const UsbInterface& interface : device.interfaces) {
    std::string subject = name + " interface " + std::to_string(interface.number);
    subject += interface.isUsbtmc ? " (USBTMC)" : " (vendor's)";
    report(findingOf(subject, device, interface));
  }
}

Finding udevFinding() {
  const std::string rule = udevRule();
  return {"udev rule", rule.empty() ? "not installed, nor needed by this user" : rule};
}

bool isMeant(const UsbDevice& device, const ResourceName* name) {
  return !name || (device.vendor == name->vendor && device.product == name->product &&
                   (device.serialNumber.empty() || device.serialNumber == name->serialNumber));
}

/// @param name  whose device alone is looked at; null for all
/// @return Whether there is one.
bool examineUsb(const ResourceName* name, bool repair, const Report& report) {
  const UsbView view = lookAtUsb(name, repair);
  if (!view.fault.empty()) {
    report({"libusb", view.fault, "is /dev/bus/usb there, and /sys mounted?", false});
    return false;
  }
  report({"libusb", libusbVersion()});
  if (view.count == 0) {
    report({"USB", "no device at all is seen", "in a container or virtual machine: pass /dev/bus/usb on to it", false});
    return false;
  }
  report({"USB", counted(view.count, "device") + ", of which " + std::to_string(view.devices.size()) +
                     " with an interface for instruments"});
  bool hasOne = false;
  bool isForbidden = false;
  for (const UsbDevice& device : view.devices) {
    if (!isMeant(device, name)) continue;
    hasOne = true;
    isForbidden = isForbidden || device.whyNotLooked.has_value();
    examineDevice(device, report);
  }
  if (hasOne && !isForbidden) report(udevFinding());
  return hasOne;
}

// Serial ports -------------------------------------------------------------------------------------------------------

void examinePort(const SerialPort& port, const Report& report) {
  const std::string name = port.resource() + ' ' + port.path;
  if (const auto noAccess = whyNoAccess(port.path)) return report(faultOf(name, *noAccess));
  const bool isHeld = !holdersOf(port.path).empty();
  if (isLocked(port.path)) {
    return report({name, "in use by " + holdersInWords(port.path), "end that program, or its session", false});
  }
  report({name, port.description + (isHeld ? "; also open in " + holdersInWords(port.path) : "")});
}

void examinePortList(const Report& report) {
  const std::string name = "QVVISA_SERIAL_PORTS";
  size_t good = 0;
  for (const PortEntry& entry : portEntries()) {
    Finding finding{name, "'" + entry.text + "' adds no port: " + entry.fault,
                    "an entry is a number and a path, as in 7=/dev/ttyUSB0; a comma stands between two", false};
    finding.stops = false;
    entry.fault.empty() ? static_cast<void>(++good) : report(finding);
  }
  if (good > 0) report({name, counted(good, "port")});
}

// TCP ----------------------------------------------------------------------------------------------------------------

void examineHost(const std::string& resource, const ResourceName& name, const Report& report) {
  const HostAddresses addresses = addressesOf(name.host);
  if (!addresses.ipv4.empty()) report({"host " + name.host, addresses.ipv4.back()});
  const auto fault = diagnose(resource);
  const std::string port = "port " + std::to_string(name.tcpPort);
  report(fault ? faultOf(addresses.ipv4.empty() ? "host " + name.host : port, *fault)
               : Finding{port, "takes a connection"});
}

// The instrument -----------------------------------------------------------------------------------------------------

/// A message of several lines as one.
std::string inOneLine(std::string text) {
  for (size_t end = 0; (end = text.find("\n  ")) != std::string::npos;) text.replace(end, 3, "; ");
  return text;
}

std::string adviceOnSilence(Bus bus) {
  if (bus != Bus::Serial) return "is it a SCPI instrument, and is -T right, the end of its messages?";
  return "are baud rate, parity and -T, the end of its messages, the instrument's? --set ASRL_BAUD=9600 sets a rate";
}

void askWhoItIs(const std::string& resource, const ResourceName& name, const Options& options, const Report& report) {
  try {
    Instrument instrument(resource, options);
    report({resource, "opened"});
    if (name.isRaw) return;
    Response response = instrument.query("*IDN?");
    if (!response.flaw.empty()) return report({"*IDN?", inOneLine(response.flaw), adviceOnSilence(name.bus), false});
    while (response.bytes.ends_with('\n') || response.bytes.ends_with('\r')) response.bytes.pop_back();
    report({"*IDN?", response.bytes});
  } catch (const Failure& failure) {
    report({resource, inOneLine(failure.what()), "", false});
  }
}

}  // namespace

void examineMachine(bool repair, const Report& report) {
  examineUsb(nullptr, repair, report);
  examinePortList(report);
  const std::vector<SerialPort> ports = serialPorts();
  if (ports.empty()) report({"serial ports", "there is none"});
  for (const SerialPort& port : ports) examinePort(port, report);
}

void examineResource(const std::string& resource, const Options& options, bool repair, const Report& report) {
  bool mayBeOpened = true;
  const Report watched = [&](const Finding& finding) {
    mayBeOpened = mayBeOpened && !finding.stops;
    report(finding);
  };
  const ResourceName name = parseResourceName(resource);
  bool isThere = true;
  if (name.bus == Bus::Usb) {
    isThere = examineUsb(&name, repair, watched);
  } else if (name.bus == Bus::Serial) {
    examinePortList(watched);
    const auto port = serialPort(name.comPort);
    isThere = port.has_value();
    if (port) examinePort(*port, watched);
  } else if (name.bus == Bus::Tcp) {
    examineHost(resource, name, watched);
  } else {
    isThere = false;
  }
  if (!isThere && mayBeOpened) watched(faultOf(resource, diagnose(resource).value_or(Diagnosis{"not found"})));
  if (mayBeOpened) askWhoItIs(resource, name, options, report);
}
