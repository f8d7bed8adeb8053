#include "diagnosis.h"

#include "deviceNode.h"
#include "hosts.h"
#include "library.h"
#include "serialPorts.h"
#include "text.h"
#include "usbDevices.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <optional>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

Diagnosis unknownName(const std::string& resource) {
  Diagnosis diagnosis{"no resource name"};
  if (const auto corrected = correctedName(resource)) {
    diagnosis.advice = "did you mean " + *corrected + "?";
  } else {
    diagnosis.advice = "names look like USB0::0x7C5A::0x0042::A1234::INSTR, ASRL3::INSTR or "
                       "TCPIP0::192.0.2.7::5025::SOCKET; qvvisa find lists USB and serial ones";
  }
  return diagnosis;
}

/// The ports that there are instead of one that isn't.
Diagnosis noSuchPort(int number) {
  Diagnosis diagnosis{"there is no serial port " + std::to_string(number)};
  for (const PortEntry& entry : portEntries()) {
    if (entry.number == number && !entry.fault.empty()) {
      diagnosis.cause += ": QVVISA_SERIAL_PORTS has '" + entry.text + "', but " + entry.fault;
    }
  }
  for (const SerialPort& port : serialPorts()) {
    diagnosis.advice += (diagnosis.advice.empty() ? "the ports are " : ", ") + port.resource() + " (" + port.path + ')';
  }
  if (diagnosis.advice.empty()) diagnosis.advice = "there is none at all; QVVISA_SERIAL_PORTS can name one";
  return diagnosis;
}

/// Opens the port as the library did, to see what it saw. @return 0 or the errno.
int tryPort(const std::string& path) {
  const int line = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (line < 0) return errno;
  int mark = 0;
  const bool isMarked = ioctl(line, TIOCGEXCL, &mark) == 0 && mark != 0;
  const bool isLocked = flock(line, LOCK_EX | LOCK_NB) != 0;
  close(line);
  return isMarked || isLocked ? EBUSY : 0;
}

std::optional<Diagnosis> whyNoSerialPort(int number) {
  const auto port = serialPort(number);
  if (!port) return noSuchPort(number);
  if (auto noAccess = whyNoAccess(port->path)) return noAccess;
  const int error = tryPort(port->path);
  if (error == 0) return std::nullopt;
  if (error != EBUSY) return Diagnosis{port->path + " can't be opened: " + strerror(error)};
  return Diagnosis{port->path + " is in use by " + holdersInWords(port->path), "end that program, or its session"};
}

/// A port that was written where a name without SOCKET has a device: it's the commonest slip with TCP names.
std::string adviceOnPort(const ResourceName& name) {
  if (!parseNumber(name.deviceName, 0, std::numeric_limits<uint16_t>::max())) return {};
  return "without SOCKET the name means port 2000; for port " + name.deviceName + " write TCPIP0::" + name.host +
         "::" + name.deviceName + "::SOCKET";
}

std::optional<Diagnosis> whyNoTcpSession(const ResourceName& name) {
  auto diagnosis = whyNoConnection(name.host, name.tcpPort);
  const std::string advice = adviceOnPort(name);
  if (diagnosis && !advice.empty()) diagnosis->advice = advice;
  return diagnosis;
}

std::string message(const std::string& resource, const Diagnosis& diagnosis, const std::string& status) {
  std::string text = "opening " + resource + ": " + diagnosis.cause;
  if (!status.empty()) text += (diagnosis.cause.empty() ? "" : "\n  ") + status;
  if (!diagnosis.advice.empty()) text += "\n  " + diagnosis.advice;
  return text;
}

}  // namespace

std::optional<Diagnosis> diagnose(const std::string& resource) {
  const ResourceName name = parseResourceName(resource);
  switch (name.bus) {
  case Bus::Usb:
    return whyNoUsbDevice(name);
  case Bus::Serial:
    return whyNoSerialPort(name.comPort);
  case Bus::Tcp:
    return whyNoTcpSession(name);
  case Bus::None:
    break;
  }
  return unknownName(resource);
}

std::string whyNotOpened(const std::string& resource, ViStatus status) {
  return message(resource, diagnose(resource).value_or(Diagnosis{}), describe(status));
}

std::string noConnection(const std::string& resource, const ResourceName& name, std::chrono::milliseconds limit) {
  const std::string advice = adviceOnPort(name);
  const std::string general = "is the instrument on, is the address right, and does no firewall stand between? "
                              "--connect-timeout sets the limit";
  return message(resource,
                 {"no connection to port " + std::to_string(name.tcpPort) + " of " + name.host + " within " +
                      std::to_string(limit.count()) + " ms",
                  advice.empty() ? general : advice},
                 "");
}

std::string adviceOnRead(const std::string& resource, ViStatus status) {
  const ResourceName name = parseResourceName(resource);
  const std::string port = adviceOnPort(name);
  if (status == VI_ERROR_TMO && !port.empty()) return "\n  " + port;
  if (status == VI_ERROR_TMO && name.bus == Bus::Serial) {
    return "\n  are rate and format of the line the instrument's (--set ASRL_BAUD=9600), and the message's end (-T "
           "CRLF)?";
  }
  if (status != VI_ERROR_IO || name.bus != Bus::Usb || name.isRaw) return {};
  return "\n  what came is left over from an earlier query, or too long for USB: above 2036 bytes only some lengths "
         "arrive, above 3060 none\n  qvvisa clear " +
         resource + " makes the instrument usable again; for long answers use TCP or serial, or ask for less at a time";
}
