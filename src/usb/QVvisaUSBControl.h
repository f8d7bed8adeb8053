/// Control requests of USB sessions: status byte, clear, remote enable, and whatever a caller composes.
///
/// All are synchronous and limited by the session's time limit; none takes a lock but to draw a tag. `pUsbDev` is an
/// open session and isn't null.
#pragma once

#include "QVvisaUSBDevice.h"

extern "C" {

/// Requests to the interface, USBTMC 1.0 section 4.2.1 and USB488 1.0 section 4.3.
constexpr uint8_t USBTMC_REQTYPE_FOR_USBTMC_REQUESTS = 0xA1;
constexpr uint8_t USBTMC_REQ_INITIATE_CLEAR = 5;
constexpr uint8_t USBTMC_REQ_CHECK_CLEAR_STATUS = 6;
constexpr uint8_t USBTMC_REQ_READ_STATUS_BYTE = 128;
constexpr uint8_t USBTMC_REQ_REN_CONTROL = 160;
constexpr uint8_t USBTMC_REQ_GO_TO_LOCAL = 161;
constexpr uint8_t USBTMC_REQ_LOCAL_LOCKOUT = 162;

/// Carries out a VI_GPIB_REN_... mode, in one request or two.
/// @param usedIntf    the interface's index in the configuration
/// @param timeout_ms  limit of each request in milliseconds
/// @retval VI_SUCCESS        done
/// @retval VI_ERROR_INV_MODE no such mode; nothing was sent
/// @retval VI_ERROR_IO       the device answered with anything but success; a second request isn't sent
/// @return Otherwise the translated failure of libusb; a second request isn't sent.
QVVISA_API ViStatus QVvisa_HelperGpibControlREN(libusb_device_handle* devHdl, ViUInt16 mode, int usedIntf,
                                                unsigned int timeout_ms);
}

/// Reads the status byte of a USBTMC session: from the notification that follows the request where the interface has an
/// Interrupt-IN endpoint, else from the answer.
/// @param status  receives it in the low 8 bits, on success only and not for an empty answer; not null
/// @retval VI_SUCCESS   delivered, or the answer was empty
/// @retval VI_ERROR_IO  the answer or the notification is too short, or the answer carries another tag
/// @return Otherwise the translated failure of libusb.
ViStatus QVvisa_UsbReadSTB(QVvisa_usb_device_t* pUsbDev, ViPUInt16 status);

/// Clears a USBTMC session's device.
/// @retval VI_SUCCESS            cleared
/// @retval QVVI_NEEDS_EQUIVALENT refused, not done at once, or data is to be read first; may be repeated
/// @return Otherwise the translated result of libusb, VI_SUCCESS for an empty answer.
ViStatus QVvisa_UsbClear(QVvisa_usb_device_t* pUsbDev);

/// QVvisa_HelperGpibControlREN on the session's interface, also on a raw session.
ViStatus QVvisa_UsbGpibControlREN(QVvisa_usb_device_t* pUsbDev, ViUInt16 mode);

/// Sends one control request; of `bmRequestType` and `bRequest` the low 8 bits go to the wire.
/// @param bmRequestType  bit 7 is 0
/// @param wLength        size of `buf` in bytes
/// @param buf            the data; may be null with `wLength` 0
/// @retval VI_SUCCESS             sent, possibly fewer bytes than `wLength`
/// @retval VI_ERROR_INV_PARAMETER bit 7 tells the other direction
/// @retval VI_ERROR_INV_OBJECT    null `buf` with `wLength` above 0
/// @return Otherwise the translated failure of libusb.
ViStatus QVvisa_UsbControlOut(QVvisa_usb_device_t* pUsbDev, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue,
                              ViUInt16 wIndex, ViUInt16 wLength, ViBuf buf);

/// As QVvisa_UsbControlOut, with bit 7 of `bmRequestType` set and `buf` receiving the device's data.
/// @param retCnt  receives the number of bytes received, 0 on failure; may be null
ViStatus QVvisa_UsbControlIn(QVvisa_usb_device_t* pUsbDev, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue,
                             ViUInt16 wIndex, ViUInt16 wLength, ViPBuf buf, ViPUInt16 retCnt);
