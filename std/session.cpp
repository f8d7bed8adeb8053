#include "session.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

namespace qvstd {
namespace {

/// Ends an instrument's session: the library's handle at once, so that a waiting operation of another thread ends as
/// the library ends it, the record with the last of them.
void shut(Instrument& instrument) {
  releaseLocks(instrument.locks);
  if (instrument.below != VI_NULL) closeBelow(instrument.below);
}

void shut(Ref<Object>& object) {
  if (object && object->kind() == Kind::Instrument) shut(static_cast<Instrument&>(*object));
}

/// Leaves the ends of serial messages to this side, which tells them apart.
ViStatus prepareSerial(Instrument& instrument) {
  constexpr ViAttr kNotBelow[] = {VI_ATTR_ASRL_END_IN, VI_ATTR_ASRL_END_OUT, VI_ATTR_TERMCHAR_EN,
                                  VI_ATTR_ASRL_DISCARD_NULL};
  for (const ViAttr attribute : kNotBelow) {
    const ViStatus status = QV_viSetAttribute(instrument.below, attribute, 0);
    if (status != VI_SUCCESS) return standardStatus(status);
  }
  ViUInt16 dataBits = 0;
  const ViStatus status = standardStatus(QV_viGetAttribute(instrument.below, VI_ATTR_ASRL_DATA_BITS, &dataBits));
  if (status == VI_SUCCESS) instrument.settings.dataBits = dataBits;
  return status;
}

/// The library gives a USB interface to one session only, and doesn't find it for a second one.
bool isOpenHere(const ResourceName& name) {
  const auto isSame = [](const Object& object, const void* text) {
    return object.kind() == Kind::Instrument &&
           strcmp(static_cast<const Instrument&>(object).name.text, static_cast<const ViChar*>(text)) == 0;
  };
  return name.interfaceType == VI_INTF_USB && findObjectIf(isSame, name.text);
}

/// Gives a new object its handle, unless its resource manager was closed meanwhile and won't take it along.
ViStatus handOver(Object* object, ViObject* vi) {
  const ViSession manager = object->manager();
  const ViObject handle = addObject(object);
  if (!find<Manager>(manager)) {
    closeObject(handle);
    return VI_ERROR_INV_OBJECT;
  }
  *vi = handle;
  return VI_SUCCESS;
}

ViStatus prepare(Instrument& instrument, ViAccessMode mode, const Deadline& deadline) {
  if (instrument.name.bus == Bus::Serial) {
    const ViStatus status = prepareSerial(instrument);
    if (status != VI_SUCCESS) return status;
  }
  // A connection has no end of messages, so there is nothing that could end a read but what the program names.
  if (instrument.name.bus == Bus::Tcp) instrument.settings.suppressEnd = VI_TRUE;
  return (mode & VI_EXCLUSIVE_LOCK) ? lockExclusive(instrument.locks, deadline) : VI_SUCCESS;
}

/// The library's form of a time limit: 0 is none on USB and TCP, no waiting on serial ports, whose limit is an int.
ViUInt32 limitFor(Bus bus, ViUInt32 limit_ms) {
  if (bus == Bus::Serial) return std::min<ViUInt32>(limit_ms, INT_MAX);
  if (limit_ms == VI_TMO_INFINITE) return 0;
  return std::max<ViUInt32>(limit_ms, 1);
}

}  // namespace

FindList::~FindList() {
  free(found.names);
}

ReceiveBuffer::~ReceiveBuffer() {
  free(bytes);
}

FormatBuffer::~FormatBuffer() {
  free(bytes);
}

ViStatus setLimitBelow(Instrument& instrument, ViUInt32 limit_ms) {
  const ViUInt32 limit = limitFor(instrument.name.bus, limit_ms);
  const std::lock_guard lock(instrument.limitMutex);
  if (instrument.isLimitKnown && instrument.limitBelow == limit) return VI_SUCCESS;
  const ViStatus status = QV_viSetAttribute(instrument.below, VI_ATTR_TMO_VALUE, limit);
  instrument.isLimitKnown = status == VI_SUCCESS;
  instrument.limitBelow = limit;
  if (status == VI_SUCCESS) return VI_SUCCESS;
  // A port or a connection that refuses a limit is gone.
  return status == VI_ERROR_INV_OBJECT ? status : VI_ERROR_CONN_LOST;
}

ViStatus openManager(ViPSession vi) {
  auto* manager = new (std::nothrow) Manager;
  if (!manager) return VI_ERROR_ALLOC;
  *vi = addObject(manager);
  return VI_SUCCESS;
}

ViStatus openInstrument(ViSession manager, ViConstRsrc name, ViAccessMode mode, const Deadline& deadline,
                        ViPSession vi) {
  Ref<Instrument> instrument(new (std::nothrow) Instrument(manager));
  if (!instrument) return VI_ERROR_ALLOC;
  ViStatus status = parseResourceName(name, instrument->name);
  if (status == VI_SUCCESS) status = openBelow(instrument->name, &instrument->below);
  if (status == VI_ERROR_RSRC_NFOUND && isOpenHere(instrument->name)) return VI_ERROR_RSRC_BUSY;
  if (status != VI_SUCCESS) return status;
  status = prepare(*instrument, mode, deadline);
  if (status != VI_SUCCESS) {
    shut(*instrument);
    return status;
  }
  return handOver(instrument.release(), vi);
}

ViStatus openFindList(ViSession manager, ViConstString expression, ViPFindList vi, ViPUInt32 count, ViChar* desc) {
  FoundNames found;
  const ViStatus status = findBelow(expression, found);
  if (status != VI_SUCCESS) return status;
  memcpy(desc, found.names[0], sizeof *found.names);
  if (count) *count = found.count;
  auto* list = vi ? new (std::nothrow) FindList(manager, found) : nullptr;
  if (!list) free(found.names);
  if (list) return handOver(list, vi);
  return vi ? VI_ERROR_ALLOC : VI_SUCCESS;
}

ViStatus closeObject(ViObject vi) {
  Ref<Object> object = removeObject(vi);
  if (!object) return VI_ERROR_INV_OBJECT;
  shut(object);
  if (object->kind() != Kind::Manager) return VI_SUCCESS;
  while (Ref<Object> opened = removeObjectOf(vi)) shut(opened);
  return VI_SUCCESS;
}

}  // namespace qvstd
