/// An open instrument.
#pragma once

#include "library.h"
#include "names.h"
#include "options.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// What a read brought.
struct Response {
  std::string bytes;
  std::string flaw;  ///< why it isn't whole; empty if it is
};

/// An open instrument, its time limit and the user's settings in force.
class Instrument {
public:
  Instrument(std::string resource, Options options);
  ~Instrument();
  Instrument(const Instrument&) = delete;
  Instrument& operator=(const Instrument&) = delete;

  ViSession handle() const { return handle_; }
  const std::string& resource() const { return resource_; }
  /// Throws a Failure naming `action` and the resource unless the status is VI_SUCCESS.
  void check(ViStatus status, const std::string& action) const;

  /// Sends the message and the termination behind it.
  void write(std::string message) const;
  /// Reads one response: to the termination, the end of a definite-length block, the end of the connection or the time
  /// limit, or the number of bytes that the user asked for. On USB one response is one message.
  /// @param byteCount  read this many bytes, whatever they are
  Response read(std::optional<size_t> byteCount = {}) const;

  /// An attribute in words, or nothing if the session doesn't know it or its value.
  std::optional<std::string> attribute(const Attribute& attribute) const;
  /// Carries out `NAME=VALUE`.
  void set(std::string_view setting) const;

private:
  ViStatus receive(std::string& bytes, ViUInt32 cnt) const;
  ViUInt32 sizeOfNextRead(size_t received, std::optional<size_t> byteCount) const;
  bool isWhole(const std::string& bytes, std::optional<size_t> byteCount) const;
  std::string flawOf(const std::string& bytes, std::optional<size_t> byteCount, ViStatus last) const;

  ResourceManager manager_;
  std::string resource_;
  Options options_;
  ViSession handle_ = 0;
  ViUInt16 interface_ = 0;
};
