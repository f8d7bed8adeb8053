/// The library's resource manager as an object, and its statuses in words.
#pragma once

#include "QVvisa.h"

#include <string>
#include <vector>

/// The eight hexadecimal digits of a status behind 0x.
std::string hexOfStatus(ViStatus status);
/// The library's text.
std::string textOfStatus(ViStatus status);
/// A status as users see it: name, number, text.
std::string describeStatus(ViStatus status);
/// The same of an operation's result, which may be the one that TCP/IP sessions answer for any failed transfer.
std::string describe(ViStatus status);
/// Throws a Failure that begins with `action` unless the status is VI_SUCCESS.
void check(ViStatus status, const std::string& action);

/// Clears a USBTMC instrument and ends the halt of its Bulk-OUT endpoint, which it may keep up after a clear until it
/// is told that the host is done with it.
ViStatus clearInstrument(ViSession session);

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
