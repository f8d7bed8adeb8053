/// Messages on a serial session: where a message ends on the way in, and how its end is marked on the way out.
#pragma once

#include "QVvisaAsrlDevice.h"

extern "C" {

/// Reads byte by byte up to the end condition of the session's attributes or `cnt` bytes, and takes nothing past it
/// from the port. The time limit runs anew for every byte.
/// @param[out] buf     room for `cnt` bytes
/// @param[out] retCnt  bytes delivered; written on success with `cnt` above 0 only; may be null
/// @retval VI_SUCCESS, VI_ERROR_TMO; VI_ERROR_INV_OBJECT for a null `buf` with `cnt` above 0
/// @retval VI_ERROR_SYSTEM_ERROR  the port failed
QVVISA_API ViStatus QVvisa_AsrlRead(QVvisa_asrl_device_t* pqvlsDev, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt);

/// Writes a message and its end mark. Under VI_ASRL_END_LAST_BIT and VI_ATTR_ASRL_DISCARD_NULL the caller's buffer is
/// changed in place. The end character isn't counted.
/// @param[out] retCnt  bytes sent, also when the port failed; may be null
/// @retval VI_SUCCESS             sent, or cut short by the time limit with the smaller count
/// @retval VI_ERROR_INV_OBJECT    null `buf` with `cnt` above 0
/// @retval VI_ERROR_SYSTEM_ERROR  the port failed
QVVISA_API ViStatus QVvisa_AsrlWrite(QVvisa_asrl_device_t* pqvlsDev, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt);
}
