/// The library's handles as objects, and its statuses as exceptions.
#pragma once

#include "QVvisa.h"
#include "names.h"

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// An operation that failed, in words for the user.
class Failure : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// A status as users see it: name, number, text.
std::string describeStatus(ViStatus status);
/// The same of an operation's result, which may be the one that TCP/IP sessions answer for any failed transfer.
std::string describe(ViStatus status);
/// Throws a Failure that begins with `action` unless the status is VI_SUCCESS.
void check(ViStatus status, const std::string& action);

/// What the user chose for all operations of one call of the tool.
struct Options {
  ViUInt32 timeout_ms = 3000;
  std::string termination = "\n";     ///< behind what is sent, and where a response ends; may be empty
  std::vector<std::string> settings;  ///< attributes to set after the open, as NAME=VALUE
  std::optional<size_t> count;        ///< read this many bytes, whatever they are
};

/// The library, up for the life of the object.
class ResourceManager {
public:
  ResourceManager();
  ~ResourceManager();
  ResourceManager(const ResourceManager&) = delete;
  ResourceManager& operator=(const ResourceManager&) = delete;

  ViSession handle() const { return handle_; }
  /// The names of all resources that match, empty if none does.
  std::vector<std::string> find(std::string expression) const;

private:
  ViSession handle_ = 0;
};

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
  Response read() const;

  /// An attribute in words, or nothing if the session doesn't know it or its value.
  std::optional<std::string> attribute(const Attribute& attribute) const;
  /// Carries out `NAME=VALUE`.
  void set(std::string_view setting) const;

private:
  ViStatus receive(std::string& bytes, ViUInt32 cnt) const;
  ViUInt32 sizeOfNextRead(size_t received) const;
  bool isWhole(const std::string& bytes) const;
  std::string flawOf(const std::string& bytes, ViStatus last) const;

  ResourceManager manager_;
  std::string resource_;
  Options options_;
  ViSession handle_ = 0;
  ViUInt16 interface_ = 0;
};
