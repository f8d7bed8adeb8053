#include "QVvisaMemory.h"

#include "DebugMalloc.h"
#include "QVvisaBackends.h"
#include "QVvisaLock.h"

#include <algorithm>
#include <iterator>
#include <utility>

QVvisa_work_t* gpQvvisa = nullptr;

namespace {

constexpr ViUInt32 kLastHandleOffset = 0xABC;
ViUInt32 mySessionID = QV_FIRST_SESSION_ID;
ViUInt32 myOffset = 0;

template <typename Record>
ViStatus makeRecord(Record** record) {
  if (!record) return VI_ERROR_INV_PARAMETER;
  auto* made = static_cast<Record*>(DEBUG_CALLOC(1, sizeof(Record)));
  if (!made) return VI_ERROR_ALLOC;
  *record = made;
  return VI_SUCCESS;
}

template <typename Record>
void freeRecord(Record** record) {
  if (!record || !*record) return;
  DEBUG_FREE(*record);
  *record = nullptr;
}

template <typename Result>
ViStatus makeResultArray(Result*** array, int cnt) {
  if (!array || cnt < 0) return VI_ERROR_INV_PARAMETER;
  auto** made = static_cast<Result**>(DEBUG_CALLOC(static_cast<size_t>(cnt) + 1, sizeof(Result*)));
  if (!made) return VI_ERROR_ALLOC;
  *array = made;
  return VI_SUCCESS;
}

template <typename Result>
void freeResultArray(Result*** array) {
  if (!array || !*array) return;
  for (Result** result = *array; *result; ++result) freeRecord(result);
  freeRecord(array);
}

/// The slots of one kind of record in the table.
template <typename Record, int Max>
struct Slots {
  Record* (&records)[Max];
  int& count;
  ViSession Record::*handle;
};

Slots<QVvisa_device_t, QVVISA_MAX_DEVICES> devices(QVvisa_work_t& table) {
  return {table.device, table.numDevs, &QVvisa_device_t::visaID};
}

Slots<QVvisa_findList_t, QVVISA_MAX_FINDLISTS> findLists(QVvisa_work_t& table) {
  return {table.findList, table.numFindLists, &QVvisa_findList_t::ID};
}

/// The slot of the record that `vi` stands for, null for none.
template <typename Record, int Max>
Record** slotOf(Slots<Record, Max> slots, ViSession vi) {
  auto** slot = std::find_if(std::begin(slots.records), std::end(slots.records),
                             [&](const Record* record) { return record && record->*slots.handle == vi; });
  return slot == std::end(slots.records) ? nullptr : slot;
}

bool inUse(ViSession vi) {
  return gpQvvisa && (slotOf(devices(*gpQvvisa), vi) || slotOf(findLists(*gpQvvisa), vi));
}

/// Registers a record, or closes it.
template <auto SlotsOf, auto Close, typename Record>
ViStatus add(Record** record, ViSession* vi) {
  const auto refuse = [record](ViStatus status) {
    Close(record);
    return status;
  };
  if (!record || !*record || !vi) return refuse(VI_ERROR_INV_OBJECT);
  if (!gpQvvisa) return refuse(VI_ERROR_SYSTEM_ERROR);
  auto slots = SlotsOf(*gpQvvisa);
  if (slots.count >= static_cast<int>(std::size(slots.records))) return refuse(VI_ERROR_ALLOC);
  const auto slot = std::find(std::begin(slots.records), std::end(slots.records), nullptr) - slots.records;
  const ViSession handle = QVvisa_GetNextSessionID();
  slots.records[slot] = *record;
  (*record)->*slots.handle = handle;
  *vi = handle;
  ++slots.count;
  return VI_SUCCESS;
}

/// Empties a slot and gives its record to the caller; null for an empty slot.
template <typename Record, int Max>
Record* take(Slots<Record, Max> slots, Record** slot) {
  if (!slot || !*slot) return nullptr;
  --slots.count;
  return std::exchange(*slot, nullptr);
}

}  // namespace

ViUInt32 QVvisa_GetNextSessionID() {
  const CoreLock lock;
  ViUInt32 handle = 0;
  do {
    handle = mySessionID;
    mySessionID += QV_INCR_SESSION_ID;
    if (mySessionID >= QV_MAX_SESSION_ID) {
      myOffset = myOffset >= kLastHandleOffset ? 0 : myOffset + 1;
      mySessionID = QV_FIRST_SESSION_ID + myOffset;
    }
  } while (inUse(handle));
  return handle;
}

ViStatus QVvisa_AddHandleDevice(QVvisa_device_t** ppdev, ViSession* vi) {
  return add<devices, QVvisa_closeDevListElem>(ppdev, vi);
}

ViStatus QVvisa_RemoveHandleDevice(QVvisa_device_t** ppdev) {
  QVvisa_device_t* device = gpQvvisa ? take(devices(*gpQvvisa), ppdev) : nullptr;
  if (!device) return VI_SUCCESS;
  if (QVvisa_retire(*device))
    QVvisa_closeDevListElem(&device);
  else
    ++gpQvvisa->numRetired;
  return VI_SUCCESS;
}

ViStatus QVvisa_AddHandleFindList(QVvisa_findList_t** ppfl, ViSession* vi) {
  return add<findLists, QVvisa_closeFindListElem>(ppfl, vi);
}

ViStatus QVvisa_RemoveHandleFindList(QVvisa_findList_t** ppfl) {
  QVvisa_findList_t* findList = gpQvvisa ? take(findLists(*gpQvvisa), ppfl) : nullptr;
  QVvisa_closeFindListElem(&findList);
  return VI_SUCCESS;
}

ViStatus QVvisa_GetTypeIdxOfSession(ViSession vi, int* typeOfElement, void** object, void** pObject) {
  if (!typeOfElement) return VI_ERROR_INV_OBJECT;
  if (vi == QV_DEFAULT_RM_SESSION_HANDLE) {
    *typeOfElement = QVVISA_HANDLE_TYPE_RM;
    return VI_SUCCESS;
  }
  const auto deliver = [&](int type, auto** slot) {
    *typeOfElement = type;
    if (object) *object = *slot;
    if (pObject) *pObject = slot;
    return VI_SUCCESS;
  };
  const CoreLock lock;
  if (gpQvvisa) {
    if (auto** device = slotOf(devices(*gpQvvisa), vi)) return deliver(QVVISA_HANDLE_TYPE_DEVICE, device);
    if (auto** findList = slotOf(findLists(*gpQvvisa), vi)) return deliver(QVVISA_HANDLE_TYPE_FINDLIST, findList);
  }
  *typeOfElement = QVVISA_HANDLE_TYPE_UNKNOWN;
  return VI_ERROR_INV_OBJECT;
}

namespace {

template <typename Record>
ViStatus lookUp(ViSession vi, int wantedType, Record** record) {
  if (!record) return VI_ERROR_INV_OBJECT;
  int type = QVVISA_HANDLE_TYPE_UNKNOWN;
  void* object = nullptr;
  if (QVvisa_GetTypeIdxOfSession(vi, &type, &object, nullptr) != VI_SUCCESS || type != wantedType || !object) {
    return VI_ERROR_INV_OBJECT;
  }
  *record = static_cast<Record*>(object);
  return VI_SUCCESS;
}

}  // namespace

ViStatus QVvisa_LookupHandleDevice(ViSession vi, QVvisa_device_t** ppdev) {
  return lookUp(vi, QVVISA_HANDLE_TYPE_DEVICE, ppdev);
}

ViStatus QVvisa_LookupHandleFindList(ViSession vi, QVvisa_findList_t** ppfl) {
  return lookUp(vi, QVVISA_HANDLE_TYPE_FINDLIST, ppfl);
}

QVvisa_device_t* QVvisa_findDevice(ViSession vi) {
  QVvisa_device_t** slot = gpQvvisa ? slotOf(devices(*gpQvvisa), vi) : nullptr;
  return slot ? *slot : nullptr;
}

void QVvisa_closeRetiredDevice(QVvisa_device_t* pdev) {
  QVvisa_closeDevListElem(&pdev);
  --gpQvvisa->numRetired;
}

namespace {

ViStatus initSubRecords(std::span<const QVvisa_backend_t* const> buses, QVvisa_device_t* device) {
  for (const QVvisa_backend_t* bus : buses) {
    const ViStatus status = bus->init ? bus->init(device) : VI_SUCCESS;
    if (status != VI_SUCCESS) return status;
  }
  return VI_SUCCESS;
}

}  // namespace

ViStatus QVvisa_initDevListElem(QVvisa_device_t** ppdev) {
  QVvisa_device_t* device = nullptr;
  ViStatus status = ppdev ? makeRecord(&device) : VI_ERROR_INV_PARAMETER;
  // Name parsers run in the table's order, but the sub-records are made with the first bus last.
  const auto buses = QVvisa_backends();
  if (status == VI_SUCCESS) status = initSubRecords(buses.subspan(1), device);
  if (status == VI_SUCCESS) status = initSubRecords(buses.first(1), device);
  if (status == VI_SUCCESS)
    *ppdev = device;
  else
    QVvisa_closeDevListElem(&device);
  return status;
}

void QVvisa_closeDevListElem(QVvisa_device_t** ppdev) {
  if (!ppdev || !*ppdev) return;
  for (const QVvisa_backend_t* backend : QVvisa_backends()) backend->close(*ppdev);
  freeRecord(ppdev);
}

ViStatus QVvisa_initFindResultListElemUsb(QVvisa_findListUsb_result_t** ppflr) {
  return makeRecord(ppflr);
}
void QVvisa_closeFindResultListElemUsb(QVvisa_findListUsb_result_t** ppflr) {
  freeRecord(ppflr);
}
ViStatus QVvisa_initFindResultListElemAsrl(QVvisa_findListAsrl_result_t** ppflr) {
  return makeRecord(ppflr);
}
void QVvisa_closeFindResultListElemAsrl(QVvisa_findListAsrl_result_t** ppflr) {
  freeRecord(ppflr);
}

ViStatus QVvisa_initFindResultListArrUsb(QVvisa_findListUsb_result_t*** pppflr, int cnt) {
  return makeResultArray(pppflr, cnt);
}
void QVvisa_closeFindResultListArrUsb(QVvisa_findListUsb_result_t*** pppflr) {
  freeResultArray(pppflr);
}
ViStatus QVvisa_initFindResultListArrAsrl(QVvisa_findListAsrl_result_t*** pppflr, int cnt) {
  return makeResultArray(pppflr, cnt);
}
void QVvisa_closeFindResultListArrAsrl(QVvisa_findListAsrl_result_t*** pppflr) {
  freeResultArray(pppflr);
}

ViStatus QVvisa_initFindResultListElemOther(QVvisa_findListOther_result_t** ppflr) {
  return makeRecord(ppflr);
}
ViStatus QVvisa_initFindResultListArrOther(QVvisa_findListOther_result_t*** pppflr, int cnt) {
  return makeResultArray(pppflr, cnt);
}
void QVvisa_closeFindResultListArrOther(QVvisa_findListOther_result_t*** pppflr) {
  freeResultArray(pppflr);
}

ViStatus QVvisa_initFindListElem(QVvisa_findList_t** ppfl) {
  return makeRecord(ppfl);
}

void QVvisa_closeFindListElem(QVvisa_findList_t** ppfl) {
  if (!ppfl || !*ppfl) return;
  freeResultArray(&(*ppfl)->ppflrUsb);
  freeResultArray(&(*ppfl)->ppflrAsrl);
  freeResultArray(&(*ppfl)->ppflrOther);
  freeRecord(ppfl);
}
