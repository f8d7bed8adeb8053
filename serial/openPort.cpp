#include "openPort.h"

#include "errorTexts.h"

#include <cstdio>
#include <memory>

namespace {

/// English, United States.
constexpr unsigned int kErrorTextLanguage = 0x0409;

}  // namespace

qv_status qvls_UpdateWindowsError(qvlsPort_t* pNode, BOOL wResult) {
  if (wResult) return QVLS_SUCCESS;
  const DWORD error = GetLastError();
  const NodeGuard guard(*pNode);
  pNode->wErr = error;
  systemErrorMessage(pNode->wErr, kErrorTextLanguage, pNode->wErrBuf, sizeof(pNode->wErrBuf));
  return QVLS_ERR_WINDOWS;
}

qv_status checkOpen(const qvlsPort_t* node) {
  if (!node) return QVLS_ERR_INVAL_PARAM1;
  return node->wHdl ? QVLS_SUCCESS : QVLS_ERR_PORT_NOT_OPEN;
}

DCB settingsOf(const qvlsPort_t* node) {
  const NodeGuard guard(*node);
  return node->cDcb;
}

namespace {

void storeSettings(qvlsPort_t* node, const DCB& settings) {
  const NodeGuard guard(*node);
  node->cDcb = settings;
}

}  // namespace

qv_status refreshSettings(qvlsPort_t* node, DCB& settings) {
  const bool mayStore = OS_tryLockFast(&node->changing);
  settings = settingsOf(node);
  const qv_status status = qvls_UpdateWindowsError(node, GetCommState(node->wHdl, &settings));
  if (!mayStore) return status;
  if (status == QVLS_SUCCESS) storeSettings(node, settings);
  OS_unlockFast(&node->changing);
  return status;
}

qv_status applySettings(qvlsPort_t* node, DCB settings) {
  const qv_status status = qvls_UpdateWindowsError(node, SetCommState(node->wHdl, &settings));
  if (status == QVLS_SUCCESS) storeSettings(node, settings);
  return status;
}

namespace {

/// Makes a node of its own for the one connected port of that number.
qv_status copyConnectedPort(int comPort, qvlsPort_t** copy) {
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

}  // namespace

qv_status qvls_OpenPort(qvlsPort_t** ppPortNode, int comPort) {
  if (!ppPortNode) return QVLS_ERR_INVAL_PARAM1;
  if (comPort < 1 || comPort > kMaxComPort) return QVLS_ERR_INVAL_PARAM2;
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

namespace {

/// Reads what the open port has, and gives it the node's timeouts.
qv_status prepareOpenPort(qvlsPort_t* node) {
  DCB settings = {};
  qv_status status = refreshSettings(node, settings);
  if (status == QVLS_SUCCESS) status = qvls_UpdateWindowsError(node, GetCommProperties(node->wHdl, &node->cProp));
  if (status == QVLS_SUCCESS) status = qvls_UpdateWindowsError(node, GetCommTimeouts(node->wHdl, &node->cTimo));
  if (status == QVLS_SUCCESS) status = qvls_SetTimeouts(node, node->tReadTimo_ms, node->tWriteTimo_ms);
  return status;
}

}  // namespace

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

qv_status qvls_GetPortOpenState(const qvlsPort_t* pNode, int* isOpen) {
  if (!pNode) return QVLS_ERR_INVAL_PARAM1;
  if (!isOpen) return QVLS_ERR_INVAL_PARAM2;
  *isOpen = pNode->wHdl ? 1 : 0;
  return QVLS_SUCCESS;
}
