#include "QVvisa.h"

#include "QVvisaFind.h"
#include "QVvisaLifetime.h"
#include "QVvisaLock.h"
#include "QVvisaPrivate.h"
#include "QVvisaStatus.h"
#include "cancellationGuard.h"

#include <cstring>

namespace {

/// Runs an operation on a session's record, behind the library check and the look-up.
template <typename Operation>
ViStatus onDevice(ViSession vi, Operation operation) {
  const CancellationGuard untilDone;
  if (!QVvisa_isUp()) return VI_ERROR_SYSTEM_ERROR;
  const PinnedDevice device(vi);
  return device.get() ? operation(device.get()) : VI_ERROR_INV_OBJECT;
}

/// Runs an optional operation of the session's bus.
template <auto Operation, typename... Arguments>
ViStatus onBus(ViSession vi, Arguments... arguments) {
  return onDevice(vi, [&](QVvisa_device_t* device) {
    const QVvisa_backend_t* bus = QVvisa_backendOf(device);
    return bus && bus->*Operation ? (bus->*Operation)(device, arguments...) : VI_ERROR_NSUP_OPER;
  });
}

bool isFindList(ViObject vi) {
  QVvisa_findList_t* findList = nullptr;
  return QVvisa_LookupHandleFindList(vi, &findList) == VI_SUCCESS;
}

/// Gives a record whose instrument is open a slot and a handle.
ViStatus registerDevice(QVvisa_device_t* device, ViAccessMode mode, ViPSession vi) {
  const CoreLock lock;
  device->mode = mode;
  const ViStatus status = QVvisa_AddHandleDevice(&device, vi);
  if (status != VI_SUCCESS) return status;
  const QVvisa_backend_t* bus = QVvisa_backendOf(device);
  if (bus && bus->registered) bus->registered(device, *vi);
  return VI_SUCCESS;
}

/// Names the instrument and opens it. On anything but VI_SUCCESS the caller closes the record.
ViStatus openInstrument(QVvisa_device_t* device, ViRsrc name) {
  const ViStatus status = QVvisa_OpenHelperParseName(name, device);
  if (status != VI_SUCCESS) return status;
  for (const QVvisa_backend_t* backend : QVvisa_backends()) {
    if (!backend->found(device)) backend->close(device);
  }
  return QVvisa_OpenHelperFindOpenDev(device);
}

}  // namespace

ViStatus _VI_FUNC QV_viOpenDefaultRM(ViPSession vi) {
  const CancellationGuard untilDone;
  if (!vi) return VI_ERROR_INV_OBJECT;
  *vi = QV_UNINIT_RM_SESSION_HANDLE;
  const ViStatus status = QVvisa_startLibrary();
  if (status == VI_SUCCESS) *vi = QV_DEFAULT_RM_SESSION_HANDLE;
  return status;
}

ViStatus _VI_FUNC QV_viFindRsrc(ViSession sesn, ViString expr, ViPFindList vi, ViPUInt32 retCnt, ViChar* desc) {
  const CancellationGuard untilDone;
  if (!QVvisa_isUp()) return VI_ERROR_SYSTEM_ERROR;
  if (sesn != QV_DEFAULT_RM_SESSION_HANDLE || !expr) return VI_ERROR_INV_OBJECT;
  if (vi) *vi = QV_UNINIT_FINDLIST_HANDLE;
  if (retCnt) *retCnt = 0;
  if (desc) *desc = '\0';
  return QVvisa_findRsrc(expr, vi, retCnt, desc);
}

ViStatus _VI_FUNC QV_viFindNext(ViFindList vi, ViChar* desc) {
  const CancellationGuard untilDone;
  if (!QVvisa_isUp()) return VI_ERROR_SYSTEM_ERROR;
  if (!desc) return VI_ERROR_INV_PARAMETER;
  const CoreLock lock;
  QVvisa_findList_t* findList = nullptr;
  const ViStatus status = QVvisa_LookupHandleFindList(vi, &findList);
  return status == VI_SUCCESS ? QVvisa_findNext(findList, desc) : status;
}

ViStatus _VI_FUNC QV_viOpen(ViSession sesn, ViRsrc name, ViAccessMode mode, ViUInt32, ViPSession vi) {
  const CancellationGuard untilDone;
  if (!QVvisa_isUp()) return VI_ERROR_SYSTEM_ERROR;
  if (sesn != QV_DEFAULT_RM_SESSION_HANDLE || mode > VI_EXCLUSIVE_LOCK) return VI_ERROR_INV_PARAMETER;
  const OpenInProgress open;
  if (!open.isUp()) return VI_ERROR_SYSTEM_ERROR;
  QVvisa_device_t* device = nullptr;
  ViStatus status = QVvisa_initDevListElem(&device);
  if (status != VI_SUCCESS) return status;
  status = openInstrument(device, name);
  if (status != VI_SUCCESS) {
    QVvisa_closeDevListElem(&device);
    return status;
  }
  return registerDevice(device, mode, vi);
}

ViStatus _VI_FUNC QV_viClose(ViObject vi) {
  const CancellationGuard untilDone;
  if (!QVvisa_isUp()) return VI_SUCCESS;
  {
    // Classification and removal are one hold: in between, the slot could get a new occupant.
    const CoreLock lock;
    if (!gpQvvisa) return VI_SUCCESS;
    int type = QVVISA_HANDLE_TYPE_UNKNOWN;
    void* slot = nullptr;
    ViStatus status = QVvisa_GetTypeIdxOfSession(vi, &type, nullptr, &slot);
    if (type == QVVISA_HANDLE_TYPE_DEVICE) status = QVvisa_RemoveHandleDevice(static_cast<QVvisa_device_t**>(slot));
    if (type == QVVISA_HANDLE_TYPE_FINDLIST)
      status = QVvisa_RemoveHandleFindList(static_cast<QVvisa_findList_t**>(slot));
    if (status != VI_SUCCESS) return status;
  }
  QVvisa_checkClose();
  return VI_SUCCESS;
}

ViStatus _VI_FUNC QV_viSetAttribute(ViObject vi, ViAttr attrName, ViAttrState attrValue) {
  const CancellationGuard untilDone;
  if (!QVvisa_isUp()) return VI_ERROR_SYSTEM_ERROR;
  const PinnedDevice device(vi);
  if (device.get()) return QVvisa_SetAttributeToDevice(device.get(), attrName, attrValue);
  return isFindList(vi) ? QVvisa_SetAttributeToFindlist(nullptr, attrName, attrValue) : VI_ERROR_INV_OBJECT;
}

ViStatus _VI_FUNC QV_viGetAttribute(ViObject vi, ViAttr attrName, void* attrValue) {
  const CancellationGuard untilDone;
  if (!QVvisa_isUp()) return VI_ERROR_SYSTEM_ERROR;
  if (!attrValue) return VI_SUCCESS;
  const PinnedDevice device(vi);
  if (device.get()) return QVvisa_GetAttributeFromDevice(device.get(), attrName, attrValue);
  return isFindList(vi) ? QVvisa_GetAttributeFromFindlist(nullptr, attrName, attrValue) : VI_ERROR_INV_OBJECT;
}

ViStatus _VI_FUNC QV_viStatusDesc(ViObject, ViStatus status, ViChar* desc) {
  if (!desc) return VI_ERROR_USER_BUF;
  const QVvisa_statusDescr_t* row = gStatusDesc;
  while (row->description && row->status != status) ++row;
  // Fills the rest of the buffer with NUL.
  strncpy(desc, row->description ? row->description : gUnknownStatusDescr, MAX_STATUS_DESCRIPTION - 1);
  desc[MAX_STATUS_DESCRIPTION - 1] = '\0';
  return row->description ? VI_SUCCESS : VI_WARN_UNKNOWN_STATUS;
}

ViStatus _VI_FUNC QV_viRead(ViSession vi, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  return onDevice(vi, [&](QVvisa_device_t* device) {
    const QVvisa_backend_t* backend = QVvisa_backendOf(device);
    return backend ? backend->read(device, buf, cnt, retCnt) : VI_ERROR_SYSTEM_ERROR;
  });
}

ViStatus _VI_FUNC QV_viWrite(ViSession vi, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  return onDevice(vi, [&](QVvisa_device_t* device) {
    const QVvisa_backend_t* backend = QVvisa_backendOf(device);
    return backend ? backend->write(device, buf, cnt, retCnt) : VI_ERROR_SYSTEM_ERROR;
  });
}

ViStatus _VI_FUNC QV_viReadSTB(ViSession vi, ViPUInt16 status) {
  if (!QVvisa_isUp()) return VI_ERROR_SYSTEM_ERROR;
  if (!status) return VI_ERROR_INV_OBJECT;
  return onBus<&QVvisa_backend_t::readStatusByte>(vi, status);
}

ViStatus _VI_FUNC QV_viClear(ViSession vi) {
  return onBus<&QVvisa_backend_t::clear>(vi);
}

ViStatus _VI_FUNC QV_viFlush(ViSession, ViUInt16) {
  return VI_SUCCESS;
}

ViStatus _VI_FUNC QV_viGpibControlREN(ViSession vi, ViUInt16 mode) {
  return onBus<&QVvisa_backend_t::remoteEnable>(vi, mode);
}

ViStatus _VI_FUNC QV_viUsbControlOut(ViSession vi, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue,
                                     ViUInt16 wIndex, ViUInt16 wLength, ViBuf buf) {
  return onBus<&QVvisa_backend_t::controlOut>(vi, bmRequestType, bRequest, wValue, wIndex, wLength, buf);
}

ViStatus _VI_FUNC QV_viUsbControlIn(ViSession vi, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue,
                                    ViUInt16 wIndex, ViUInt16 wLength, ViPBuf buf, ViPUInt16 retCnt) {
  if (retCnt) *retCnt = 0;
  return onBus<&QVvisa_backend_t::controlIn>(vi, bmRequestType, bRequest, wValue, wIndex, wLength, buf, retCnt);
}
