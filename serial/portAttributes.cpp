#include "fastLock.h"
#include "helper.h"
#include "openPort.h"

namespace {

qv_status readQueueStatus(qvlsPort_t* node, COMSTAT& status) {
  return qvls_UpdateWindowsError(node, ClearCommError(node->wHdl, nullptr, &status));
}

qv_status readModemLine(qvlsPort_t* node, DWORD line, unsigned int* asserted) {
  DWORD lines = 0;
  const qv_status status = qvls_UpdateWindowsError(node, GetCommModemStatus(node->wHdl, &lines));
  if (status == QVLS_SUCCESS) *asserted = (lines & line) ? 1 : 0;
  return status;
}

/// How an output line is controlled: fixed at 0 or 1, or not fixed.
unsigned int lineState(DWORD control) {
  return control <= 1 ? control : static_cast<unsigned int>(-1);
}

qv_status readDtrControl(qvlsPort_t* node, unsigned int* state) {
  DCB settings = {};
  if (const qv_status status = refreshSettings(node, settings); status != QVLS_SUCCESS) return status;
  if (settings.fDtrControl > DTR_CONTROL_HANDSHAKE) return QVLS_ERR_MISMATCH;
  *state = lineState(settings.fDtrControl);
  return QVLS_SUCCESS;
}

qv_status readRtsControl(qvlsPort_t* node, unsigned int* state) {
  DCB settings = {};
  const qv_status status = refreshSettings(node, settings);
  if (status == QVLS_SUCCESS) *state = lineState(settings.fRtsControl);
  return status;
}

unsigned int signExtended(char character) {
  return static_cast<unsigned int>(static_cast<signed char>(character));
}

}  // namespace

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

namespace {

qv_status escape(qvlsPort_t* node, DWORD function) {
  return qvls_UpdateWindowsError(node, EscapeCommFunction(node->wHdl, function));
}

/// Fixes an output line, which a port may refuse while the line is under handshake.
qv_status setLine(qvlsPort_t* node, unsigned int state, DWORD setFunction, DWORD clearFunction) {
  if (state > 1) return QVLS_ERR_INVAL_PARAM3;
  if (EscapeCommFunction(node->wHdl, state ? setFunction : clearFunction)) return QVLS_SUCCESS;
  const DWORD error = GetLastError();
  const qv_status status = qvls_UpdateWindowsError(node, FALSE);
  return error == QVH_SERIAL_COMM_ERR_WRONG_PARAM ? QVLS_ERR_ASRL_PARAM_WRONG : status;
}

qv_status setFlowCharacter(qvlsPort_t* node, char DCB::*character, unsigned int value) {
  const FastLockGuard changing(node->changing);
  DCB settings = settingsOf(node);
  settings.*character = static_cast<char>(value & 0xFFU);
  return applySettings(node, settings);
}

}  // namespace

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
