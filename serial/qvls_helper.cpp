#include "qvls_helper.h"

#include "DebugMalloc.h"
#include "helper.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>

namespace {

constexpr char kUnknownText[] = "n.a.";

/// Reads a text property of a device into a field of that size. A value that was stored without its NUL is ended here.
template <size_t size>
bool readProperty(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD property, char (&field)[size]) {
  DWORD length = 0;
  if (!SetupDiGetDeviceRegistryPropertyA(set, device, property, nullptr, reinterpret_cast<BYTE*>(field), size, &length))
    return false;
  field[std::min<size_t>(length, size - 1)] = '\0';
  return true;
}

}  // namespace

// --- The ring --------------------------------------------------------------------------------------------------------

static qv_status qvls_LookupSerialPortNode(const qvlsPort_t* pRing, const qvlsPort_t* pNode) {
  const qvlsPort_t* node = pRing;
  do {
    if (node == pNode) return QVLS_SUCCESS;
    node = node->next;
  } while (node != pRing);
  return QVLS_ERR_NFOUND;
}

static qv_status qvls_RemoveSerialPortNode(qvlsPortList_t* pPortList, qvlsPort_t* pNode) {
  if (!pPortList) return QVLS_ERR_INVAL_PARAM1;
  if (!pNode) return QVLS_ERR_INVAL_PARAM2;
  if (!pPortList->list) return QVLS_ERR_NFOUND;
  if (const qv_status status = qvls_LookupSerialPortNode(pPortList->list, pNode); status != QVLS_SUCCESS) return status;

  if (pNode->next == pNode) {
    *pPortList = {0, nullptr};
    return QVLS_SUCCESS;
  }
  pPortList->list = pNode->next;
  --pPortList->numDev;
  pNode->prev->next = pNode->next;
  pNode->next->prev = pNode->prev;
  return QVLS_SUCCESS;
}

static qv_status qvls_CloseSerialPortNodeFromRing(qvlsPortList_t* pPortList, qvlsPort_t* pNode) {
  if (const qv_status status = qvls_RemoveSerialPortNode(pPortList, pNode); status != QVLS_SUCCESS) return status;
  return qvls_CloseSerialPortNode(pNode);
}

qv_status qvls_InitListOfSerialPorts(qvlsPortList_t** ppqvlsPList) {
  if (!ppqvlsPList) return QVLS_ERR_INVAL_PARAM1;
  *ppqvlsPList = static_cast<qvlsPortList_t*>(DEBUG_CALLOC(1, sizeof(qvlsPortList_t)));
  return *ppqvlsPList ? QVLS_SUCCESS : QVLS_ERR_ALLOC;
}

qv_status qvls_CloseListOfSerialPorts(qvlsPortList_t** ppqvlsPList) {
  if (!ppqvlsPList) return QVLS_ERR_INVAL_PARAM1;
  qvlsPortList_t* const list = *ppqvlsPList;
  if (!list) return QVLS_SUCCESS;
  qv_status status = QVLS_SUCCESS;
  // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): no node of the ring points to a removed one, which it can't know.
  while (list->list && status == QVLS_SUCCESS) status = qvls_CloseSerialPortNodeFromRing(list, list->list);
  DEBUG_FREE(list);
  *ppqvlsPList = nullptr;
  return QVLS_SUCCESS;
}

qv_status qvls_InitSerialPortNode(qvlsPort_t** ppNode) {
  if (!ppNode) return QVLS_ERR_INVAL_PARAM1;
  auto* const node = static_cast<qvlsPort_t*>(DEBUG_CALLOC(1, sizeof(qvlsPort_t)));
  *ppNode = node;
  if (!node) return QVLS_ERR_ALLOC;

  node->prev = node;
  node->next = node;
  node->comPort = QVLIBSERIAL_DEF_COMPORT;
  node->present = PRESENCE_UNKNOWN;
  node->driverInstance = -1;
  for (char* text : {node->service, node->friendlyName, node->phyDevName, node->manufName, node->DevInstIdBuf}) {
    std::memcpy(text, kUnknownText, sizeof(kUnknownText));
  }
  std::memcpy(node->wErrBuf, "no error", sizeof("no error"));
  node->cDcb.DCBlength = sizeof(DCB);
  node->tReadTimo_ms = QVLIBSERIAL_DEF_RD_TIMEOUT;
  node->tWriteTimo_ms = QVLIBSERIAL_DEF_WR_TIMEOUT;
  return QVLS_SUCCESS;
}

qv_status qvls_AddSerialPortNodeToRing(qvlsPortList_t* pPortList, qvlsPort_t* pNode) {
  if (!pPortList) return QVLS_ERR_INVAL_PARAM1;
  if (!pNode) return QVLS_ERR_INVAL_PARAM2;
  if (qvlsPort_t* const head = pPortList->list) {
    pNode->prev = head;
    pNode->next = head->next;
    head->next->prev = pNode;
    head->next = pNode;
  } else {
    pPortList->list = pNode;
  }
  ++pPortList->numDev;
  return QVLS_SUCCESS;
}

bool qvls_CloseHandle(qvlsPort_t* pNode) {
  if (!pNode->wHdl) return true;
  const bool closed = CloseHandle(pNode->wHdl);
  pNode->wHdl = nullptr;
  OS_deleteFastLock(&pNode->changing);
  OS_deleteFastLock(&pNode->lock);
  return closed;
}

qv_status qvls_CloseSerialPortNode(qvlsPort_t* pNode) {
  if (!pNode) return QVLS_SUCCESS;
  const bool closed = qvls_CloseHandle(pNode);
  DEBUG_FREE(pNode);
  return closed ? QVLS_SUCCESS : QVLS_ERR_WINDOWS;
}

// --- Queries of one device -------------------------------------------------------------------------------------------

qv_status qvls_CheckSerialPort(HDEVINFO DeviceInfoSet, SP_DEVINFO_DATA* pDeviceData, qvlsPort_t* pNode) {
  // Zeroed, because the number is looked for at a fixed place, which may be behind the end of the text.
  char driverKey[PROPBUF_SIZE] = {};
  if (!readProperty(DeviceInfoSet, pDeviceData, SPDRP_DRIVER, driverKey)) return QVLS_ERR_NFOUND;
  if (std::strncmp(driverKey, rs232GuidStr, GUID_STR_SIZE - 1) != 0) return QVLS_ERR_NFOUND;
  return qvh_ReadDecimal(driverKey + GUID_STR_SIZE, pNode->driverInstance) ? QVLS_SUCCESS : QVLS_ERR_NFOUND;
}

qv_status qvls_GetDeviceInstanceData(HDEVINFO DeviceInfoSet, SP_DEVINFO_DATA* pDeviceData, qvlsPort_t* pNode) {
  pNode->DevInst = pDeviceData->DevInst;
  const BOOL found = SetupDiGetDeviceInstanceIdA(DeviceInfoSet, pDeviceData, pNode->DevInstIdBuf,
                                                 sizeof(pNode->DevInstIdBuf), nullptr);
  return found ? QVLS_SUCCESS : QVLS_ERR_SDI_GETDINSTID;
}

qv_status qvls_GetFriendlyNameComPort(HDEVINFO DeviceInfoSet, SP_DEVINFO_DATA* pDeviceData, qvlsPort_t* pNode) {
  if (!readProperty(DeviceInfoSet, pDeviceData, SPDRP_FRIENDLYNAME, pNode->frdlyNameRaw)) return QVLS_ERR_NFOUND;
  pNode->comPort = qvh_GetComPortFromFriendlyName(pNode->frdlyNameRaw, pNode->friendlyName);
  return pNode->comPort >= 1 ? QVLS_SUCCESS : QVLS_ERR_NFOUND;
}

qv_status qvls_GetService(HDEVINFO DeviceInfoSet, SP_DEVINFO_DATA* pDeviceData, qvlsPort_t* pNode) {
  return readProperty(DeviceInfoSet, pDeviceData, SPDRP_SERVICE, pNode->service) ? QVLS_SUCCESS : QVLS_ERR_NFOUND;
}

qv_status qvls_GetPhysDevName(HDEVINFO DeviceInfoSet, SP_DEVINFO_DATA* pDeviceData, qvlsPort_t* pNode) {
  const bool named = readProperty(DeviceInfoSet, pDeviceData, SPDRP_PHYSICAL_DEVICE_OBJECT_NAME, pNode->phyDevName);
  pNode->present = named ? PRESENCE_CONNECTED : PRESENCE_DISCON;
  return QVLS_SUCCESS;
}

qv_status qvls_GetManufDevName(HDEVINFO DeviceInfoSet, SP_DEVINFO_DATA* pDeviceData, qvlsPort_t* pNode) {
  return readProperty(DeviceInfoSet, pDeviceData, SPDRP_MFG, pNode->manufName) ? QVLS_SUCCESS : QVLS_ERR_NFOUND;
}
