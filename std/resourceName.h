/// Resource names: the spellings that programs use, brought to the one that the library below takes.
#pragma once

#include "QVvisa_std.h"

namespace qvstd {

enum class Bus { Usbtmc, UsbRaw, Serial, Tcp };

struct ResourceName {
  Bus bus = Bus::Tcp;
  ViUInt16 interfaceType = 0;
  ViUInt16 interfaceNumber = 0;
  const char* resourceClass = "";
  ViChar text[VI_FIND_BUFLEN] = "";     ///< in full, the same for all spellings of one resource
  ViChar opening[VI_FIND_BUFLEN] = "";  ///< what the library opens; it may tell a baud rate too
  ViChar host[VI_FIND_BUFLEN] = "";     ///< of a TCP/IP resource
  ViChar device[VI_FIND_BUFLEN] = "";   ///< of a TCP/IP INSTR resource
};

/// @retval VI_ERROR_INV_RSRC_NAME     not a name of one of the three buses
/// @retval VI_ERROR_INTF_NUM_NCONFIG  a USB board other than 0
ViStatus parseResourceName(ViConstRsrc given, ResourceName& name);

}  // namespace qvstd
