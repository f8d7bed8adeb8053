#include "deliver.h"
#include "fastLock.h"
#include "openPort.h"

#include <algorithm>
#include <iterator>

namespace {

/// VISA's stop bits by the port's code.
constexpr int kStopBitsByCode[] = {10, 15, 20};

}  // namespace

qv_status qvls_GetPortMode(const qvlsPort_t* pNode, int* baudRate, int* dataBits, int* parity, int* stopBits) {
  if (const qv_status status = checkOpen(pNode); status != QVLS_SUCCESS) return status;
  const DCB settings = settingsOf(pNode);
  if (parity && settings.Parity > SPACEPARITY) return VI_ERROR_NSUP_MODE;
  if (stopBits && settings.StopBits > TWOSTOPBITS) return VI_ERROR_NSUP_MODE;
  deliver(baudRate, settings.BaudRate);
  deliver(dataBits, settings.ByteSize);
  deliver(parity, settings.Parity);
  if (stopBits) *stopBits = kStopBitsByCode[settings.StopBits];
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
    const auto* const code = std::find(std::begin(kStopBitsByCode), std::end(kStopBitsByCode), stopBits);
    if (code == std::end(kStopBitsByCode)) return VI_ERROR_NSUP_MODE;
    settings.StopBits = static_cast<BYTE>(code - kStopBitsByCode);
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
