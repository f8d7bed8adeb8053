/// The attributes of a TCP/IP session. Most are constants of a plain socket.
#pragma once

#include "QVvisaTCPIPDevice.h"

extern "C" {

/// @param attrValue  room for the attribute's type, 256 characters for a text
/// @retval VI_SUCCESS           written; for VI_ATTR_TMO_VALUE of a socket that doesn't answer, nothing is written
/// @retval VI_ERROR_INV_OBJECT  `pqvlsDev` is null
/// @retval VI_ERROR_IO          the socket doesn't answer
/// @retval VI_ERROR_NSUP_ATTR   not answered here
QVVISA_API ViStatus QVvisa_TCPIP_GetAttribute(QVvisa_tcpip_device_t* pqvlsDev, ViAttr attrName, void* attrValue);

/// VI_ATTR_TMO_VALUE, in ms, is all that can be set. 0 is no limit.
/// @retval VI_SUCCESS              set
/// @retval VI_ERROR_INV_OBJECT     `pqvlsDev` is null
/// @retval VI_ERROR_ATTR_READONLY  known here, and not to be changed
/// @retval VI_ERROR_NSUP_ATTR      unknown here
/// @retval -1                      the socket refused
QVVISA_API ViStatus QVvisa_TCPIP_SetAttribute(QVvisa_tcpip_device_t* pqvlsDev, ViAttr attrName, ViAttrState attrValue);
}
