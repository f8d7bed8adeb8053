/// An open instrument.
#pragma once

#include "interruption.h"
#include "library.h"
#include "options.h"
#include "resourceName.h"
#include "response.h"
#include "settings.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

/// What ends a read beside the end of a response.
struct Reading {
  std::optional<size_t> count;           ///< read this many bytes, whatever they are
  bool untilTimeout = false;             ///< read until nothing more comes within the time limit
  bool hasParts = false;                 ///< several queries are answered: a block's end isn't the answer's
  std::function<void(size_t)> progress;  ///< told the number of bytes so far; may be empty
};

/// What a read brought.
struct Response {
  std::string bytes;
  std::string presentable;  ///< the same as the user gets it
  bool isBinary = false;    ///< it holds a block
  std::string flaw;         ///< why it isn't whole; empty if it is
};

/// Room for any attribute, as the library delivers it.
struct AttributeValue {
  alignas(ViUInt32) ViChar bytes[MAX_BUF_SIZE_ATTR] = "";
};

/// An open instrument, its time limit and the user's settings in force.
class Instrument {
public:
  Instrument(std::string resource, const Options& options);
  ~Instrument();
  Instrument(const Instrument&) = delete;
  Instrument& operator=(const Instrument&) = delete;

  ViSession handle() const { return handle_; }
  const std::string& resource() const { return resource_; }
  /// Throws a Failure naming `action` and the resource unless the status is VI_SUCCESS.
  void check(ViStatus status, const std::string& action) const;

  /// Sends the message and the termination behind it.
  void write(std::string message);
  /// Sends a message and reads the response to it. What came from the instrument before is dropped, and said to be.
  Response query(const std::string& message, const Reading& reading = {});
  /// Reads one response: to the termination, the end of a definite-length block, the end of the connection or the time
  /// limit. On USBTMC one response is one message.
  Response read(const Reading& reading = {});
  /// Clears a USB instrument. On a bus that knows no clear, what is on the line is taken and dropped.
  void clear();

  /// Reads an attribute; anything but VI_SUCCESS if the session doesn't know it or its value.
  ViStatus get(const Attribute& attribute, AttributeValue& value) const;
  void set(const Setting& setting);

private:
  using Milliseconds = std::chrono::milliseconds;
  enum class Ended { AsWanted, ByTimeLimit, ByPeer, ByFailure };
  struct Part {
    Ended ended;  ///< AsWanted if bytes came
    ViStatus status;
  };

  void open(const ResourceName& name, const Options& options);
  void limit(ViUInt32 limit_ms);
  Part receive(std::string& bytes, ViUInt32 cnt);
  ViUInt32 sizeOfNextRead(size_t received, const Reading& reading) const;
  void drop(Milliseconds quiet);
  Milliseconds quietTime() const;
  bool isStream(const Reading& reading) const;
  bool isWhole(const std::string& bytes, const ResponseScanner& scanner, const Reading& reading) const;
  std::string flawOf(const std::string& bytes, const ResponseScanner& scanner, const Reading& reading,
                     const Part& last) const;
  std::string howItEnded(const Part& last) const;

  std::optional<Interruption> interruption_;
  std::optional<ResourceManager> manager_;
  std::string resource_;
  std::string termination_;
  ViUInt32 timeout_ms_;
  std::optional<ViUInt32> settle_ms_;
  std::optional<ViUInt32> limit_ms_;  ///< in force at present; nothing: the session's own
  ViSession handle_ = 0;
  ViUInt16 interface_ = 0;
  bool isRawUsb_ = false;
  bool hasListened_ = false;  ///< for what the instrument was still sending when the session began
};
