#include "QVvisaUSBEnumeration.h"

#include "DebugMalloc.h"
#include "QVvisaDefaults.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int kSerialSize = sizeof QVvisa_devIntfUsb_t::sn;

/// The devices of one enumeration, for the length of a block.
class Candidates {
public:
  explicit Candidates(std::span<libusb_device* const> devices)
      : devices_(devices), status_(QVvisa_initUsbDevList(&entries_, static_cast<int>(devices.size()))) {}
  ~Candidates() { QVvisa_closeUsbDevList(&entries_, static_cast<int>(devices_.size())); }
  Candidates(const Candidates&) = delete;
  Candidates& operator=(const Candidates&) = delete;

  ViStatus status() const { return status_; }
  size_t size() const { return devices_.size(); }
  libusb_device* device(size_t i) const { return devices_[i]; }
  QVvisa_usbDev_t& entry(size_t i) { return entries_[i]; }

private:
  std::span<libusb_device* const> devices_;
  QVvisa_usbDev_t* entries_ = nullptr;  // before status_, whose initialiser fills it
  ViStatus status_;
};

/// Whether a device is to be listed; fills in its descriptors.
bool examine(libusb_device* device, QVvisa_usbDev_t& entry) {
  return libusb_get_device_descriptor(device, &entry.DevDesc) == LIBUSB_SUCCESS &&
         entry.DevDesc.bDeviceClass == LIBUSB_CLASS_PER_INTERFACE && entry.DevDesc.idVendor == QVVISA_VENDOR_ID &&
         libusb_get_active_config_descriptor(device, &entry.pConfDesc) == LIBUSB_SUCCESS;
}

int countInterfaces(Candidates& candidates) {
  int total = 0;
  for (size_t i = 0; i < candidates.size(); ++i) {
    QVvisa_usbDev_t& entry = candidates.entry(i);
    entry.isValid = examine(candidates.device(i), entry);
    if (entry.isValid) total += static_cast<int>(usbInterfaces(*entry.pConfDesc).size());
  }
  return total;
}

/// Writes the entries of one device and returns the place behind them.
QVvisa_devIntfUsb_t* describe(libusb_device* device, const QVvisa_usbDev_t& entry, QVvisa_devIntfUsb_t* next) {
  unsigned char serial[kSerialSize];
  QV_viGetDeviceSN(device, serial, entry.DevDesc.iSerialNumber);
  uint8_t index = 0;
  for (const libusb_interface& interface : usbInterfaces(*entry.pConfDesc)) {
    next->vid = entry.DevDesc.idVendor;
    next->pid = entry.DevDesc.idProduct;
    next->bInterfaceNumber = index++;
    if (const libusb_interface_descriptor* setting = firstAlternateSetting(interface)) {
      next->bInterfaceClass = setting->bInterfaceClass;
      next->bInterfaceSubClass = setting->bInterfaceSubClass;
      next->bInterfaceProtocol = setting->bInterfaceProtocol;
    }
    memcpy(next->sn, serial, sizeof serial);
    ++next;
  }
  return next;
}

}  // namespace

ViStatus QVvisa_GetAllDevIntfUsb(QVvisa_devIntfListUsb_t** ppdil) {
  if (!ppdil) return VI_ERROR_INV_PARAMETER;
  const UsbDeviceList list(QVlibusbCtx);
  if (list.status() != VI_SUCCESS) return list.status();
  Candidates candidates(list.devices());
  if (candidates.status() != VI_SUCCESS) return candidates.status();

  const int total = countInterfaces(candidates);
  if (total < 1) return VI_ERROR_RSRC_NFOUND;
  const ViStatus status = QVvisa_reInitDevIntfListUsb(ppdil, total);
  if (status != VI_SUCCESS) return status;

  QVvisa_devIntfUsb_t* next = (*ppdil)->intfUsb;
  for (size_t i = 0; i < candidates.size(); ++i) {
    if (candidates.entry(i).isValid) next = describe(candidates.device(i), candidates.entry(i), next);
  }
  return VI_SUCCESS;
}

void QV_viGetDeviceSN(libusb_device* dev, unsigned char* buf, uint8_t snIdx) {
  if (!dev || !buf) return;
  memset(buf, 0, kSerialSize);
  libusb_device_handle* handle = QVvisa_openLibUsbDev(dev);
  if (!handle) return;
  const int length = libusb_get_string_descriptor_ascii(handle, snIdx, buf, kSerialSize);
  libusb_close(handle);
  buf[std::clamp(length, 0, kSerialSize - 1)] = '\0';
}

ViStatus QVvisa_initUsbDevList(QVvisa_usbDev_t** ppudl, int size) {
  if (!ppudl || size <= 0) return VI_ERROR_INV_PARAMETER;
  auto* entries = static_cast<QVvisa_usbDev_t*>(DEBUG_CALLOC(static_cast<size_t>(size), sizeof(QVvisa_usbDev_t)));
  if (!entries) return VI_ERROR_ALLOC;
  for (int i = 0; i < size; ++i) entries[i].isValid = 1;
  *ppudl = entries;
  return VI_SUCCESS;
}

void QVvisa_closeUsbDevList(QVvisa_usbDev_t** ppudl, int size) {
  if (!ppudl || !*ppudl || size <= 0) return;
  for (int i = 0; i < size; ++i) {
    if ((*ppudl)[i].pConfDesc) libusb_free_config_descriptor((*ppudl)[i].pConfDesc);
  }
  DEBUG_FREE(*ppudl);
  *ppudl = nullptr;
}
