#include "deliver.h"
#include "openPort.h"

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
