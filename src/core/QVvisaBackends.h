/// What the session core asks of a bus. Each bus has one row of these functions, in its own folder, and the table in
/// core/entry names the rows.
#pragma once

#include "QVvisaDevice.h"
#include "QVvisaInterfaces.h"

#include <span>

enum {
  QVVISA_DEVICE_TYPE_UNKNOWN = 0,
  QVVISA_DEVICE_TYPE_USB = 1,
  QVVISA_DEVICE_TYPE_ASRL = 2,
  QVVISA_DEVICE_TYPE_TCPIP = 3,
  QVVISA_DEVICE_TYPE_OTHER = 4,  ///< of a bus whose sub-record is the device record's `otherDev`
};

/// Each function takes the device record and works on the bus's own sub-record in it, which is there wherever the
/// comment doesn't say otherwise. Success is VI_SUCCESS alone: a USB device that has gone is the positive
/// VI_SUCCESS_DEV_NPRESENT, and a failure.
struct QVvisa_backend_t {
  int deviceType;
  /// Opens also where a bus before it in the table has a sub-record in the same device record, and its status counts
  /// then. The other buses take turns: the first with a sub-record opens.
  bool opensBesideOthers = false;

  /// Whether the record holds this bus's sub-record.
  bool (*present)(const QVvisa_device_t*);
  /// Whether parseName accepted the name.
  bool (*found)(const QVvisa_device_t*);
  /// Creates the sub-record, which isn't there, with the bus's defaults. Null for a bus that creates it in parseName.
  ViStatus (*init)(QVvisa_device_t*) = nullptr;
  /// Closes the instrument, if it is open, and frees the sub-record; does nothing without one.
  void (*close)(QVvisa_device_t*);
  /// VI_SUCCESS, and the record's found flag set, only if the name is one of this bus.
  ViStatus (*parseName)(QVvisa_device_t*, char* name);
  /// Finds and opens the instrument that the parsed name tells. The fast lock is held.
  ViStatus (*findOpen)(QVvisa_device_t*);
  /// Told of the session's handle, under the fast lock; may be null.
  void (*registered)(QVvisa_device_t*, ViSession) = nullptr;

  /// VI_ERROR_NSUP_ATTR, and nothing else, hands the attribute on to the attributes common to all buses.
  ViStatus (*getAttribute)(QVvisa_device_t*, ViAttr, void*);
  ViStatus (*setAttribute)(QVvisa_device_t*, ViAttr, ViAttrState);
  ViStatus (*read)(QVvisa_device_t*, ViPBuf, ViUInt32 cnt, ViPUInt32 retCnt);
  ViStatus (*write)(QVvisa_device_t*, ViBuf, ViUInt32 cnt, ViPUInt32 retCnt);

  // A bus answers VI_ERROR_NSUP_OPER to those of the following that are null.
  ViStatus (*readStatusByte)(QVvisa_device_t*, ViPUInt16 status) = nullptr;
  ViStatus (*clear)(QVvisa_device_t*) = nullptr;
  ViStatus (*remoteEnable)(QVvisa_device_t*, ViUInt16 mode) = nullptr;
  ViStatus (*controlOut)(QVvisa_device_t*, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue, ViUInt16 wIndex,
                         ViUInt16 wLength, ViBuf) = nullptr;
  ViStatus (*controlIn)(QVvisa_device_t*, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue, ViUInt16 wIndex,
                        ViUInt16 wLength, ViPBuf, ViPUInt16 retCnt) = nullptr;

  /// Hands what is attached to a search, under the fast lock; null for a bus that can't be searched. USB and serial
  /// ports have lists of their own there, any other bus calls QVvisa_addResource. VI_ERROR_RSRC_NFOUND when there is
  /// nothing; any other failure ends the search.
  ViStatus (*enumerate)(QVvisa_devList_t* found) = nullptr;
};

/// All buses, in the order in which a resource name is offered to them and in which a search lists them.
std::span<const QVvisa_backend_t* const> QVvisa_backends();

/// The bus of an open instrument: the first whose sub-record is present; null for a record without one.
const QVvisa_backend_t* QVvisa_backendOf(const QVvisa_device_t* pdev);
