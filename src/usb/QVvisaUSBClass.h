/// Class codes of USB devices and the texts that name them.
#pragma once

#include "QVvisaUSBDevice.h"

extern "C" {

/// The class code: `class_`, `subClass` and `protocol` from bit 16, 8 and 0 on, or QV_CLASS_UNKNOWN for a class that
/// libusb doesn't name or that leaves the choice to the interfaces.
QVVISA_API int QVvisa_GetUSBClass(uint8_t class_, uint8_t subClass, uint8_t protocol);

/// The text that names a class code; "no USB class found" for every code without one of its own. Constant, not owned.
QVVISA_API char* QVvisa_GetUSBClassHelperName(int USBclass);

/// The class code of an open session: the device's where it declares one, else the claimed interface's.
QVVISA_API int QVvisa_GetUSBClassHelper(QVvisa_usb_device_t* pUsbDev);
}
