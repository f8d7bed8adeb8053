#include "QVvisaUSB.h"

namespace {

using Device = QVvisa_device_t;

/// What only instruments that speak USBTMC can do.
template <typename Operation>
ViStatus onUsbtmc(Device* device, Operation operation) {
  return device->tusbDev->isTMC ? operation(device->tusbDev) : VI_ERROR_NSUP_OPER;
}

}  // namespace

const QVvisa_backend_t QVvisa_usbBackend = {
    .deviceType = QVVISA_DEVICE_TYPE_USB,
    .present = [](const Device* device) { return device->tusbDev != nullptr; },
    .found = [](const Device* device) { return device->foundUsbDev != 0; },
    .init = [](Device* device) { return QVvisa_initUsbDevListElem(&device->tusbDev); },
    .close = [](Device* device) { QVvisa_closeUsbDevListElem(&device->tusbDev); },
    .parseName =
        [](Device* device, char* name) {
          const ViStatus status = QVvisa_OpenHelperParseNameUsb(name, device->tusbDev);
          device->foundUsbDev = status == VI_SUCCESS;
          return status;
        },
    .findOpen = [](Device* device) { return QVvisa_OpenHelperFindOpenDevUsb(device->tusbDev); },
    .registered = [](Device* device, ViSession vi) { device->tusbDev->usbID = vi; },
    .getAttribute = QVvisa_UsbGetAttribute,
    .setAttribute = [](Device* device, ViAttr name,
                       ViAttrState value) { return QVvisa_UsbSetAttribute(device->tusbDev, name, value); },
    .read = [](Device* device, ViPBuf buf, ViUInt32 cnt,
               ViPUInt32 retCnt) { return QVvisa_UsbRead(device->tusbDev, buf, cnt, retCnt); },
    .write = [](Device* device, ViBuf buf, ViUInt32 cnt,
                ViPUInt32 retCnt) { return QVvisa_UsbWrite(device->tusbDev, buf, cnt, retCnt); },
    .readStatusByte =
        [](Device* device, ViPUInt16 status) {
          return onUsbtmc(device, [&](QVvisa_usb_device_t* usb) { return QVvisa_UsbReadSTB(usb, status); });
        },
    .clear = [](Device* device) { return onUsbtmc(device, QVvisa_UsbClear); },
    .remoteEnable = [](Device* device, ViUInt16 mode) { return QVvisa_UsbGpibControlREN(device->tusbDev, mode); },
    .controlOut =
        [](Device* device, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue, ViUInt16 wIndex, ViUInt16 wLength,
           ViBuf buf) {
          return QVvisa_UsbControlOut(device->tusbDev, bmRequestType, bRequest, wValue, wIndex, wLength, buf);
        },
    .controlIn =
        [](Device* device, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue, ViUInt16 wIndex, ViUInt16 wLength,
           ViPBuf buf, ViPUInt16 retCnt) {
          return QVvisa_UsbControlIn(device->tusbDev, bmRequestType, bRequest, wValue, wIndex, wLength, buf, retCnt);
        },
    .enumerate = [](QVvisa_devList_t* found) { return QVvisa_GetAllDevIntfUsb(&found->usbList); },
};
