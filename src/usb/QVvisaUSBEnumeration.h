/// What a search sees of USB: every interface of every listed device. Callers hold the core's lock.
#pragma once

#include "QVvisaInterfaces.h"
#include "QVvisaLibusb.h"

extern "C" {

/// One device on the bus, for the length of an enumeration.
struct QVvisa_usbDev_t {
  int isValid;  ///< 1 while the device is still to be listed
  libusb_device_descriptor DevDesc;
  libusb_config_descriptor* pConfDesc;  ///< its active configuration or null; owned
};

/// Lists the interfaces of the devices of vendor QVVISA_VENDOR_ID that leave their class to the interfaces, one entry
/// per interface and a device's entries together. A device whose descriptors can't be read drops out; one whose serial
/// number can't be read has an empty one. Nothing is claimed, and each device is open only while its serial number is
/// read.
/// @param ppdil  an empty list, null as a rule, which grows; the caller frees it. Untouched when nothing is listed
/// @retval VI_SUCCESS             listed
/// @retval VI_ERROR_INV_PARAMETER null `ppdil`
/// @retval VI_ERROR_RSRC_NFOUND   nothing to list
/// @retval VI_ERROR_ALLOC         no memory
/// @return Otherwise the translated failure of libusb to list the bus.
QVVISA_API ViStatus QVvisa_GetAllDevIntfUsb(QVvisa_devIntfListUsb_t** ppdil);

/// Reads a string of a device that isn't open into `buf`, 128 bytes, which ends up empty if that fails. Does nothing
/// for a null argument.
QVVISA_API void QV_viGetDeviceSN(libusb_device* dev, unsigned char* buf, uint8_t snIdx);

/// Makes `size` entries, each valid, zeroed and without a configuration.
/// @retval VI_SUCCESS             made
/// @retval VI_ERROR_INV_PARAMETER null `ppudl`, or `size` below 1
/// @retval VI_ERROR_ALLOC         no memory
QVVISA_API ViStatus QVvisa_initUsbDevList(QVvisa_usbDev_t** ppudl, int size);

/// Frees `size` entries with their configurations and nulls the pointer. Does nothing for null or a `size` below 1.
QVVISA_API void QVvisa_closeUsbDevList(QVvisa_usbDev_t** ppudl, int size);
}
