/// The USB instrument backend: this header brings in all of it, and declares the birth, the opening and the end of a
/// session.
///
/// A USBTMC session (class INSTR) takes the first interface of the device that speaks USBTMC with USB488; a raw session
/// (class RAW) takes the interface that its name tells, by its index in the configuration. Any vendor's device opens.
/// Opening and closing run under the core's lock, which the caller holds.
#pragma once

#include "QVvisaBackends.h"
#include "QVvisaLibusb.h"
#include "QVvisaUSBAttributes.h"
#include "QVvisaUSBClass.h"
#include "QVvisaUSBControl.h"
#include "QVvisaUSBDevice.h"
#include "QVvisaUSBEnumeration.h"
#include "QVvisaUSBName.h"
#include "QVvisaUSBTMC.h"

extern "C" {

/// Makes a record with its defaults; QVvisa_closeUsbDevListElem frees it.
/// @retval VI_SUCCESS             made
/// @retval VI_ERROR_INV_PARAMETER null `ppUsbDev`
/// @retval VI_ERROR_ALLOC         no memory; `*ppUsbDev` is untouched
QVVISA_API ViStatus QVvisa_initUsbDevListElem(QVvisa_usb_device_t** ppUsbDev);

/// Ends a session: gives a USBTMC instrument back to local control, whatever it answers, releases the interface, closes
/// the handle, frees the record and nulls the pointer. Does nothing for a null argument or record.
QVVISA_API void QVvisa_closeUsbDevListElem(QVvisa_usb_device_t** ppUsbDev);

/// Opens the first device on the bus that a parsed name fits, claims its interface and chooses its endpoints.
/// @retval VI_SUCCESS              open
/// @retval VI_ERROR_INV_OBJECT     null `pUsbDev`, or the library isn't up
/// @retval VI_ERROR_RSRC_NFOUND    the bus is empty
/// @return Otherwise what the test of the last device on the bus answered, or the translated failure of libusb to list
///         the bus. VI_SUCCESS_DEV_NPRESENT is one of them, and no open session.
QVVISA_API ViStatus QVvisa_OpenHelperFindOpenDevUsb(QVvisa_usb_device_t* pUsbDev);

/// Tests whether a device is the one that the name tells; if so, it stays open and claimed, and on a USBTMC session
/// remote enable is asserted.
/// @retval VI_SUCCESS           it is, and open
/// @retval VI_ERROR_INV_OBJECT  a null argument
/// @retval VI_ERROR_RSRC_NFOUND other IDs or serial number, no fitting interface, or it can't be opened or claimed
/// @return Otherwise the status of the string or the remote enable request that failed, or the translated failure of
///         libusb to read a descriptor. The device is closed again.
QVVISA_API ViStatus QV_viOpenHelperTestOneUsbDev(QVvisa_usb_device_t* pUsbDev, libusb_device* devToTest);

/// Chooses the interface in the device's active configuration, opens the device, claims the interface and copies its
/// descriptors.
/// @retval VI_SUCCESS           `devHdl` is open and interface `usedIntf` claimed
/// @retval VI_ERROR_RSRC_NFOUND no fitting interface, or the device can't be opened or claimed
/// @return Otherwise the translated failure of libusb to read the configuration.
QVVISA_API ViStatus QVvisa_OpenHelperIntf(libusb_device* device, QVvisa_usb_device_t* pUsbDev);

/// Opens a device and claims an interface, taking it from a driver of the system until the release.
/// @retval VI_SUCCESS           open and claimed
/// @retval VI_ERROR_INV_OBJECT  a null argument
/// @retval VI_ERROR_RSRC_NFOUND can't be opened or claimed; `*devHdl` is null
QVVISA_API ViStatus QVvisa_OpenHelperOpenDevClaimIntf(libusb_device* device, libusb_device_handle** devHdl,
                                                      uint8_t intf);

/// The position of the first endpoint with the direction of `direction` (bit 7) whose whole `bmAttributes` is
/// `typeOfEP` (2 bulk, 3 interrupt), or QVVISA_UNUSED_EP.
QVVISA_API uint8_t QV_viOpenHelperGetLowestEPofType(QVvisa_usb_device_t* pUsbDev, uint8_t direction, uint8_t typeOfEP);
}

/// The bus's row of functions.
extern const QVvisa_backend_t QVvisa_usbBackend;
