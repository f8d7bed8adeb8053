/// Text work of the serial port library: what discovery reads out of the device database's texts, and descriptions of a
/// port's settings and of a device's properties for a person at a console.
///
/// The operations keep no state but the static buffers that are named below.
#pragma once

#include "communications.h"
#include "deviceDatabase.h"
#include "export.h"

/// Status of the qvh_ operations: the faulty argument by its place.
constexpr int QVH_SUCCESS = 0;
constexpr int QVH_ERR_INVAL_PARAM1 = -3;
constexpr int QVH_ERR_INVAL_PARAM2 = -4;
constexpr int QVH_ERR_INVAL_PARAM3 = -5;
constexpr int QVH_ERR_INVAL_PARAM4 = -6;
constexpr int QVH_ERR_INVAL_PARAM5 = -7;

/// The platform's error number for a parameter that a port refuses.
constexpr DWORD QVH_SERIAL_COMM_ERR_WRONG_PARAM = 0x57;

/// Size of a GUID's text in braces, with its NUL.
constexpr int GUID_STR_SIZE = 39;
/// Size of a buffer for a device property that is only inspected.
constexpr int PROPBUF_SIZE = 4096;
/// Size of the text that qvh_PrintRegMultiSz makes, with its NUL.
constexpr int REGMULTISZ_MAXBUF = 4096;

/// A device property by its code and its name in words.
struct setupDiDevProps_t {
  unsigned int prop;
  const char* descr;
};

extern "C" {

/// The device setup class of ports.
QVVISA_API extern const GUID RS232GUID;
/// The same as text, in lower case.
QVVISA_API extern const char rs232GuidStr[GUID_STR_SIZE];
/// The properties that qvh_SetupDiGetDevProperties prints; the row with a null `descr` ends the table.
QVVISA_API extern const setupDiDevProps_t devProps[7];

/// Reads the port number out of a friendly name such as "USB Serial Port (COM5)" and cuts it off.
///
/// @param name       the friendly name
/// @param truncName  receives the name without the port and the blanks before it, if there is a port; must hold as much
///                   as `name` and may be `name` itself
/// @return the number behind the first "(COM", or -1 if there is none
QVVISA_API int qvh_GetComPortFromFriendlyName(const char* name, char* truncName);

/// Turns a GUID's text, "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}" in digits of either case, into a GUID.
///
/// @retval QVH_ERR_INVAL_PARAM1  `pgenGUID` is null, or a digit isn't hexadecimal
/// @retval QVH_ERR_INVAL_PARAM2  `guidString` is null, or a brace or dash isn't at its place
/// On failure `pgenGUID` isn't touched.
QVVISA_API int qvh_GenerateGuidFromGuidstring(GUID* pgenGUID, const unsigned char* guidString);

/// Gives the value of a hexadecimal digit.
///
/// @retval QVH_ERR_INVAL_PARAM1  `hChar` is no such digit; `*pByte` isn't touched
/// @retval QVH_ERR_INVAL_PARAM2  `pByte` is null
QVVISA_API int qvh_ConvHexToByte(unsigned char hChar, unsigned char* pByte);

/// The baud rate in decimal. The text stands in a static buffer that the next call overwrites, from any thread.
QVVISA_API char* qvh_printBaudrate(const DCB* dcb);

/// Whether parity checking is on ("enabled" or "disabled"), whatever the kind of parity. The text stands in a static
/// buffer that the next call overwrites, from any thread.
QVVISA_API char* qvh_printParity(const DCB* dcb);

/// Joins the strings of a multi-string property, as the device database gives it.
///
/// @param delim    put between two strings
/// @param multiSz  strings with their NULs one behind the other; an empty one ends them
/// @param len      size of the property in bytes
/// @return the text, cut at REGMULTISZ_MAXBUF - 1 characters, in a static buffer that the next call overwrites, from
///         any thread
QVVISA_API char* qvh_PrintRegMultiSz(const char* delim, const void* multiSz, unsigned int len);

/// Prints a device's properties of the table devProps, one to a line, on standard output.
QVVISA_API void qvh_SetupDiGetDevProperties(HDEVINFO DeviceInfoSet, SP_DEVINFO_DATA* pDeviceData);
}

/// Reads the decimal number at the beginning of a text; blanks and a sign may precede it.
///
/// @return whether there is one that fits an int; if not, `number` isn't touched
bool qvh_ReadDecimal(const char* text, int& number);
