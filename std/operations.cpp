// The standard's operations on resources, attributes, locks and messages; contracts in QVvisa_std.h.

#include "attributes.h"
#include "formattedBuffers.h"
#include "reading.h"
#include "writing.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

using namespace qvstd;

namespace {

/// Between two attempts to clear an instrument that isn't done yet.
constexpr std::chrono::milliseconds kClearPause{10};

void putName(ViChar* target, const ViChar* text) {
  if (target) snprintf(target, VI_FIND_BUFLEN, "%s", text);
}

ViStatus parse(ViSession manager, ViConstRsrc text, ResourceName& name) {
  return find<Manager>(manager) ? parseResourceName(text, name) : VI_ERROR_INV_OBJECT;
}

ViStatus sendText(Instrument& instrument, const char* text) {
  ViUInt32 count = 0;
  return writeMessage(instrument, reinterpret_cast<ViConstBuf>(text), static_cast<ViUInt32>(strlen(text)), true, count);
}

/// The protocol in which a serial port or a connection knows the common commands of IEEE 488.2.
bool speaks4882(const Instrument& instrument) {
  return instrument.name.interfaceType != VI_INTF_USB && instrument.settings.protocol == VI_PROT_4882_STRS;
}

/// Asks for the status byte by a message. The answer ends with a newline, whatever else may end a read.
ViStatus askForStatusByte(Instrument& instrument, ViPUInt16 statusByte) {
  ViStatus status = sendText(instrument, "*STB?\n");
  if (status != VI_SUCCESS) return status;
  ViChar answer[16] = "";
  for (ViUInt32 length = 0; length + 1 < sizeof answer; ++length) {
    ViUInt32 count = 0;
    status = readMessage(instrument, reinterpret_cast<ViPBuf>(answer + length), 1, count);
    if (status < VI_SUCCESS) return status;
    if (answer[length] == '\n') break;
  }
  unsigned value = 0;
  if (sscanf(answer, "%3u", &value) != 1 || value > UINT8_MAX) return VI_ERROR_IO;
  *statusByte = static_cast<ViUInt16>(value);
  return VI_SUCCESS;
}

/// An instrument may not be done, or refuse while it has data; the library wants it asked again.
ViStatus clearUsbtmc(Instrument& instrument) {
  const ViUInt32 limit_ms = instrument.settings.timeout_ms;
  ViStatus status = setLimitBelow(instrument, limit_ms);
  if (status != VI_SUCCESS) return status;
  const Deadline deadline(limit_ms);
  while ((status = QV_viClear(instrument.below)) == QVVI_NEEDS_EQUIVALENT && !deadline.isOver()) {
    std::this_thread::sleep_for(kClearPause);
  }
  return standardStatus(status);
}

ViStatus clear(Instrument& instrument) {
  ViStatus status = VI_SUCCESS;
  if (instrument.name.bus == Bus::UsbRaw) return VI_ERROR_NSUP_OPER;
  if (instrument.name.bus == Bus::Usbtmc) status = clearUsbtmc(instrument);
  if (status == VI_SUCCESS && speaks4882(instrument)) status = sendText(instrument, "*CLS\n");
  SessionOutput(instrument).discard();
  SessionInput(instrument).discard();
  const ViStatus discarded = discardReceived(instrument);
  return status == VI_SUCCESS ? discarded : status;
}

template <typename Operation>
ViStatus onUsb(ViSession vi, Operation operation) {
  return onInstrument(vi, [&](Instrument& instrument) {
    if (instrument.name.interfaceType != VI_INTF_USB) return VI_ERROR_NSUP_OPER;
    const ViStatus status = setLimitBelow(instrument, instrument.settings.timeout_ms);
    return status == VI_SUCCESS ? standardStatus(operation(instrument)) : status;
  });
}

}  // namespace

ViStatus _VI_FUNC viOpenDefaultRM(ViPSession vi) {
  if (!vi) return VI_ERROR_USER_BUF;
  *vi = VI_NULL;
  return openManager(vi);
}

ViStatus _VI_FUNC viFindRsrc(ViSession sesn, ViConstString expr, ViPFindList vi, ViPUInt32 retCnt, ViChar* desc) {
  if (!find<Manager>(sesn)) return VI_ERROR_INV_OBJECT;
  if (!expr) return VI_ERROR_INV_EXPR;
  if (!desc) return VI_ERROR_USER_BUF;
  if (vi) *vi = VI_NULL;
  if (retCnt) *retCnt = 0;
  *desc = '\0';
  return openFindList(sesn, expr, vi, retCnt, desc);
}

ViStatus _VI_FUNC viFindNext(ViFindList vi, ViChar* desc) {
  const Ref<FindList> list = find<FindList>(vi);
  if (!list) return VI_ERROR_INV_OBJECT;
  if (!desc) return VI_ERROR_USER_BUF;
  ViUInt32 next = list->next;
  do {
    if (next >= list->found.count) return VI_ERROR_RSRC_NFOUND;
  } while (!list->next.compare_exchange_weak(next, next + 1));
  memcpy(desc, list->found.names[next], VI_FIND_BUFLEN);
  return VI_SUCCESS;
}

ViStatus _VI_FUNC viParseRsrc(ViSession rmSesn, ViConstRsrc rsrcName, ViPUInt16 intfType, ViPUInt16 intfNum) {
  return viParseRsrcEx(rmSesn, rsrcName, intfType, intfNum, nullptr, nullptr, nullptr);
}

ViStatus _VI_FUNC viParseRsrcEx(ViSession rmSesn, ViConstRsrc rsrcName, ViPUInt16 intfType, ViPUInt16 intfNum,
                                ViChar* rsrcClass, ViChar* expandedUnaliasedName, ViChar* aliasIfExists) {
  ResourceName name;
  const ViStatus status = parse(rmSesn, rsrcName, name);
  if (status != VI_SUCCESS) return status;
  if (intfType) *intfType = name.interfaceType;
  if (intfNum) *intfNum = name.interfaceNumber;
  putName(rsrcClass, name.resourceClass);
  putName(expandedUnaliasedName, name.text);
  putName(aliasIfExists, "");
  return VI_SUCCESS;
}

ViStatus _VI_FUNC viOpen(ViSession sesn, ViConstRsrc name, ViAccessMode mode, ViUInt32 openTimeout, ViPSession vi) {
  if (!vi) return VI_ERROR_USER_BUF;
  *vi = VI_NULL;
  if (!find<Manager>(sesn)) return VI_ERROR_INV_OBJECT;
  if ((mode & ~static_cast<ViAccessMode>(VI_EXCLUSIVE_LOCK | VI_LOAD_CONFIG)) != 0) return VI_ERROR_INV_ACC_MODE;
  const ViStatus status = openInstrument(sesn, name, mode, Deadline(openTimeout), vi);
  return status == VI_SUCCESS && (mode & VI_LOAD_CONFIG) ? VI_WARN_CONFIG_NLOADED : status;
}

ViStatus _VI_FUNC viClose(ViObject vi) {
  return vi == VI_NULL ? VI_WARN_NULL_OBJECT : closeObject(vi);
}

ViStatus _VI_FUNC viSetAttribute(ViObject vi, ViAttr attrName, ViBusSize attrValue) {
  // The width of a state was 32 bits once: only a 64-bit attribute has anything above them.
  const ViUInt64 value = attrName == VI_ATTR_USER_DATA_64 ? attrValue : attrValue & UINT32_MAX;
  if (const Ref<Instrument> instrument = find<Instrument>(vi)) return setAttribute(*instrument, attrName, value);
  if (const Ref<Manager> manager = find<Manager>(vi)) return setAttribute(*manager, attrName, value);
  return findObject(vi) ? VI_ERROR_NSUP_ATTR : VI_ERROR_INV_OBJECT;
}

ViStatus _VI_FUNC viGetAttribute(ViObject vi, ViAttr attrName, void* attrValue) {
  if (!attrValue) return VI_ERROR_USER_BUF;
  if (const Ref<Instrument> instrument = find<Instrument>(vi)) return getAttribute(*instrument, attrName, attrValue);
  if (const Ref<Manager> manager = find<Manager>(vi)) return getAttribute(*manager, attrName, attrValue);
  return findObject(vi) ? VI_ERROR_NSUP_ATTR : VI_ERROR_INV_OBJECT;
}

ViStatus _VI_FUNC viStatusDesc(ViObject vi, ViStatus status, ViChar* desc) {
  return QV_viStatusDesc(vi, status, desc);
}

ViStatus _VI_FUNC viLock(ViSession vi, ViAccessMode lockType, ViUInt32 timeout, ViConstKeyId requestedKey,
                         ViChar* accessKey) {
  const Ref<Instrument> instrument = find<Instrument>(vi);
  if (!instrument) return findObject(vi) ? VI_ERROR_NSUP_OPER : VI_ERROR_INV_OBJECT;
  if (lockType == VI_EXCLUSIVE_LOCK) return lockExclusive(instrument->locks, Deadline(timeout));
  if (lockType != VI_SHARED_LOCK) return VI_ERROR_INV_LOCK_TYPE;
  return lockShared(instrument->locks, Deadline(timeout), requestedKey, accessKey);
}

ViStatus _VI_FUNC viUnlock(ViSession vi) {
  const Ref<Instrument> instrument = find<Instrument>(vi);
  return instrument ? unlock(instrument->locks) : VI_ERROR_INV_OBJECT;
}

ViStatus _VI_FUNC viRead(ViSession vi, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  return onTransfer(vi, retCnt, [&](Instrument& instrument, ViUInt32& count) {
    return buf || cnt == 0 ? readMessage(instrument, buf, cnt, count) : VI_ERROR_USER_BUF;
  });
}

ViStatus _VI_FUNC viWrite(ViSession vi, ViConstBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  return onTransfer(vi, retCnt, [&](Instrument& instrument, ViUInt32& count) {
    return buf || cnt == 0 ? writeMessage(instrument, buf, cnt, true, count) : VI_ERROR_USER_BUF;
  });
}

ViStatus _VI_FUNC viAssertTrigger(ViSession vi, ViUInt16 protocol) {
  return onInstrument(vi, [&](Instrument& instrument) {
    if (!speaks4882(instrument)) return VI_ERROR_NSUP_OPER;
    return protocol == VI_TRIG_PROT_DEFAULT ? sendText(instrument, "*TRG\n") : VI_ERROR_INV_PROT;
  });
}

ViStatus _VI_FUNC viReadSTB(ViSession vi, ViPUInt16 status) {
  if (!status) return VI_ERROR_USER_BUF;
  return onInstrument(vi, [&](Instrument& instrument) {
    if (speaks4882(instrument)) return askForStatusByte(instrument, status);
    const ViStatus limitStatus = setLimitBelow(instrument, instrument.settings.timeout_ms);
    return limitStatus == VI_SUCCESS ? standardStatus(QV_viReadSTB(instrument.below, status)) : limitStatus;
  });
}

ViStatus _VI_FUNC viClear(ViSession vi) {
  return onInstrument(vi, clear);
}

ViStatus _VI_FUNC viGpibControlREN(ViSession vi, ViUInt16 mode) {
  return onUsb(vi, [&](Instrument& instrument) { return QV_viGpibControlREN(instrument.below, mode); });
}

ViStatus _VI_FUNC viUsbControlOut(ViSession vi, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue,
                                  ViUInt16 wIndex, ViUInt16 wLength, ViConstBuf buf) {
  return onUsb(vi, [&](Instrument& instrument) {
    return QV_viUsbControlOut(instrument.below, bmRequestType, bRequest, wValue, wIndex, wLength,
                              const_cast<ViBuf>(buf));
  });
}

ViStatus _VI_FUNC viUsbControlIn(ViSession vi, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue,
                                 ViUInt16 wIndex, ViUInt16 wLength, ViPBuf buf, ViPUInt16 retCnt) {
  if (retCnt) *retCnt = 0;
  return onUsb(vi, [&](Instrument& instrument) {
    return QV_viUsbControlIn(instrument.below, bmRequestType, bRequest, wValue, wIndex, wLength, buf, retCnt);
  });
}
