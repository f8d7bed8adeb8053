/// The grammar of TCP/IP resource names.
#pragma once

#include "QVvisaTCPIPDevice.h"

extern "C" {

/// Reads a resource name such as `TCPIP0::192.0.2.7::5025::SOCKET` or `TCPIP0::host::inst0::INSTR` into the record.
/// @retval VI_SUCCESS              the name is one of this bus
/// @retval VI_ERROR_INV_PARAMETER  null argument
/// @retval VI_ERROR_INV_RSRC_NAME  not a TCP/IP name, a field above 127 characters, or no port in the SOCKET form
QVVISA_API ViStatus QVvisa_OpenHelperParseNameTCPIP(char* name, QVvisa_tcpip_device_t* deviceObj);

/// Reads the port of the SOCKET form: a decimal number at the start of `cp`, whatever follows it.
/// @retval VI_SUCCESS              `port` is set
/// @retval VI_ERROR_INV_PARAMETER  null argument
/// @retval VI_ERROR_INV_RSRC_NAME  no number, or not one of 0 to 65535
QVVISA_API ViStatus QVvisa_OpenHelperParseNameTCPIP_Socket(const char* cp, QVvisa_tcpip_device_t* deviceObj);
}
