/// The record of one open instrument, as the registry, the routing and the backends share it.
#pragma once

#include "QVvisa.h"

#include <atomic>

struct QVvisa_usb_device_t;
struct QVvisa_asrl_device_t;
struct QVvisa_tcpip_device_t;
struct QVvisa_backend_t;

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

  const QVvisa_backend_t* otherBus;  ///< a bus without a field above whose parser accepted the name, or null
  void* otherDev;                    ///< its sub-record, which it made then; owned
  ViUInt32 uses;                     ///< reference count, see below
};

/// Bit of `uses` that says that the record has lost its slot; the rest counts the operations that run on it.
constexpr ViUInt32 QVVISA_RETIRED = 0x80000000;

/// Counts an operation on a record that has a slot. The caller holds the fast lock.
inline void QVvisa_addUse(QVvisa_device_t& device) {
  std::atomic_ref(device.uses).fetch_add(1, std::memory_order_relaxed);
}

/// Ends an operation.
/// @return whether it was the last one on a retired record, which the caller has to close
[[nodiscard]] inline bool QVvisa_dropUse(QVvisa_device_t& device) {
  return std::atomic_ref(device.uses).fetch_sub(1, std::memory_order_acq_rel) == (QVVISA_RETIRED | 1);
}

/// Notes that a record has lost its slot.
/// @return whether no operation runs on it, and the caller has to close it
[[nodiscard]] inline bool QVvisa_retire(QVvisa_device_t& device) {
  return std::atomic_ref(device.uses).fetch_or(QVVISA_RETIRED, std::memory_order_acq_rel) == 0;
}
