/// The buses behind the session core. Adding a bus is one unit and one row of the table here.
#pragma once

#include "QVvisaDevice.h"
#include "QVvisaInterfaces.h"

#include <span>

enum {
  QVVISA_DEVICE_TYPE_UNKNOWN = 0,
  QVVISA_DEVICE_TYPE_USB = 1,
  QVVISA_DEVICE_TYPE_ASRL = 2,
  QVVISA_DEVICE_TYPE_TCPIP = 3,
};

/// What the session core asks of a bus. Each function takes the device record and works on the bus's own sub-record in
/// it, which is there wherever the comment doesn't say otherwise.
struct QVvisa_backend_t {
  int deviceType;
  /// Whether the record holds this bus's sub-record.
  bool (*present)(const QVvisa_device_t*);
  /// Creates the sub-record, which isn't there, with the bus's defaults.
  ViStatus (*init)(QVvisa_device_t*);
  /// Closes the instrument, if it is open, and frees the sub-record; does nothing without one.
  void (*close)(QVvisa_device_t*);
  /// VI_SUCCESS, and the record's found flag set, only if the name is one of this bus.
  ViStatus (*parseName)(QVvisa_device_t*, char* name);
  /// Whether parseName accepted the name.
  bool (*found)(const QVvisa_device_t*);
  /// Finds and opens the instrument that the parsed name tells. The fast lock is held.
  ViStatus (*findOpen)(QVvisa_device_t*);
  /// VI_ERROR_NSUP_ATTR, and nothing else, hands the attribute on to the attributes common to all buses.
  ViStatus (*getAttribute)(QVvisa_device_t*, ViAttr, void*);
  ViStatus (*setAttribute)(QVvisa_device_t*, ViAttr, ViAttrState);
  ViStatus (*read)(QVvisa_device_t*, ViPBuf, ViUInt32 cnt, ViPUInt32 retCnt);
  ViStatus (*write)(QVvisa_device_t*, ViBuf, ViUInt32 cnt, ViPUInt32 retCnt);
  /// Lists what is attached, under the fast lock; null for a bus that can't be searched. VI_ERROR_RSRC_NFOUND when
  /// there is nothing, and the list stays null.
  ViStatus (*enumerate)(QVvisa_devList_t*);
};

/// All buses, in the order in which a resource name is offered to them.
std::span<const QVvisa_backend_t> QVvisa_backends();

/// The bus of an open instrument: the first whose sub-record is present; null for a record without one.
const QVvisa_backend_t* QVvisa_backendOf(const QVvisa_device_t* pdev);
