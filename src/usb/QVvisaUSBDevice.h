/// The record of one USB session, and the few steps that every unit of the USB backend takes on it.
#pragma once

#include "QVvisaDefaults.h"
#include "QVvisaLibusb.h"
#include "QVvisaShared.h"

#include <cstddef>
#include <cstdint>
#include <span>

extern "C" {

constexpr unsigned int QV_DEF_TIMEOUT_MS = 3000;
/// The endpoints of an interface that a session knows.
constexpr int QVVISA_MAX_ENDP = 16;
/// In place of an endpoint's position: the interface has no such endpoint.
constexpr uint8_t QVVISA_UNUSED_EP = 0xFF;

/// What a session keeps of the claimed interface's descriptor.
struct QVvisa_intfDesc_t {
  uint8_t bInterfaceNumber;
  uint8_t bAlternateSetting;
  uint8_t bNumEndpoints;  ///< at most QVVISA_MAX_ENDP
  uint8_t bInterfaceClass;
  uint8_t bInterfaceSubClass;
  uint8_t bInterfaceProtocol;
  uint8_t iInterface;
};

/// What a session keeps of an endpoint's descriptor.
struct QVvisa_endpDesc_t {
  uint8_t bEndpointAddress;
  uint8_t bmAttributes;
  uint16_t wMaxPacketSize;
  uint8_t bInterval;
};

/// One USB session. The fields from `usbTimo_ms` to `usedIntOutEP` can be set as attributes while another
/// thread's transfer reads them: go through loadShared and storeShared. The others don't change while it is open.
struct QVvisa_usb_device_t {
  ViSession usbID = 0;    ///< the session's handle, written after registration
  uint16_t vid = 0;       ///< vendor ID from the name
  uint16_t pid = 0;       ///< product ID from the name
  char sn[128] = "";      ///< serial number from the name; empty once opened on a device without one
  char sManuf[128] = "";  ///< the device's manufacturer string
  char sDev[128] = "";    ///< the device's product string
  char sIf[128] = "";     ///< the interface's string
  uint8_t isTMC = 0;      ///< 1 speaks USBTMC, 0 moves raw bytes
  int usedIntf = -1;      ///< index of the claimed interface in the configuration; -1 none
  uint8_t numIntf = 0;    ///< number of interfaces in the active configuration
  unsigned int usbTimo_ms = QV_DEF_TIMEOUT_MS;  ///< limit of every single transfer in milliseconds; 0 none
  uint16_t usbIoProt = VI_PROT_NORMAL;          ///< as are all down to `baudrate`: reported back, without an effect
  ViBoolean termCharEna = VI_FALSE;
  ViBoolean suppressEndEna = VI_FALSE;
  ViBoolean sendEndEna = VI_TRUE;
  ViUInt8 termChar = '\n';
  ViUInt32 baudrate = QVVISA_DEFAULT_BAUD_RATE;
  uint8_t usedBulkInEP = QVVISA_UNUSED_EP;  ///< position in `ep` of the endpoint in use, or QVVISA_UNUSED_EP
  uint8_t usedBulkOutEP = QVVISA_UNUSED_EP;
  uint8_t usedIntInEP = QVVISA_UNUSED_EP;
  uint8_t usedIntOutEP = QVVISA_UNUSED_EP;
  int USBClass = QV_CLASS_UNKNOWN;
  char* USBClassName = nullptr;            ///< constant text, not owned
  libusb_device* usbDev = nullptr;         ///< the device under test, null outside a search
  libusb_device_handle* devHdl = nullptr;  ///< owned; null while closed
  libusb_device_descriptor devDesc = {};   ///< of the device tested last, hence of the opened one
  QVvisa_intfDesc_t intfDesc = {};         ///< of the claimed interface
  QVvisa_endpDesc_t ep[QVVISA_MAX_ENDP] = {};
};
}

/// The endpoint that the session uses for a purpose, such as `&QVvisa_usb_device_t::usedBulkInEP`; null if the
/// interface has none.
inline const QVvisa_endpDesc_t* usbEndpoint(QVvisa_usb_device_t& device, uint8_t QVvisa_usb_device_t::*purpose) {
  const uint8_t position = loadShared(device.*purpose);
  return position < QVVISA_MAX_ENDP ? &device.ep[position] : nullptr;
}

/// One control request of the session, with `data` received or sent as bit 7 of `requestType` says.
/// @return number of bytes moved, or a negative libusb result
inline int usbControl(QVvisa_usb_device_t& device, uint8_t requestType, uint8_t request, uint16_t value, uint16_t index,
                      std::span<unsigned char> data) {
  return libusb_control_transfer(device.devHdl, requestType, request, value, index, data.data(),
                                 static_cast<uint16_t>(data.size()), loadShared(device.usbTimo_ms));
}
