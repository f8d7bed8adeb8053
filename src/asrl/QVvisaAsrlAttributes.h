/// The attributes of a serial session.
#pragma once

#include "QVvisaAsrlDevice.h"

extern "C" {

/// Reads an attribute in the width of its VISA type. A port that failed leaves `attrValue` as it was.
/// @retval VI_SUCCESS, VI_ERROR_SYSTEM_ERROR when the port failed, VI_ERROR_INV_OBJECT for a null argument
/// @retval VI_ERROR_NSUP_ATTR  not an attribute of a serial session; one common to all buses may still answer
QVVISA_API ViStatus QVvisa_AsrlGetAttribute(QVvisa_asrl_device_t* pqvlsDev, ViAttr attrName, void* attrValue);

/// Sets an attribute. What a port refuses changes nothing, but for the time limit and the baud rate kept in the record.
/// @retval VI_SUCCESS                set
/// @retval VI_ERROR_INV_OBJECT       null record
/// @retval VI_ERROR_ATTR_READONLY    can only be read; RTS under its handshake
/// @retval VI_ERROR_NSUP_MODE        not one of the attribute's values
/// @retval VI_ERROR_NSUP_ATTR_STATE  not one of the attribute's values (protocol, break length)
/// @retval VI_ERROR_INV_SETUP        transmission can't be stopped without XON/XOFF flow control
/// @retval VI_ERROR_INV_PARAMETER    the port refused a line state as a wrong parameter
/// @retval VI_ERROR_SYSTEM_ERROR     the port failed, or took data bits other than 5 to 8
/// @retval VI_ERROR_NSUP_ATTR        as QVvisa_AsrlGetAttribute
QVVISA_API ViStatus QVvisa_AsrlSetAttribute(QVvisa_asrl_device_t* pqvlsDev, ViAttr attrName, ViAttrState attrValue);
}
