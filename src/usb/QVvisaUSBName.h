/// The grammar of USB resource names.
#pragma once

#include "QVvisaNameFields.h"
#include "QVvisaUSBDevice.h"

extern "C" {

/// Reads a USB resource name into `vid`, `pid`, `sn`, `usedIntf` and `isTMC`. Its forms, `[...]` marking what may be
/// left out:
///
///     USB0[text]::vendor::product::serial[::[interface::]INSTR]
///     USB0[text]::vendor::product::serial::[interface::]RAW
///
/// Text before "USB0" is ignored. A vendor or product is hexadecimal from a "0x" on, else decimal with an optional
/// sign; the low 16 bits count. The serial number may be empty and has at most 127 characters. All else is
/// case-sensitive. What a failed parse leaves in the record means nothing.
/// @retval VI_SUCCESS             a USB name
/// @retval VI_ERROR_INV_PARAMETER null `name`
/// @retval VI_ERROR_INV_OBJECT    null `pUsbDev`
/// @retval VI_ERROR_INV_RSRC_NAME not of this grammar, or a number outside 32 bits
QVVISA_API ViStatus QVvisa_OpenHelperParseNameUsb(char* name, QVvisa_usb_device_t* pUsbDev);
}
