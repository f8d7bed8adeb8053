/// @file
/// A small SCPI instrument that knows nothing of buses: a device that all connections share, and a session for each
/// connection that cuts its bytes into program messages and queues the responses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>

namespace qvsim {

/// The four fields of the `*IDN?` answer.
struct Identity {
  std::string maker = "KESTRIX";
  std::string model = "SIM-1";
  std::string serial = "A1234";
  std::string version = "1.0";
};

/// Bits of the status byte (IEEE 488.2, SCPI-99) and of the standard event status register.
namespace stb {
constexpr unsigned errorQueue = 0x04, messageAvailable = 0x10, eventSummary = 0x20, masterSummary = 0x40;
}
namespace esr {
constexpr unsigned operationComplete = 0x01, queryError = 0x04, deviceError = 0x08, executionError = 0x10,
                   commandError = 0x20, powerOn = 0x80;
}

/// The device: settings, status registers and error queue. Every operation may be called from any thread.
class ScpiInstrument {
public:
  explicit ScpiInstrument(Identity identity = {});

  /// Runs one program message (its terminator removed, units separated by `;`).
  /// @param responsePending  whether the caller's output queue holds something: `*STB?` reports it as MAV
  /// @return the response message with its final newline, empty if the message asked nothing
  std::string execute(std::string_view message, bool responsePending);

  /// Puts an error into the queue and its class into the event status register; a full queue says so instead.
  void reportError(int code);

  /// The status byte, MSS in bit 6, for a connection with or without a waiting response.
  uint8_t statusByte(bool responsePending) const;

  /// The value that `VOLT` has set, in volts.
  double voltage() const;

  /// The pattern of `DATA:BLOCK?`: byte i is i modulo 256, so that every byte value, newline among them, occurs.
  static std::string blockPattern(size_t size);

  static constexpr double minimumVoltage = 0.0, maximumVoltage = 30.0;
  static constexpr size_t maximumBlock = size_t{16} << 20;

private:
  struct Command;
  static const Command commands[];
  static const Command* findCommand(std::string_view header);

  void executeUnit(std::string_view unit, std::string& path, bool responsePending, std::string& response);
  void raise(int code);
  uint8_t status(bool responsePending) const;

  // What the table of commands points at. `argument` is trimmed and present where the command takes one.
  std::string identification(std::string_view argument);
  std::string reset(std::string_view argument);
  std::string clearStatus(std::string_view argument);
  std::string readEvents(std::string_view argument);
  std::string setEventEnable(std::string_view argument);
  std::string eventEnable(std::string_view argument);
  std::string setServiceEnable(std::string_view argument);
  std::string serviceEnable(std::string_view argument);
  std::string readStatus(std::string_view argument);
  std::string operationComplete(std::string_view argument);
  std::string one(std::string_view argument);
  std::string zero(std::string_view argument);
  std::string nothing(std::string_view argument);
  std::string nextError(std::string_view argument);
  std::string setVoltage(std::string_view argument);
  std::string voltageSetting(std::string_view argument);
  std::string measureVoltage(std::string_view argument);
  std::string block(std::string_view argument);
  void setRegister(uint8_t& target, std::string_view argument);

  const Identity identity_;
  mutable std::mutex mutex_;
  double voltage_ = 0.0;
  uint8_t events_ = esr::powerOn;
  uint8_t eventEnable_ = 0;
  uint8_t serviceEnable_ = 0;
  bool responsePending_ = false;  ///< of the message that runs
  std::deque<int> errors_;
};

/// One connection to an instrument. Not for several threads at once.
class ScpiSession {
public:
  enum class Link {
    message,  ///< a bus with message ends (USBTMC): a query that meets an unread response discards it, error -410
    stream,   ///< bytes only (TCP, serial, raw USB): responses line up behind each other
  };
  static constexpr size_t maximumMessage = size_t{1} << 20;

  ScpiSession(ScpiInstrument& instrument, Link link) : instrument_(instrument), link_(link) {}

  /// Takes bytes from the bus. A newline ends a message, and so does the last byte if @p end is set.
  void feed(std::string_view bytes, bool end = false);

  /// Bytes of response that wait to be taken.
  size_t available() const { return output_.size() - taken_; }

  /// The next bytes of the response, at most @p most.
  std::string take(size_t most);

  /// The response's waiting bytes, to be looked at before `drop`; good until the next call of anything else.
  std::string_view waiting() const { return std::string_view(output_).substr(taken_); }
  void drop(size_t count);

  /// Forgets unfinished input and unread output (device clear).
  void clear();

  uint8_t statusByte() const { return instrument_.statusByte(available() != 0); }
  ScpiInstrument& instrument() { return instrument_; }

private:
  void execute(std::string_view message);

  ScpiInstrument& instrument_;
  const Link link_;
  std::string input_;
  bool overrun_ = false;  ///< the message is too long: its rest is skipped
  std::string output_;
  size_t taken_ = 0;
};

}  // namespace qvsim
