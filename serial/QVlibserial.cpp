#include "QVlibserial.h"

#include "deliver.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

/// Copies like strncpy into a destination of the field's size, if there is one.
template <size_t size>
void deliverText(char* result, const char (&field)[size]) {
  if (result) std::strncpy(result, field, size);
}

}  // namespace

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

namespace {

/// The hexadecimal number behind a word of three letters and a separator in the node's instance ID, or 0.
long numberInInstanceId(const qvlsPort_t* node, const char* word) {
  const char* const found = std::strstr(node->DevInstIdBuf, word);
  return found && found[3] != '\0' ? std::strtol(found + 4, nullptr, 16) : 0;
}

}  // namespace

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
