#include "QVvisaUSBControl.h"

#include "QVvisaUSBTMC.h"

#include <iterator>

namespace {

struct RenRequest {
  uint8_t request;
  uint16_t value;
};

constexpr RenRequest kRenAssert = {USBTMC_REQ_REN_CONTROL, 1};
constexpr RenRequest kRenDeassert = {USBTMC_REQ_REN_CONTROL, 0};
constexpr RenRequest kGoToLocal = {USBTMC_REQ_GO_TO_LOCAL, 0};
constexpr RenRequest kLocalLockout = {USBTMC_REQ_LOCAL_LOCKOUT, 0};
constexpr RenRequest kNone = {};

/// The requests of each mode, at the mode's value.
constexpr RenRequest kRenModes[][2] = {
    /* VI_GPIB_REN_DEASSERT           */ {kRenDeassert, kNone},
    /* VI_GPIB_REN_ASSERT             */ {kRenAssert, kNone},
    /* VI_GPIB_REN_DEASSERT_GTL       */ {kGoToLocal, kRenDeassert},
    /* VI_GPIB_REN_ASSERT_ADDRESS     */ {kRenAssert, kNone},
    /* VI_GPIB_REN_ASSERT_LLO         */ {kRenAssert, kLocalLockout},
    /* VI_GPIB_REN_ASSERT_ADDRESS_LLO */ {kRenAssert, kLocalLockout},
    /* VI_GPIB_REN_ADDRESS_GTL        */ {kGoToLocal, kNone},
};

ViStatus sendRenRequest(libusb_device_handle* handle, const RenRequest& ren, int interface, unsigned int timeout) {
  unsigned char data = 0;
  const int result = libusb_control_transfer(handle, USBTMC_REQTYPE_FOR_USBTMC_REQUESTS, ren.request, ren.value,
                                             static_cast<uint16_t>(interface), &data, sizeof data, timeout);
  if (result < 0) return libusb2QVvisaStatus(result);
  return result == sizeof data && data == USBTMC_STATUS_SUCCESS ? VI_SUCCESS : VI_ERROR_IO;
}

/// A request of the USBTMC class to the session's interface, with `answer` as the device's reply.
int interfaceRequest(QVvisa_usb_device_t& device, uint8_t request, uint16_t value, std::span<unsigned char> answer) {
  return usbControl(device, USBTMC_REQTYPE_FOR_USBTMC_REQUESTS, request, value, static_cast<uint16_t>(device.usedIntf),
                    answer);
}

/// A request that the caller composes; the low bytes of type and request reach the wire.
int callersRequest(QVvisa_usb_device_t& device, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue,
                   ViUInt16 wIndex, std::span<unsigned char> data) {
  return usbControl(device, static_cast<uint8_t>(bmRequestType), static_cast<uint8_t>(bRequest), wValue, wIndex, data);
}

/// Whether a control request reads from the device; the direction is bit 7 of the byte that reaches the wire.
bool readsFromDevice(ViInt16 bmRequestType) {
  return (bmRequestType & 0x80) != 0;
}

ViStatus receiveNotification(QVvisa_usb_device_t& device, uint8_t endpoint, unsigned char (&bufIntIn)[2]) {
  int received = 0;
  const int result = libusb_interrupt_transfer(device.devHdl, endpoint, bufIntIn, sizeof bufIntIn, &received,
                                               loadShared(device.usbTimo_ms));
  if (result != LIBUSB_SUCCESS) return libusb2QVvisaStatus(result);
  return received == sizeof bufIntIn ? VI_SUCCESS : VI_ERROR_IO;
}

}  // namespace

ViStatus QVvisa_HelperGpibControlREN(libusb_device_handle* devHdl, ViUInt16 mode, int usedIntf,
                                     unsigned int timeout_ms) {
  if (mode >= std::size(kRenModes)) return VI_ERROR_INV_MODE;
  for (const RenRequest& ren : kRenModes[mode]) {
    if (ren.request == kNone.request) break;
    const ViStatus status = sendRenRequest(devHdl, ren, usedIntf, timeout_ms);
    if (status != VI_SUCCESS) return status;
  }
  return VI_SUCCESS;
}

ViStatus QVvisa_UsbReadSTB(QVvisa_usb_device_t* pUsbDev, ViPUInt16 status) {
  const unsigned char bTagSTB = QVvisa_GetNextSTBbTag();
  unsigned char bufSTB[3] = {};
  const int result = interfaceRequest(*pUsbDev, USBTMC_REQ_READ_STATUS_BYTE, bTagSTB, bufSTB);
  if (result <= 0) return libusb2QVvisaStatus(result);

  const QVvisa_endpDesc_t* interruptIn = usbEndpoint(*pUsbDev, &QVvisa_usb_device_t::usedIntInEP);
  if (!interruptIn) {
    if (result != sizeof bufSTB || bufSTB[1] != bTagSTB) return VI_ERROR_IO;
    *status = bufSTB[2];
    return VI_SUCCESS;
  }
  // The notification is taken before the answer's tag is judged, so that it isn't left for the next call.
  unsigned char bufIntIn[2] = {};
  const ViStatus notified = receiveNotification(*pUsbDev, interruptIn->bEndpointAddress, bufIntIn);
  if (notified != VI_SUCCESS) return notified;
  if (bufSTB[1] != bTagSTB) return VI_ERROR_IO;
  *status = bufIntIn[1];
  return VI_SUCCESS;
}

ViStatus QVvisa_UsbClear(QVvisa_usb_device_t* pUsbDev) {
  unsigned char bufClear[2] = {};
  int result = interfaceRequest(*pUsbDev, USBTMC_REQ_INITIATE_CLEAR, 0, {bufClear, 1});
  if (result <= 0) return libusb2QVvisaStatus(result);
  if (bufClear[0] != USBTMC_STATUS_SUCCESS) return QVVI_NEEDS_EQUIVALENT;

  result = interfaceRequest(*pUsbDev, USBTMC_REQ_CHECK_CLEAR_STATUS, 0, bufClear);
  if (result <= 0) return libusb2QVvisaStatus(result);
  const uint8_t USBTMC_status = bufClear[0];
  const bool bmClear_D0 = bufClear[1] & 1;
  return USBTMC_status == USBTMC_STATUS_PENDING || bmClear_D0 ? QVVI_NEEDS_EQUIVALENT : VI_SUCCESS;
}

ViStatus QVvisa_UsbGpibControlREN(QVvisa_usb_device_t* pUsbDev, ViUInt16 mode) {
  return QVvisa_HelperGpibControlREN(pUsbDev->devHdl, mode, pUsbDev->usedIntf, loadShared(pUsbDev->usbTimo_ms));
}

ViStatus QVvisa_UsbControlOut(QVvisa_usb_device_t* pUsbDev, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue,
                              ViUInt16 wIndex, ViUInt16 wLength, ViBuf buf) {
  if (readsFromDevice(bmRequestType)) return VI_ERROR_INV_PARAMETER;
  if (!buf && wLength > 0) return VI_ERROR_INV_OBJECT;
  const int result = callersRequest(*pUsbDev, bmRequestType, bRequest, wValue, wIndex, {buf, wLength});
  return result < 0 ? libusb2QVvisaStatus(result) : VI_SUCCESS;
}

ViStatus QVvisa_UsbControlIn(QVvisa_usb_device_t* pUsbDev, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue,
                             ViUInt16 wIndex, ViUInt16 wLength, ViPBuf buf, ViPUInt16 retCnt) {
  if (retCnt) *retCnt = 0;
  if (!readsFromDevice(bmRequestType)) return VI_ERROR_INV_PARAMETER;
  if (!buf && wLength > 0) return VI_ERROR_INV_OBJECT;
  const int result = callersRequest(*pUsbDev, bmRequestType, bRequest, wValue, wIndex, {buf, wLength});
  if (result < 0) return libusb2QVvisaStatus(result);
  if (retCnt) *retCnt = static_cast<ViUInt16>(result);
  return VI_SUCCESS;
}
