/// libusb as the library uses it: its context, the translation of its results, and owners for what it hands out.
#pragma once

#include "QVvisa.h"
#include "export.h"
#include "winTypes.h"  // before libusb.h, which brings in windows.h without Winsock 2

#include <libusb.h>

#include <span>

extern "C" {

/// The context of all libusb calls: made by the start of the library, ended by its close, null in between. Written and
/// read under the core's lock only.
QVVISA_API extern libusb_context* QVlibusbCtx;

/// One row of the translation of libusb results.
struct QVvisa_libusb2visaStatus_t {
  ::libusb_error libusb_error;
  ViStatus visa;
};

/// One row for each libusb result, then the end row, whose `visa` is VI_WARN_UNKNOWN_STATUS. LIBUSB_ERROR_NO_DEVICE is
/// the positive VI_SUCCESS_DEV_NPRESENT.
QVVISA_API extern const QVvisa_libusb2visaStatus_t glibusb2visaStatus[15];

/// The VISA status of a libusb result; VI_WARN_UNKNOWN_STATUS for a value that libusb doesn't name, positive ones too.
QVVISA_API ViStatus libusb2QVvisaStatus(int err);

/// libusb_init, with a context whose descriptors keep away from the standard streams. @return its translated result
ViStatus QVvisa_initLibUsb(libusb_context** context);

/// Opens a device, with a descriptor that keeps away from the standard streams.
/// @return the handle, for QVvisa_closeLibUsbDev, or null
libusb_device_handle* QVvisa_openLibUsbDev(libusb_device* device);

/// Releases interface `usedIntf`, unless it is negative (none is claimed), closes the handle and nulls the pointer.
/// Does nothing for a null argument or handle.
QVVISA_API void QVvisa_closeLibUsbDev(libusb_device_handle** ppdevHdl, int usedIntf);
}

/// The devices on the bus, for the length of a block. They end with it, but for those that a handle keeps open.
class UsbDeviceList {
public:
  explicit UsbDeviceList(libusb_context* context) : count_(libusb_get_device_list(context, &devices_)) {}
  ~UsbDeviceList() {
    if (devices_) libusb_free_device_list(devices_, 1);
  }
  UsbDeviceList(const UsbDeviceList&) = delete;
  UsbDeviceList& operator=(const UsbDeviceList&) = delete;

  /// VI_SUCCESS, VI_ERROR_RSRC_NFOUND when the bus is empty, or the translated failure of libusb.
  ViStatus status() const {
    if (count_ < 0) return libusb2QVvisaStatus(static_cast<int>(count_));
    return count_ == 0 ? VI_ERROR_RSRC_NFOUND : VI_SUCCESS;
  }
  std::span<libusb_device* const> devices() const { return {devices_, count_ > 0 ? static_cast<size_t>(count_) : 0}; }

private:
  libusb_device** devices_ = nullptr;  // before count_, whose initialiser fills it
  ssize_t count_;
};

/// The interfaces of a configuration, in the order of their indices.
inline std::span<const libusb_interface> usbInterfaces(const libusb_config_descriptor& config) {
  return {config.interface, config.interface ? config.bNumInterfaces : size_t{0}};
}

/// The alternate setting that an interface starts in, the only one that the library looks at; null if there is none.
inline const libusb_interface_descriptor* firstAlternateSetting(const libusb_interface& interface) {
  return interface.num_altsetting > 0 ? interface.altsetting : nullptr;
}
