#include "QVvisaUSB.h"

#include "DebugMalloc.h"
#include "QVvisaTools.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <span>

namespace {

constexpr uint8_t kDirectionMask = LIBUSB_ENDPOINT_DIR_MASK;

/// The active configuration of a device, for the length of a block.
class ActiveConfig {
public:
  explicit ActiveConfig(libusb_device* device) : result_(libusb_get_active_config_descriptor(device, &config_)) {}
  ~ActiveConfig() {
    if (config_) libusb_free_config_descriptor(config_);
  }
  ActiveConfig(const ActiveConfig&) = delete;
  ActiveConfig& operator=(const ActiveConfig&) = delete;

  ViStatus status() const { return libusb2QVvisaStatus(result_); }
  const libusb_config_descriptor& operator*() const { return *config_; }

private:
  libusb_config_descriptor* config_ = nullptr;  // before result_, whose initialiser fills it
  int result_;
};

/// Reads a string of the open device; index 0 stands for an empty one. `text` is empty after a failure.
ViStatus readString(libusb_device_handle* handle, uint8_t index, std::span<char, 128> text) {
  text[0] = '\0';
  if (index == 0) return VI_SUCCESS;
  const int length = libusb_get_string_descriptor_ascii(handle, index, reinterpret_cast<unsigned char*>(text.data()),
                                                        static_cast<int>(text.size()));
  text[static_cast<size_t>(std::clamp(length, 0, static_cast<int>(text.size()) - 1))] = '\0';
  return length < 0 ? libusb2QVvisaStatus(length) : VI_SUCCESS;
}

/// Whether the open device has the serial number `sn`. A device without one fits every name, and then empties `sn`.
bool hasSerial(QVvisa_usb_device_t& device) {
  if (device.devDesc.iSerialNumber == 0) {
    device.sn[0] = '\0';
    return true;
  }
  char serial[sizeof device.sn];
  return readString(device.devHdl, device.devDesc.iSerialNumber, serial) == VI_SUCCESS &&
         strcmp(serial, device.sn) == 0;
}

/// Reads the strings of the open device; after the first that fails the others stay empty.
ViStatus readStrings(QVvisa_usb_device_t& device) {
  device.sManuf[0] = device.sDev[0] = device.sIf[0] = '\0';
  ViStatus status = readString(device.devHdl, device.devDesc.iManufacturer, device.sManuf);
  if (status == VI_SUCCESS) status = readString(device.devHdl, device.devDesc.iProduct, device.sDev);
  if (status == VI_SUCCESS) status = readString(device.devHdl, device.intfDesc.iInterface, device.sIf);
  return status;
}

/// What is left to test and to do once the device with the right IDs is open.
ViStatus acceptOpenDevice(QVvisa_usb_device_t& device) {
  if (!hasSerial(device)) return VI_ERROR_RSRC_NFOUND;
  const ViStatus status = readStrings(device);
  if (status != VI_SUCCESS || !device.isTMC) return status;
  return QVvisa_HelperGpibControlREN(device.devHdl, VI_GPIB_REN_ASSERT, device.usedIntf, device.usbTimo_ms);
}

/// The interface that the session takes, by its index in the configuration, or -1.
int chooseInterface(const libusb_config_descriptor& config, const QVvisa_usb_device_t& device) {
  const auto interfaces = usbInterfaces(config);
  const auto fits = [&](size_t index) {
    const libusb_interface_descriptor* setting = firstAlternateSetting(interfaces[index]);
    if (!setting) return false;
    if (!device.isTMC) return index == static_cast<uint8_t>(device.usedIntf);
    return isUSBTMC(setting->bInterfaceClass, setting->bInterfaceSubClass, setting->bInterfaceProtocol) != 0;
  };
  for (size_t index = 0; index < interfaces.size(); ++index) {
    if (fits(index)) return static_cast<int>(index);
  }
  return -1;
}

void copyInterface(const libusb_interface_descriptor& setting, QVvisa_usb_device_t& device) {
  const uint8_t known = std::min<uint8_t>(setting.endpoint ? setting.bNumEndpoints : 0, QVVISA_MAX_ENDP);
  device.intfDesc = {
      .bInterfaceNumber = setting.bInterfaceNumber,
      .bAlternateSetting = setting.bAlternateSetting,
      .bNumEndpoints = known,
      .bInterfaceClass = setting.bInterfaceClass,
      .bInterfaceSubClass = setting.bInterfaceSubClass,
      .bInterfaceProtocol = setting.bInterfaceProtocol,
      .iInterface = setting.iInterface,
  };
  for (uint8_t i = 0; i < known; ++i) {
    const libusb_endpoint_descriptor& endpoint = setting.endpoint[i];
    device.ep[i] = {endpoint.bEndpointAddress, endpoint.bmAttributes, endpoint.wMaxPacketSize, endpoint.bInterval};
  }
}

void chooseEndpoints(QVvisa_usb_device_t& device) {
  const auto lowest = [&](uint8_t direction, uint8_t type) {
    return QV_viOpenHelperGetLowestEPofType(&device, direction, type);
  };
  device.usedBulkInEP = lowest(LIBUSB_ENDPOINT_IN, LIBUSB_TRANSFER_TYPE_BULK);
  device.usedBulkOutEP = lowest(LIBUSB_ENDPOINT_OUT, LIBUSB_TRANSFER_TYPE_BULK);
  device.usedIntInEP = lowest(LIBUSB_ENDPOINT_IN, LIBUSB_TRANSFER_TYPE_INTERRUPT);
  device.usedIntOutEP = lowest(LIBUSB_ENDPOINT_OUT, LIBUSB_TRANSFER_TYPE_INTERRUPT);
}

}  // namespace

ViStatus QVvisa_initUsbDevListElem(QVvisa_usb_device_t** ppUsbDev) {
  if (!ppUsbDev) return VI_ERROR_INV_PARAMETER;
  void* memory = DEBUG_MALLOC(sizeof(QVvisa_usb_device_t));
  if (!memory) return VI_ERROR_ALLOC;
  *ppUsbDev = new (memory) QVvisa_usb_device_t;
  (*ppUsbDev)->USBClassName = QVvisa_GetUSBClassHelperName((*ppUsbDev)->USBClass);
  return VI_SUCCESS;
}

void QVvisa_closeUsbDevListElem(QVvisa_usb_device_t** ppUsbDev) {
  if (!ppUsbDev || !*ppUsbDev) return;
  QVvisa_usb_device_t* device = *ppUsbDev;
  if (device->devHdl && device->isTMC) QVvisa_UsbGpibControlREN(device, VI_GPIB_REN_DEASSERT_GTL);
  QVvisa_closeLibUsbDev(&device->devHdl, device->usedIntf);
  DEBUG_FREE(device);
  *ppUsbDev = nullptr;
}

ViStatus QVvisa_OpenHelperFindOpenDevUsb(QVvisa_usb_device_t* pUsbDev) {
  if (!pUsbDev || !QVlibusbCtx) return VI_ERROR_INV_OBJECT;
  const UsbDeviceList list(QVlibusbCtx);
  ViStatus status = list.status();
  for (libusb_device* candidate : list.devices()) {
    status = QV_viOpenHelperTestOneUsbDev(pUsbDev, candidate);
    if (status == VI_SUCCESS) break;
  }
  pUsbDev->usbDev = nullptr;
  if (status != VI_SUCCESS) return status;
  chooseEndpoints(*pUsbDev);
  pUsbDev->USBClass = QVvisa_GetUSBClassHelper(pUsbDev);
  pUsbDev->USBClassName = QVvisa_GetUSBClassHelperName(pUsbDev->USBClass);
  return VI_SUCCESS;
}

ViStatus QV_viOpenHelperTestOneUsbDev(QVvisa_usb_device_t* pUsbDev, libusb_device* devToTest) {
  if (!pUsbDev || !devToTest) return VI_ERROR_INV_OBJECT;
  pUsbDev->usbDev = devToTest;
  const int result = libusb_get_device_descriptor(devToTest, &pUsbDev->devDesc);
  if (result < 0) return libusb2QVvisaStatus(result);
  if (pUsbDev->devDesc.idVendor != pUsbDev->vid || pUsbDev->devDesc.idProduct != pUsbDev->pid) {
    return VI_ERROR_RSRC_NFOUND;
  }
  ViStatus status = QVvisa_OpenHelperIntf(devToTest, pUsbDev);
  if (status != VI_SUCCESS) return status;

  char nameSerial[sizeof pUsbDev->sn];
  memcpy(nameSerial, pUsbDev->sn, sizeof nameSerial);
  status = acceptOpenDevice(*pUsbDev);
  if (status == VI_SUCCESS) return VI_SUCCESS;
  QVvisa_closeLibUsbDev(&pUsbDev->devHdl, pUsbDev->usedIntf);
  // The devices after this one are compared with the name's serial number.
  memcpy(pUsbDev->sn, nameSerial, sizeof nameSerial);
  return status;
}

ViStatus QVvisa_OpenHelperIntf(libusb_device* device, QVvisa_usb_device_t* pUsbDev) {
  const ActiveConfig config(device);
  if (config.status() != VI_SUCCESS) return config.status();
  pUsbDev->numIntf = (*config).bNumInterfaces;
  const int index = chooseInterface(*config, *pUsbDev);
  if (index < 0) return VI_ERROR_RSRC_NFOUND;
  pUsbDev->usedIntf = index;
  const ViStatus status =
      QVvisa_OpenHelperOpenDevClaimIntf(device, &pUsbDev->devHdl, static_cast<uint8_t>(pUsbDev->usedIntf));
  if (status == VI_SUCCESS)
    copyInterface(*firstAlternateSetting(usbInterfaces(*config)[static_cast<size_t>(index)]), *pUsbDev);
  return status;
}

ViStatus QVvisa_OpenHelperOpenDevClaimIntf(libusb_device* device, libusb_device_handle** devHdl, uint8_t intf) {
  if (!device || !devHdl) return VI_ERROR_INV_OBJECT;
  *devHdl = nullptr;
  libusb_device_handle* handle = QVvisa_openLibUsbDev(device);
  if (!handle) return VI_ERROR_RSRC_NFOUND;
  // Linux binds a driver of its own to USBTMC interfaces. Where a system can't detach one, the claim decides.
  libusb_set_auto_detach_kernel_driver(handle, 1);
  if (libusb_claim_interface(handle, intf) != LIBUSB_SUCCESS) {
    libusb_close(handle);
    return VI_ERROR_RSRC_NFOUND;
  }
  *devHdl = handle;
  return VI_SUCCESS;
}

uint8_t QV_viOpenHelperGetLowestEPofType(QVvisa_usb_device_t* pUsbDev, uint8_t direction, uint8_t typeOfEP) {
  for (uint8_t i = 0; i < pUsbDev->intfDesc.bNumEndpoints; ++i) {
    const QVvisa_endpDesc_t& endpoint = pUsbDev->ep[i];
    const bool sameDirection = ((endpoint.bEndpointAddress ^ direction) & kDirectionMask) == 0;
    if (sameDirection && endpoint.bmAttributes == typeOfEP) return i;
  }
  return QVVISA_UNUSED_EP;
}
