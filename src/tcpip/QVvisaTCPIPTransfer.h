/// Message transfer of TCP/IP sessions: one call of the socket each. Any number of threads may transfer at once.
#pragma once

#include "QVvisaTCPIPDevice.h"

extern "C" {

/// Zeroes `buf` and receives once; with `cnt` 0 there is nothing to ask the socket for.
/// @param cnt     size of `buf` in bytes
/// @param retCnt  receives the number of bytes, 0 once the peer has closed; may be null; unchanged on failure
/// @retval VI_SUCCESS           received, possibly fewer than `cnt` bytes
/// @retval VI_ERROR_INV_OBJECT  `pqvlsDev` is null, or `buf` is null with `cnt` above 0
/// @retval -1                   the receive failed or ran into the time limit
QVVISA_API ViStatus QVvisa_TCPIP_Read(QVvisa_tcpip_device_t* pqvlsDev, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt);

/// Sends once.
/// @param cnt     number of bytes in `buf`
/// @param retCnt  receives the number of bytes sent; may be null; unchanged on failure
/// @retval VI_SUCCESS           sent, possibly fewer than `cnt` bytes
/// @retval VI_ERROR_INV_OBJECT  `pqvlsDev` is null, or `buf` is null with `cnt` above 0
/// @retval -1                   the send failed
QVVISA_API ViStatus QVvisa_TCPIP_Write(QVvisa_tcpip_device_t* pqvlsDev, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt);
}
