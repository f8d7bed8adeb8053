/// The record of one open instrument, as the registry, the routing and the backends share it.
#pragma once

#include "QVvisa.h"

struct QVvisa_usb_device_t;
struct QVvisa_asrl_device_t;
struct QVvisa_tcpip_device_t;

/// One open or opening instrument. It is born with one sub-record per bus; the first parser that accepts the resource
/// name keeps its own and the others are closed, so that the one left says the bus.
struct QVvisa_device_t {
  ViSession visaID;              ///< the session's handle, set at registration; the first field, which look-ups compare
  ViAttrState userData;          ///< VI_ATTR_USER_DATA
  ViAccessMode mode;             ///< access mode given to QV_viOpen
  QVvisa_usb_device_t* tusbDev;  ///< USB sub-record or null; owned
  int foundUsbDev;               ///< 1 when the USB parser accepted the name
  QVvisa_asrl_device_t* qvlsDev;   ///< serial sub-record or null; owned
  int foundAsrlDev;                ///< 1 when the serial parser accepted the name
  QVvisa_tcpip_device_t* ttcpDev;  ///< TCP/IP sub-record or null; owned
  int foundTCPIP_Dev;              ///< 1 when the TCP/IP parser accepted the name

  ViUInt32 uses;  ///< operations running on the record, and whether it was closed meanwhile; the registry's own
};
