/// @file
/// The instrument behind a serial line, one message a line: the other end of a pty.
#pragma once

#include <string>

#include "streamService.h"

namespace qvsim {

class PtyPort : public StreamService {
public:
  /// Makes a pty in raw mode. Clients may open and close it as they like.
  /// @param link  path of a symbolic link to the pty, made here and removed at the end; empty for none
  /// Throws std::system_error if one of them can't be made.
  explicit PtyPort(ScpiInstrument& instrument, std::string link = {});
  ~PtyPort();

  /// What a client opens: the link if there is one, else the device.
  const std::string& path() const { return link_.empty() ? device_ : link_; }
  const std::string& device() const { return device_; }

private:
  std::string device_;
  std::string link_;
  Descriptor keeper_;  ///< the client's end: without it the line would hang up whenever no client has it open
};

}  // namespace qvsim
