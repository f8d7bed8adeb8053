/// Attributes of USB sessions.
///
/// Only the time limit and the pipes change what a session does; the termination, end and baud attributes are kept and
/// reported back. Any thread may set an attribute while another transfers: it counts from the next transfer on.
#pragma once

#include "QVvisaDevice.h"
#include "QVvisaUSBDevice.h"

extern "C" {

/// Reads an attribute.
/// @param attrValue  receives the value in the attribute's width, a text with its terminator in at most 128 bytes; not
///                   null. Written on VI_SUCCESS only
/// @retval VI_SUCCESS          read; a pipe that the interface doesn't have reads 0xFFFF
/// @retval VI_ERROR_INV_OBJECT `pdev` is null or no USB session
/// @retval VI_ERROR_NSUP_ATTR  not an attribute of this bus
/// @retval VI_WARN_NULL_OBJECT the state of a pipe, which isn't known
QVVISA_API ViStatus QVvisa_UsbGetAttribute(QVvisa_device_t* pdev, ViAttr attrName, void* attrValue);

/// Sets an attribute; a failure changes nothing. `pUsbDev` isn't null.
/// @retval VI_SUCCESS               set
/// @retval VI_ERROR_NSUP_ATTR       not an attribute that this bus sets
/// @retval VI_ERROR_ATTR_READONLY   can't be set
/// @retval VI_ERROR_NSUP_ATTR_STATE no such value
/// @retval VI_ERROR_INV_ACC_MODE    a protocol of the other kind of session, or no such endpoint
QVVISA_API ViStatus QVvisa_UsbSetAttribute(QVvisa_usb_device_t* pUsbDev, ViAttr attrName, ViAttrState attrValue);

/// Finds the first endpoint whose address equals `val` as a number, so that a negative `val` finds none, and whose
/// whole `bmAttributes` equals `typeOfEP` (2 bulk, 3 interrupt). The direction isn't judged.
/// @param epIdx  receives its position on success; not null
/// @retval VI_SUCCESS            found
/// @retval VI_ERROR_INV_ACC_MODE none
QVVISA_API ViStatus QV_viCheckSetEp(QVvisa_usb_device_t* pUsbDev, ViInt16 val, uint8_t typeOfEP, uint8_t* epIdx);

/// Makes the endpoint with address `val` the session's Bulk-OUT, Bulk-IN, Interrupt-OUT or Interrupt-IN endpoint; with
/// the statuses of QV_viCheckSetEp.
QVVISA_API ViStatus QV_viCheckSetEpBulkOut(QVvisa_usb_device_t* pUsbDev, ViInt16 val);
QVVISA_API ViStatus QV_viCheckSetEpBulkIn(QVvisa_usb_device_t* pUsbDev, ViInt16 val);
QVVISA_API ViStatus QV_viCheckSetEpIntrOut(QVvisa_usb_device_t* pUsbDev, ViInt16 val);
QVVISA_API ViStatus QV_viCheckSetEpIntrIn(QVvisa_usb_device_t* pUsbDev, ViInt16 val);
}
