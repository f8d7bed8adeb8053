#include "QVlibserial.h"

#include "DebugMalloc.h"
#include "errorTexts.h"
#include "fastLock.h"
#include "helper.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <span>
#include <string_view>

namespace {

/// The one status of the VISA numbers, defined here because the library stands without VISA.
constexpr qv_status VI_ERROR_NSUP_MODE = INT_MIN + 0x3FFF0046;

/// Bytes of every text of a criterion that are set, whatever the size of the field.
constexpr size_t criterionTextSize = 64;

/// English, United States.
constexpr unsigned int errorTextLanguage = 0x0409;

template <typename Number, typename Value>
void deliver(Number* result, Value value) {
  if (result) *result = static_cast<Number>(value);
}

/// Copies like strncpy into a destination of the field's size, if there is one.
template <size_t size>
void deliverText(char* result, const char (&field)[size]) {
  if (result) std::strncpy(result, field, size);
}

/// The text of a field, which needs no NUL when it is full.
template <size_t size>
std::string_view textOf(const char (&field)[size]) {
  return {field, strnlen(field, size)};
}

}  // namespace

// --- Lists and nodes -------------------------------------------------------------------------------------------------

qv_status qvls_DisposeListOfSerialPorts(qvlsPortList_t** ppqvlsPList) {
  return qvls_CloseListOfSerialPorts(ppqvlsPList);
}

qv_status qvls_GetNumFoundPorts(const qvlsPortList_t* pqvlsPList, int* numFound) {
  if (!pqvlsPList) return QVLS_ERR_INVAL_PARAM1;
  if (!numFound) return QVLS_ERR_INVAL_PARAM2;
  *numFound = pqvlsPList->list ? pqvlsPList->numDev : 0;
  return QVLS_SUCCESS;
}

qv_status qvls_GetPort(const qvlsPortList_t* pqvlsPList, int idx, qvlsPort_t** ppPortNode) {
  if (!pqvlsPList) return QVLS_ERR_INVAL_PARAM1;
  if (idx < 0) return QVLS_ERR_INVAL_PARAM2;
  if (!ppPortNode) return QVLS_ERR_INVAL_PARAM3;
  if (idx >= pqvlsPList->numDev) return QVLS_ERR_NFOUND;
  qvlsPort_t* node = pqvlsPList->list;
  for (int i = 0; i < idx; ++i) node = node->next;
  *ppPortNode = node;
  return QVLS_SUCCESS;
}

qv_status qvls_GetPortComPort(const qvlsPort_t* pPortNode, int* comPort, int* present) {
  if (!pPortNode) return QVLS_ERR_INVAL_PARAM1;
  deliver(comPort, pPortNode->comPort);
  deliver(present, pPortNode->present);
  return QVLS_SUCCESS;
}

qv_status qvls_DevNodeInstancdId(const qvlsPort_t* pPortNode, unsigned int* devInstId, char* devInstIdStr) {
  if (!pPortNode) return QVLS_ERR_INVAL_PARAM1;
  deliver(devInstId, pPortNode->DevInst);
  deliverText(devInstIdStr, pPortNode->DevInstIdBuf);
  return QVLS_SUCCESS;
}

qv_status qvls_GetPortService(const qvlsPort_t* pPortNode, char* serviceStr) {
  if (!pPortNode) return QVLS_ERR_INVAL_PARAM1;
  deliverText(serviceStr, pPortNode->service);
  return QVLS_SUCCESS;
}

qv_status qvls_GetPortFriendlyName(const qvlsPort_t* pPortNode, char* fName) {
  if (!pPortNode) return QVLS_ERR_INVAL_PARAM1;
  deliverText(fName, pPortNode->friendlyName);
  return QVLS_SUCCESS;
}

qv_status qvls_GetPortPhysDevName(const qvlsPort_t* pPortNode, char* phyDevName) {
  if (!pPortNode) return QVLS_ERR_INVAL_PARAM1;
  deliverText(phyDevName, pPortNode->phyDevName);
  return QVLS_SUCCESS;
}

qv_status qvls_GetPortManufName(const qvlsPort_t* pPortNode, char* manufName) {
  if (!pPortNode) return QVLS_ERR_INVAL_PARAM1;
  deliverText(manufName, pPortNode->manufName);
  return QVLS_SUCCESS;
}

/// The hexadecimal number behind a word of three letters and a separator in the node's instance ID, or 0.
static long numberInInstanceId(const qvlsPort_t* node, const char* word) {
  const char* const found = std::strstr(node->DevInstIdBuf, word);
  return found && found[3] != '\0' ? std::strtol(found + 4, nullptr, 16) : 0;
}

qv_status qvls_GetVid(const qvlsPort_t* pPortNode, int* vid) {
  if (!pPortNode) return QVLS_ERR_INVAL_PARAM1;
  if (!vid) return QVLS_ERR_INVAL_PARAM2;
  *vid = static_cast<int>(numberInInstanceId(pPortNode, "VID") & 0xFFFF);
  return QVLS_SUCCESS;
}

qv_status qvls_GetPid(const qvlsPort_t* pPortNode, int* pid) {
  if (!pPortNode) return QVLS_ERR_INVAL_PARAM1;
  if (!pid) return QVLS_ERR_INVAL_PARAM2;
  // Saturates like the conversion of a platform whose long has the width of int.
  *pid = static_cast<int>(std::clamp<long>(numberInInstanceId(pPortNode, "PID"), INT_MIN, INT_MAX));
  return QVLS_SUCCESS;
}

// --- Search criteria -------------------------------------------------------------------------------------------------

qv_status qvls_InitPortSrchCrit(qvlsPortSrchCrit_t* pPSC) {
  *pPSC = {};
  pPSC->comPort = QVLIBSERIAL_DEF_COMPORT;
  return QVLS_SUCCESS;
}

qv_status qvls_InitTblDevSrchCrit(qvlsTblPortSrchCrit_t** ppPortSrchCrit, int num) {
  if (!ppPortSrchCrit) return QVLS_ERR_INVAL_PARAM1;
  if (num < 0) return QVLS_ERR_INVAL_PARAM2;
  *ppPortSrchCrit = nullptr;
  auto* table = static_cast<qvlsTblPortSrchCrit_t*>(DEBUG_MALLOC(sizeof(qvlsTblPortSrchCrit_t)));
  if (!table) return QVLS_ERR_ALLOC;
  *table = {nullptr, num, QVLS_ONLY_CONNECTED};
  if (num > 0) {
    table->tbl = static_cast<qvlsPortSrchCrit_t*>(DEBUG_CALLOC(static_cast<size_t>(num), sizeof(qvlsPortSrchCrit_t)));
    if (!table->tbl) {
      qvls_CloseTblPortSrchCrit(&table);
      return QVLS_ERR_ALLOC;
    }
    std::for_each_n(table->tbl, num, [](qvlsPortSrchCrit_t& row) { qvls_InitPortSrchCrit(&row); });
  }
  *ppPortSrchCrit = table;
  return QVLS_SUCCESS;
}

qv_status qvls_CloseTblPortSrchCrit(qvlsTblPortSrchCrit_t** ppPortSrchCrit) {
  if (!ppPortSrchCrit) return QVLS_ERR_INVAL_PARAM1;
  if (!*ppPortSrchCrit) return QVLS_SUCCESS;
  DEBUG_FREE((*ppPortSrchCrit)->tbl);
  DEBUG_FREE(*ppPortSrchCrit);
  *ppPortSrchCrit = nullptr;
  return QVLS_SUCCESS;
}

static void setCriterionText(char* field, const char* text) {
  std::strncpy(field, text ? text : "", criterionTextSize);
}

qv_status qvls_SetDevSrchCrit(qvlsTblPortSrchCrit_t* pPortSrchCrit, int idx, int comPort, const char* serv,
                              const char* fName, const char* manufacturer) {
  if (!pPortSrchCrit) return QVLS_ERR_INVAL_PARAM1;
  if (idx < 0 || idx >= pPortSrchCrit->listLen) return QVLS_ERR_INVAL_PARAM2;
  if (comPort < 0) return QVLS_ERR_INVAL_PARAM3;
  qvlsPortSrchCrit_t& row = pPortSrchCrit->tbl[idx];
  if (comPort > 0) row.comPort = comPort;
  setCriterionText(row.svc, serv);
  setCriterionText(row.friendNam, fName);
  setCriterionText(row.manufacturer, manufacturer);
  return QVLS_SUCCESS;
}

qv_status qvls_GetDevSrchCrit(qvlsTblPortSrchCrit_t* pPortSrchCrit, int idx, char** serv, char** fName,
                              char** manufacturer) {
  if (!pPortSrchCrit) return QVLS_ERR_INVAL_PARAM1;
  if (idx < 0 || idx >= pPortSrchCrit->listLen) return QVLS_ERR_INVAL_PARAM2;
  qvlsPortSrchCrit_t& row = pPortSrchCrit->tbl[idx];
  deliver(serv, row.svc);
  deliver(fName, row.friendNam);
  deliver(manufacturer, row.manufacturer);
  return QVLS_SUCCESS;
}

qv_status qvls_SetPortPresentSrchCrit(qvlsTblPortSrchCrit_t* pPortSrchCrit, int present) {
  if (!pPortSrchCrit) return QVLS_ERR_INVAL_PARAM1;
  if (present < QVLS_ONLY_CONNECTED || present > QVLS_ONLY_DISCON) return QVLS_ERR_INVAL_PARAM2;
  pPortSrchCrit->disCon = present;
  return QVLS_SUCCESS;
}

qv_status qvls_GetPortPresentSrchCrit(const qvlsTblPortSrchCrit_t* pPortSrchCrit, int* present) {
  if (!pPortSrchCrit) return QVLS_ERR_INVAL_PARAM1;
  if (!present) return QVLS_ERR_INVAL_PARAM2;
  *present = pPortSrchCrit->disCon;
  return QVLS_SUCCESS;
}

static qv_status qvls_CheckMatchSingle(const qvlsPortSrchCrit_t* pPSC, const qvlsPort_t* pNode) {
  const auto fits = [](std::string_view required, std::string_view text) {
    return required.empty() || required == text;
  };
  const bool match = (pPSC->comPort < 0 || pPSC->comPort == pNode->comPort) &&
                     fits(textOf(pPSC->svc), textOf(pNode->service)) &&
                     fits(textOf(pPSC->friendNam), textOf(pNode->friendlyName)) &&
                     fits(textOf(pPSC->manufacturer), textOf(pNode->manufName));
  return match ? QVLS_SUCCESS : QVLS_ERR_NFOUND;
}

static bool passesPresenceFilter(int filter, int present) {
  switch (filter) {
  case QVLS_ONLY_CONNECTED:
    return present == PRESENCE_CONNECTED;
  case QVLS_ONLY_DISCON:
    return present == PRESENCE_DISCON;
  default:
    return true;
  }
}

qv_status qvls_CheckMatch(const qvlsTblPortSrchCrit_t* pPortTblSrchCrit, const qvlsPort_t* pNode) {
  const int filter = pPortTblSrchCrit ? pPortTblSrchCrit->disCon : QVLS_ONLY_CONNECTED;
  if (!passesPresenceFilter(filter, pNode->present)) return QVLS_ERR_NFOUND;
  if (!pPortTblSrchCrit || pPortTblSrchCrit->listLen == 0) return QVLS_SUCCESS;
  for (const qvlsPortSrchCrit_t& row :
       std::span(pPortTblSrchCrit->tbl, static_cast<size_t>(pPortTblSrchCrit->listLen))) {
    if (qvls_CheckMatchSingle(&row, pNode) == QVLS_SUCCESS) return QVLS_SUCCESS;
  }
  return QVLS_ERR_NFOUND;
}

// --- Discovery -------------------------------------------------------------------------------------------------------

/// Fills the node from one device of the set, as far as the device turns out to be a port that fits.
static qv_status examineDevice(HDEVINFO set, SP_DEVINFO_DATA* device, const qvlsTblPortSrchCrit_t* criteria,
                               qvlsPort_t* node) {
  // The port test stands first: a device of another class costs one query.
  constexpr decltype(&qvls_CheckSerialPort) queries[] = {
      qvls_CheckSerialPort, qvls_GetDeviceInstanceData, qvls_GetFriendlyNameComPort,
      qvls_GetService,      qvls_GetPhysDevName,        qvls_GetManufDevName,
  };
  for (const auto query : queries) {
    if (const qv_status status = query(set, device, node); status != QVLS_SUCCESS) return status;
  }
  return qvls_CheckMatch(criteria, node);
}

static qv_status collectPorts(HDEVINFO set, const qvlsTblPortSrchCrit_t* criteria, qvlsPortList_t* list) {
  qv_status status = QVLS_SUCCESS;
  qvlsPort_t* spare = nullptr;
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof(device);
  for (DWORD index = 0; SetupDiEnumDeviceInfo(set, index, &device); ++index) {
    if (!spare) status = qvls_InitSerialPortNode(&spare);
    if (status != QVLS_SUCCESS) break;
    if (examineDevice(set, &device, criteria, spare) != QVLS_SUCCESS) continue;
    qvls_AddSerialPortNodeToRing(list, spare);
    spare = nullptr;
  }
  qvls_CloseSerialPortNode(spare);
  return status;
}

qv_status qvls_GetListOfSerialPorts(qvlsPortList_t** ppqvlsPList, qvlsTblPortSrchCrit_t* pPortTblSrchCrit) {
  if (!ppqvlsPList) return QVLS_ERR_INVAL_PARAM1;
  if (const qv_status status = qvls_InitListOfSerialPorts(ppqvlsPList); status != QVLS_SUCCESS) return status;

  const bool connectedOnly = !pPortTblSrchCrit || pPortTblSrchCrit->disCon == QVLS_ONLY_CONNECTED;
  const DWORD flags = connectedOnly ? DIGCF_ALLCLASSES | DIGCF_PRESENT : DIGCF_ALLCLASSES;
  const HDEVINFO set = SetupDiGetClassDevsA(&RS232GUID, nullptr, nullptr, flags);
  if (set == INVALID_HANDLE_VALUE) return QVLS_ERR_SDI_GETCLASSDEVS;
  const qv_status status = collectPorts(set, pPortTblSrchCrit, *ppqvlsPList);
  SetupDiDestroyDeviceInfoList(set);
  return status;
}

// --- Open and close --------------------------------------------------------------------------------------------------

/// Guards what threads share of a node. One that isn't open has no lock and belongs to one thread.
class NodeGuard {
public:
  explicit NodeGuard(const qvlsPort_t& node) : lock_(node.wHdl ? &node.lock : nullptr) {
    if (lock_) OS_lockFast(lock_);
  }
  ~NodeGuard() {
    if (lock_) OS_unlockFast(lock_);
  }
  NodeGuard(const NodeGuard&) = delete;
  NodeGuard& operator=(const NodeGuard&) = delete;

private:
  os_fastlock_t* lock_;
};

qv_status qvls_UpdateWindowsError(qvlsPort_t* pNode, BOOL wResult) {
  if (wResult) return QVLS_SUCCESS;
  const DWORD error = GetLastError();
  const NodeGuard guard(*pNode);
  pNode->wErr = error;
  systemErrorMessage(pNode->wErr, errorTextLanguage, pNode->wErrBuf, sizeof(pNode->wErrBuf));
  return QVLS_ERR_WINDOWS;
}

/// Makes a node of its own for the one connected port of that number.
static qv_status copyConnectedPort(int comPort, qvlsPort_t** copy) {
  constexpr auto closeTable = [](qvlsTblPortSrchCrit_t* table) { qvls_CloseTblPortSrchCrit(&table); };
  constexpr auto closeList = [](qvlsPortList_t* list) { qvls_DisposeListOfSerialPorts(&list); };

  qvlsTblPortSrchCrit_t* criteria = nullptr;
  qv_status status = qvls_InitTblDevSrchCrit(&criteria, 1);
  if (status != QVLS_SUCCESS) return status;
  const std::unique_ptr<qvlsTblPortSrchCrit_t, decltype(closeTable)> criteriaOwner(criteria);
  status = qvls_SetDevSrchCrit(criteria, 0, comPort, nullptr, nullptr, nullptr);
  if (status != QVLS_SUCCESS) return status;

  qvlsPortList_t* ports = nullptr;
  status = qvls_GetListOfSerialPorts(&ports, criteria);
  const std::unique_ptr<qvlsPortList_t, decltype(closeList)> portsOwner(ports);
  if (status != QVLS_SUCCESS) return status;
  if (ports->numDev != 1) return QVLS_ERR_NFOUND;

  status = qvls_InitSerialPortNode(copy);
  if (status != QVLS_SUCCESS) return status;
  **copy = *ports->list;
  (*copy)->prev = *copy;
  (*copy)->next = *copy;
  return QVLS_SUCCESS;
}

qv_status qvls_OpenPort(qvlsPort_t** ppPortNode, int comPort) {
  if (!ppPortNode) return QVLS_ERR_INVAL_PARAM1;
  if (comPort < 1 || comPort > maxComPort) return QVLS_ERR_INVAL_PARAM2;
  *ppPortNode = nullptr;
  qvlsPort_t* node = nullptr;
  qv_status status = copyConnectedPort(comPort, &node);
  if (status == QVLS_SUCCESS) status = qvls_OpenComPort(node);
  if (status != QVLS_SUCCESS) {
    qvls_CloseSerialPortNode(node);
    return status;
  }
  *ppPortNode = node;
  return QVLS_SUCCESS;
}

qv_status qvls_ClosePort(qvlsPort_t** ppPortNode) {
  if (!ppPortNode) return QVLS_ERR_INVAL_PARAM1;
  const qv_status status = qvls_CloseSerialPortNode(*ppPortNode);
  *ppPortNode = nullptr;
  return status;
}

static DCB settingsOf(const qvlsPort_t* node) {
  const NodeGuard guard(*node);
  return node->cDcb;
}

static void storeSettings(qvlsPort_t* node, const DCB& settings) {
  const NodeGuard guard(*node);
  node->cDcb = settings;
}

/// Reads the port's settings, and brings the node's copy up to them unless a change is under way, which will do it.
static qv_status refreshSettings(qvlsPort_t* node, DCB& settings) {
  const bool mayStore = OS_tryLockFast(&node->changing);
  settings = settingsOf(node);
  const qv_status status = qvls_UpdateWindowsError(node, GetCommState(node->wHdl, &settings));
  if (!mayStore) return status;
  if (status == QVLS_SUCCESS) storeSettings(node, settings);
  OS_unlockFast(&node->changing);
  return status;
}

/// Reads what the open port has, and gives it the node's timeouts.
static qv_status prepareOpenPort(qvlsPort_t* node) {
  DCB settings = {};
  qv_status status = refreshSettings(node, settings);
  if (status == QVLS_SUCCESS) status = qvls_UpdateWindowsError(node, GetCommProperties(node->wHdl, &node->cProp));
  if (status == QVLS_SUCCESS) status = qvls_UpdateWindowsError(node, GetCommTimeouts(node->wHdl, &node->cTimo));
  if (status == QVLS_SUCCESS) status = qvls_SetTimeouts(node, node->tReadTimo_ms, node->tWriteTimo_ms);
  return status;
}

qv_status qvls_OpenComPort(qvlsPort_t* pNode) {
  std::snprintf(pNode->devFileName, sizeof(pNode->devFileName), "\\\\.\\COM%d", pNode->comPort);
  HANDLE port = CreateFileA(pNode->devFileName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  if (port == INVALID_HANDLE_VALUE) return qvls_UpdateWindowsError(pNode, FALSE);
  OS_initFastLock(&pNode->changing);
  OS_initFastLock(&pNode->lock);
  pNode->wHdl = port;
  const qv_status status = prepareOpenPort(pNode);
  if (status != QVLS_SUCCESS) qvls_CloseHandle(pNode);
  return status;
}

static qv_status checkOpen(const qvlsPort_t* node) {
  if (!node) return QVLS_ERR_INVAL_PARAM1;
  return node->wHdl ? QVLS_SUCCESS : QVLS_ERR_PORT_NOT_OPEN;
}

qv_status qvls_GetPortOpenState(const qvlsPort_t* pNode, int* isOpen) {
  if (!pNode) return QVLS_ERR_INVAL_PARAM1;
  if (!isOpen) return QVLS_ERR_INVAL_PARAM2;
  *isOpen = pNode->wHdl ? 1 : 0;
  return QVLS_SUCCESS;
}

// --- Settings --------------------------------------------------------------------------------------------------------

/// Gives the settings to the port, and to the node if the port took them. The caller holds `changing`, from before it
/// read the settings that it has changed.
static qv_status applySettings(qvlsPort_t* node, DCB settings) {
  const qv_status status = qvls_UpdateWindowsError(node, SetCommState(node->wHdl, &settings));
  if (status == QVLS_SUCCESS) storeSettings(node, settings);
  return status;
}

/// VISA's stop bits by the port's code.
static constexpr int stopBitsByCode[] = {10, 15, 20};

qv_status qvls_GetPortMode(const qvlsPort_t* pNode, int* baudRate, int* dataBits, int* parity, int* stopBits) {
  if (const qv_status status = checkOpen(pNode); status != QVLS_SUCCESS) return status;
  const DCB settings = settingsOf(pNode);
  if (parity && settings.Parity > SPACEPARITY) return VI_ERROR_NSUP_MODE;
  if (stopBits && settings.StopBits > TWOSTOPBITS) return VI_ERROR_NSUP_MODE;
  deliver(baudRate, settings.BaudRate);
  deliver(dataBits, settings.ByteSize);
  deliver(parity, settings.Parity);
  if (stopBits) *stopBits = stopBitsByCode[settings.StopBits];
  return QVLS_SUCCESS;
}

qv_status qvls_SetPortMode(qvlsPort_t* pNode, int baudRate, int dataBits, int parity, int stopBits) {
  if (const qv_status status = checkOpen(pNode); status != QVLS_SUCCESS) return status;
  const FastLockGuard changing(pNode->changing);
  DCB settings = settingsOf(pNode);
  if (parity >= 0) {
    if (parity > SPACEPARITY) return VI_ERROR_NSUP_MODE;
    settings.Parity = static_cast<BYTE>(parity);
  }
  if (stopBits >= 0) {
    const auto* const code = std::find(std::begin(stopBitsByCode), std::end(stopBitsByCode), stopBits);
    if (code == std::end(stopBitsByCode)) return VI_ERROR_NSUP_MODE;
    settings.StopBits = static_cast<BYTE>(code - stopBitsByCode);
  }
  if (baudRate >= 0) settings.BaudRate = static_cast<DWORD>(baudRate);
  if (dataBits >= 0) settings.ByteSize = static_cast<BYTE>(dataBits);
  return applySettings(pNode, settings);
}

qv_status qvls_GetPortHandshake(const qvlsPort_t* pNode, int* fOutCtsFlow, int* fOutDrsFlow, int* fRtsControl,
                                int* fDtrControl) {
  if (const qv_status status = checkOpen(pNode); status != QVLS_SUCCESS) return status;
  const DCB settings = settingsOf(pNode);
  deliver(fOutCtsFlow, settings.fOutxCtsFlow);
  deliver(fOutDrsFlow, settings.fOutxDsrFlow);
  deliver(fRtsControl, settings.fRtsControl);
  deliver(fDtrControl, settings.fDtrControl);
  return QVLS_SUCCESS;
}

qv_status qvls_SetPortHandshake(qvlsPort_t* pNode, int fOutCtsFlow, int fOutDrsFlow, int fRtsControl, int fDtrControl) {
  if (const qv_status status = checkOpen(pNode); status != QVLS_SUCCESS) return status;
  const FastLockGuard changing(pNode->changing);
  DCB settings = settingsOf(pNode);
  if (fOutCtsFlow >= 0) settings.fOutxCtsFlow = static_cast<DWORD>(fOutCtsFlow) & 1U;
  if (fOutDrsFlow >= 0) settings.fOutxDsrFlow = static_cast<DWORD>(fOutDrsFlow) & 1U;
  if (fRtsControl >= 0) settings.fRtsControl = static_cast<DWORD>(fRtsControl) & 3U;
  if (fDtrControl >= 0) settings.fDtrControl = static_cast<DWORD>(fDtrControl) & 3U;
  return applySettings(pNode, settings);
}

qv_status qvls_GetTimeouts(const qvlsPort_t* pNode, int* readTimo_ms, int* writeTimo_ms) {
  if (const qv_status status = checkOpen(pNode); status != QVLS_SUCCESS) return status;
  const NodeGuard guard(*pNode);
  deliver(readTimo_ms, pNode->tReadTimo_ms);
  deliver(writeTimo_ms, pNode->tWriteTimo_ms);
  return QVLS_SUCCESS;
}

qv_status qvls_SetTimeouts(qvlsPort_t* pNode, int readTimo_ms, int writeTimo_ms) {
  if (const qv_status status = checkOpen(pNode); status != QVLS_SUCCESS) return status;
  const NodeGuard guard(*pNode);
  COMMTIMEOUTS& timeouts = pNode->cTimo;
  if (readTimo_ms >= 0) {
    const bool waits = readTimo_ms > 0;
    pNode->tReadTimo_ms = readTimo_ms;
    // The largest interval with no total time stands for a read that takes what is there.
    timeouts.ReadIntervalTimeout = waits ? static_cast<DWORD>(readTimo_ms) : MAXDWORD;
    timeouts.ReadTotalTimeoutMultiplier = waits ? 1 : 0;
    timeouts.ReadTotalTimeoutConstant = static_cast<DWORD>(readTimo_ms);
  }
  if (writeTimo_ms >= 0) {
    pNode->tWriteTimo_ms = writeTimo_ms;
    timeouts.WriteTotalTimeoutMultiplier = 1;
    timeouts.WriteTotalTimeoutConstant = static_cast<DWORD>(writeTimo_ms);
  }
  return qvls_UpdateWindowsError(pNode, SetCommTimeouts(pNode->wHdl, &timeouts));
}

// --- Attributes ------------------------------------------------------------------------------------------------------

static qv_status readQueueStatus(qvlsPort_t* node, COMSTAT& status) {
  return qvls_UpdateWindowsError(node, ClearCommError(node->wHdl, nullptr, &status));
}

static qv_status readModemLine(qvlsPort_t* node, DWORD line, unsigned int* asserted) {
  DWORD lines = 0;
  const qv_status status = qvls_UpdateWindowsError(node, GetCommModemStatus(node->wHdl, &lines));
  if (status == QVLS_SUCCESS) *asserted = (lines & line) ? 1 : 0;
  return status;
}

/// How an output line is controlled: fixed at 0 or 1, or not fixed.
static unsigned int lineState(DWORD control) {
  return control <= 1 ? control : static_cast<unsigned int>(-1);
}

static qv_status readDtrControl(qvlsPort_t* node, unsigned int* state) {
  DCB settings = {};
  if (const qv_status status = refreshSettings(node, settings); status != QVLS_SUCCESS) return status;
  if (settings.fDtrControl > DTR_CONTROL_HANDSHAKE) return QVLS_ERR_MISMATCH;
  *state = lineState(settings.fDtrControl);
  return QVLS_SUCCESS;
}

static qv_status readRtsControl(qvlsPort_t* node, unsigned int* state) {
  DCB settings = {};
  const qv_status status = refreshSettings(node, settings);
  if (status == QVLS_SUCCESS) *state = lineState(settings.fRtsControl);
  return status;
}

static unsigned int signExtended(char character) {
  return static_cast<unsigned int>(static_cast<signed char>(character));
}

qv_status qvls_GetAttribute(qvlsPort_t* pNode, unsigned int attr, unsigned int* attrVal) {
  if (!pNode) return QVLS_ERR_INVAL_PARAM1;
  if (!attrVal) return QVLS_ERR_INVAL_PARAM3;
  if (!pNode->wHdl) return QVLS_ERR_PORT_NOT_OPEN;
  COMSTAT queues = {};
  qv_status status = QVLS_SUCCESS;
  switch (attr) {
  case VI_ATTR_ASRL_AVAIL_NUM:
    status = readQueueStatus(pNode, queues);
    if (status == QVLS_SUCCESS) *attrVal = queues.cbInQue;
    return status;
  case VI_ATTR_ASRL_ALLOW_TRANSMIT:
    status = readQueueStatus(pNode, queues);
    if (status == QVLS_SUCCESS) *attrVal = queues.fXoffHold ? 0 : 1;
    return status;
  case VI_ATTR_ASRL_CTS_STATE:
    return readModemLine(pNode, MS_CTS_ON, attrVal);
  case VI_ATTR_ASRL_DSR_STATE:
    return readModemLine(pNode, MS_DSR_ON, attrVal);
  case VI_ATTR_ASRL_RI_STATE:
    return readModemLine(pNode, MS_RING_ON, attrVal);
  case VI_ATTR_ASRL_DCD_STATE:
    return readModemLine(pNode, MS_RLSD_ON, attrVal);
  case VI_ATTR_ASRL_DTR_STATE:
    return readDtrControl(pNode, attrVal);
  case VI_ATTR_ASRL_RTS_STATE:
    return readRtsControl(pNode, attrVal);
  case VI_ATTR_ASRL_XON_CHAR:
    *attrVal = signExtended(settingsOf(pNode).XonChar);
    return status;
  case VI_ATTR_ASRL_XOFF_CHAR:
    *attrVal = signExtended(settingsOf(pNode).XoffChar);
    return status;
  default:
    return QVLS_ERR_INVAL_PARAM1;
  }
}

static qv_status escape(qvlsPort_t* node, DWORD function) {
  return qvls_UpdateWindowsError(node, EscapeCommFunction(node->wHdl, function));
}

/// Fixes an output line, which a port may refuse while the line is under handshake.
static qv_status setLine(qvlsPort_t* node, unsigned int state, DWORD setFunction, DWORD clearFunction) {
  if (state > 1) return QVLS_ERR_INVAL_PARAM3;
  if (EscapeCommFunction(node->wHdl, state ? setFunction : clearFunction)) return QVLS_SUCCESS;
  const DWORD error = GetLastError();
  const qv_status status = qvls_UpdateWindowsError(node, FALSE);
  return error == QVH_SERIAL_COMM_ERR_WRONG_PARAM ? QVLS_ERR_ASRL_PARAM_WRONG : status;
}

static qv_status setFlowCharacter(qvlsPort_t* node, char DCB::*character, unsigned int value) {
  const FastLockGuard changing(node->changing);
  DCB settings = settingsOf(node);
  settings.*character = static_cast<char>(value & 0xFFU);
  return applySettings(node, settings);
}

qv_status qvls_SetAttribute(qvlsPort_t* pNode, unsigned int attr, unsigned int attrVal) {
  if (const qv_status status = checkOpen(pNode); status != QVLS_SUCCESS) return status;
  switch (attr) {
  case VI_ATTR_ASRL_AVAIL_NUM:
  case VI_ATTR_ASRL_CTS_STATE:
  case VI_ATTR_ASRL_DCD_STATE:
  case VI_ATTR_ASRL_DSR_STATE:
  case VI_ATTR_ASRL_RI_STATE:
    return QVLS_ERR_PARAM_READ_ONLY;
  case VI_ATTR_ASRL_DTR_STATE:
    return setLine(pNode, attrVal, SETDTR, CLRDTR);
  case VI_ATTR_ASRL_RTS_STATE:
    return setLine(pNode, attrVal, SETRTS, CLRRTS);
  case VI_ATTR_ASRL_XON_CHAR:
    return setFlowCharacter(pNode, &DCB::XonChar, attrVal);
  case VI_ATTR_ASRL_XOFF_CHAR:
    return setFlowCharacter(pNode, &DCB::XoffChar, attrVal);
  case VI_ATTR_ASRL_BREAK_STATE:
    return escape(pNode, attrVal ? SETBREAK : CLRBREAK);
  case VI_ATTR_ASRL_ALLOW_TRANSMIT:
    return escape(pNode, attrVal ? SETXON : SETXOFF);
  default:
    return QVLS_ERR_INVAL_PARAM1;
  }
}

// --- Transfer --------------------------------------------------------------------------------------------------------

qv_status qvls_Read(qvlsPort_t* pNode, char* buf, unsigned int bufSize, unsigned int* readBytes) {
  if (const qv_status status = checkOpen(pNode); status != QVLS_SUCCESS) return status;
  DWORD count = 0;
  const qv_status status = qvls_UpdateWindowsError(pNode, ReadFile(pNode->wHdl, buf, bufSize, &count, nullptr));
  deliver(readBytes, count);
  return status;
}

qv_status qvls_TakeReceived(qvlsPort_t* pNode, char* buf, unsigned int bufSize, const bool (&isWanted)[256],
                            unsigned int* taken) {
  if (const qv_status status = checkOpen(pNode); status != QVLS_SUCCESS) return status;
  deliver(taken, TakeReceived(pNode->wHdl, buf, bufSize, isWanted));
  return QVLS_SUCCESS;
}

qv_status qvls_Write(qvlsPort_t* pNode, const char* buf, unsigned int bufSize, unsigned int* writtenBytes) {
  if (const qv_status status = checkOpen(pNode); status != QVLS_SUCCESS) return status;
  DWORD count = 0;
  const qv_status status = qvls_UpdateWindowsError(pNode, WriteFile(pNode->wHdl, buf, bufSize, &count, nullptr));
  deliver(writtenBytes, count);
  return status;
}

// --- Texts -----------------------------------------------------------------------------------------------------------

namespace {

struct CodeText {
  int code;
  const char* text;
};

constexpr CodeText statusTexts[] = {
    {QVLS_SUCCESS, "no error"},
    {QVLS_ERR_ALLOC, "failed to allocate memory"},
    {QVLS_ERR_INVAL_PARAM1, "given parameter 1 is wrong"},
    {QVLS_ERR_INVAL_PARAM2, "given parameter 2 is wrong"},
    {QVLS_ERR_INVAL_PARAM3, "given parameter 3 is wrong"},
    {QVLS_ERR_NFOUND, "failed to lookup an element of list, ring etc."},
    {QVLS_ERR_NINIT, "operation failed because something was not initialized"},
    {QVLS_ERR_SDI_GETCLASSDEVS, "error on call to SetupDiGetClassDevs()"},
    {QVLS_ERR_SDI_GETDINSTID, "error on call to SetupDiGetDeviceInstanceId()"},
    {QVLS_ERR_MISMATCH, "got mismatching information from setup api"},
    {QVLS_ERR_PORT_NOT_OPEN, "attempt to set/get data from/to a port that is not opened"},
    {QVLS_ERR_ASRL_PARAM_WRONG, "attempt to set wrong parameter to serial port"},
    {QVLS_ERR_PARAM_READ_ONLY, "attempt to set a read only parameter"},
    {QVLS_WRN_NO_ADMIN, "the requirement App. has to be run with administrator privileges is not met"},
    {QVLS_ERR_NYET_IMPL, "the requested feature is not yet implemented"},
    {QVLS_ERR_WINDOWS, "Unknown error caused by system call"},
};

constexpr CodeText parityTexts[] = {
    {NOPARITY, "no parity"},     {ODDPARITY, "odd parity"},     {EVENPARITY, "even parity"},
    {MARKPARITY, "mark parity"}, {SPACEPARITY, "space parity"},
};

constexpr CodeText stopBitsTexts[] = {
    {ONESTOPBIT, "1 stop bit"},
    {ONE5STOPBITS, "1.5 stop bits"},
    {TWOSTOPBITS, "2 stop bits"},
};

constexpr CodeText rtsTexts[] = {
    {RTS_CONTROL_DISABLE, "RTS disabled, fixed to low"},
    {RTS_CONTROL_ENABLE, "RTS enabled, fixed to high"},
    {RTS_CONTROL_HANDSHAKE, "RTS handshake enabled (auto)"},
    {RTS_CONTROL_TOGGLE, "RTS enabled while sending"},
};

constexpr CodeText dtrTexts[] = {
    {DTR_CONTROL_DISABLE, "DTR line low"},
    {DTR_CONTROL_ENABLE, "DTR line high"},
    {DTR_CONTROL_HANDSHAKE, "DTR handshake enabled"},
};

/// The text of the code's row, or the one for a code without a row.
template <size_t rows>
const char* lookUp(const CodeText (&table)[rows], int code, const char* otherwise) {
  const auto* const row = std::find_if(table, table + rows, [code](const CodeText& r) { return r.code == code; });
  return row == table + rows ? otherwise : row->text;
}

}  // namespace

const char* qvls_GetErrMsg(const qvlsPort_t* pNode, qv_status tErr) {
  if (tErr == QVLS_ERR_WINDOWS && pNode) return pNode->wErrBuf;
  return lookUp(statusTexts, tErr, "unkown libserial error");
}

const char* qvls_welcome() {
  return QVLS_WELCOME_STRING;
}

void qvls_print_debug_malloc_list() {
  debug_mem_list();
}

const char* qvls_HelperPrintParity(int parity) {
  return lookUp(parityTexts, parity, "wrony parity code");
}

const char* qvls_HelperStopBits(int stopBits) {
  return lookUp(stopBitsTexts, stopBits, "wrony stop bits code");
}

const char* qvls_HelperRtsControl(int fRtsControl) {
  return lookUp(rtsTexts, fRtsControl, "wrony RTS control code");
}

const char* qvls_HelperDtrControl(int fDtrControl) {
  return lookUp(dtrTexts, fDtrControl, "wrony DTR control code");
}

const char* qvls_HelperCtsFlow(int fOutCtsFlow) {
  return fOutCtsFlow ? "CTS handshake enabled" : "CTS handshake disabled";
}

const char* qvls_HelperDrsFlow(int fOutDrsFlow) {
  return fOutDrsFlow ? "DRS handshake enabled" : "DRS handshake disabled";
}
