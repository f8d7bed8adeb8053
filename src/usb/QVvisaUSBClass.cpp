#include "QVvisaUSBClass.h"

#include <algorithm>

namespace {

/// Without LIBUSB_CLASS_MISCELLANEOUS, which only newer versions of libusb name.
constexpr uint8_t kKnownClasses[] = {
    LIBUSB_CLASS_AUDIO,
    LIBUSB_CLASS_COMM,
    LIBUSB_CLASS_HID,
    LIBUSB_CLASS_PHYSICAL,
    LIBUSB_CLASS_IMAGE,
    LIBUSB_CLASS_PRINTER,
    LIBUSB_CLASS_MASS_STORAGE,
    LIBUSB_CLASS_HUB,
    LIBUSB_CLASS_DATA,
    LIBUSB_CLASS_SMART_CARD,
    LIBUSB_CLASS_CONTENT_SECURITY,
    LIBUSB_CLASS_VIDEO,
    LIBUSB_CLASS_PERSONAL_HEALTHCARE,
    LIBUSB_CLASS_DIAGNOSTIC_DEVICE,
    LIBUSB_CLASS_WIRELESS,
    LIBUSB_CLASS_APPLICATION,
    LIBUSB_CLASS_VENDOR_SPEC,
};

struct ClassName {
  int code;
  const char* name;
};

/// The end row stands for every other code.
constexpr ClassName kClassNames[] = {
    {QV_CLASS_TMC, "Test and Measurement Device"},
    {QV_CLASS_TMC_USB488, "USB488 Test and Measurement Device"},
    {QV_CLASS_DFU_RUNTIME, "Device Firmware Upgrade - Runtime Mode"},
    {QV_CLASS_DFU_DFU, "Device Firmware Upgrade - DFU Mode"},
    {QV_CLASS_HID, "Human Interface Device"},
    {QV_CLASS_UNKNOWN, "no USB class found"},
};

}  // namespace

int QVvisa_GetUSBClass(uint8_t class_, uint8_t subClass, uint8_t protocol) {
  if (std::ranges::find(kKnownClasses, class_) == std::end(kKnownClasses)) return QV_CLASS_UNKNOWN;
  return class_ << 16 | subClass << 8 | protocol;
}

char* QVvisa_GetUSBClassHelperName(int USBclass) {
  const ClassName* row = kClassNames;
  while (row->code != USBclass && row->code != QV_CLASS_UNKNOWN) ++row;
  return const_cast<char*>(row->name);
}

int QVvisa_GetUSBClassHelper(QVvisa_usb_device_t* pUsbDev) {
  const libusb_device_descriptor& device = pUsbDev->devDesc;
  if (device.bDeviceClass != LIBUSB_CLASS_PER_INTERFACE) {
    return QVvisa_GetUSBClass(device.bDeviceClass, device.bDeviceSubClass, device.bDeviceProtocol);
  }
  const QVvisa_intfDesc_t& interface = pUsbDev->intfDesc;
  return QVvisa_GetUSBClass(interface.bInterfaceClass, interface.bInterfaceSubClass, interface.bInterfaceProtocol);
}
