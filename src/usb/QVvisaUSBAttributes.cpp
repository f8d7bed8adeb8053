#include "QVvisaUSBAttributes.h"

#include "QVvisaAttributes.h"
#include "QVvisaUSBClass.h"

using namespace attribute;

namespace {

using Device = QVvisa_usb_device_t;
// Reading

template <auto Field>
ViStatus interfaceNumber(Device& device, ViAttr, void* attrValue) {
  return QVvisa_deliver(attrValue, ViUInt16{device.intfDesc.*Field});
}

template <auto Purpose>
ViStatus pipe(Device& device, ViAttr, void* attrValue) {
  const QVvisa_endpDesc_t* endpoint = usbEndpoint(device, Purpose);
  return QVvisa_deliver(attrValue, endpoint ? ViUInt16{endpoint->bEndpointAddress} : ViUInt16{0xFFFF});
}

ViStatus numberOfInterfaces(Device& device, ViAttr, void* attrValue) {
  return QVvisa_deliver(attrValue, static_cast<ViUInt16>(device.isTMC ? device.numIntf - 1 : device.numIntf));
}

ViStatus classCode(Device& device, ViAttr, void* attrValue) {
  return QVvisa_deliver(attrValue, ViInt32{QVvisa_GetUSBClassHelper(&device)});
}

ViStatus stateUnknown(Device&, ViAttr, void*) {
  return VI_WARN_NULL_OBJECT;
}

// Setting

template <ViStatus (*CheckSet)(Device*, ViInt16)>
ViStatus choosePipe(Device& device, ViAttr, ViAttrState value) {
  return CheckSet(&device, static_cast<ViInt16>(value));
}

ViStatus setProtocol(Device& device, ViAttr name, ViAttrState value) {
  switch (value & 0xFFFF) {
  case VI_PROT_NORMAL:
    break;
  case VI_PROT_4882_STRS:
    if (device.isTMC) return VI_ERROR_INV_ACC_MODE;
    break;
  case VI_PROT_USBTMC_VENDOR:
    if (!device.isTMC) return VI_ERROR_INV_ACC_MODE;
    break;
  default:
    return VI_ERROR_NSUP_ATTR_STATE;
  }
  return store<&Device::usbIoProt>(device, name, value);
}

ViStatus setEndIn(Device&, ViAttr, ViAttrState value) {
  switch (value & 0xFFFF) {
  case VI_USB_END_NONE:
  case VI_USB_END_SHORT:
  case VI_USB_END_SHORT_OR_COUNT:
    return VI_ERROR_ATTR_READONLY;
  default:
    return VI_ERROR_NSUP_ATTR_STATE;
  }
}

using Interface = QVvisa_intfDesc_t;

constexpr QVvisa_attribute_t<Device> kAttributes[] = {
    {VI_ATTR_INTF_TYPE, constant<ViUInt16{VI_INTF_USB}>, notHere},
    {VI_ATTR_TMO_VALUE, field<&Device::usbTimo_ms>, store<&Device::usbTimo_ms>},
    {VI_ATTR_IO_PROT, field<&Device::usbIoProt>, setProtocol},
    {VI_ATTR_MANF_NAME, text<&Device::sManuf>, readOnly},
    {VI_ATTR_MODEL_NAME, text<&Device::sDev>, readOnly},
    {VI_ATTR_USB_INTFC_NUM, number<ViUInt16, &Device::usedIntf>, readOnly},
    {VI_ATTR_MANF_ID, field<&Device::vid>, readOnly},
    {VI_ATTR_MODEL_CODE, field<&Device::pid>, readOnly},
    {VI_ATTR_USB_SERIAL_NUM, text<&Device::sn>, readOnly},
    {VI_ATTR_USB_CLASS, interfaceNumber<&Interface::bInterfaceClass>, readOnly},
    {VI_ATTR_USB_SUBCLASS, interfaceNumber<&Interface::bInterfaceSubClass>, readOnly},
    {VI_ATTR_USB_PROTOCOL, interfaceNumber<&Interface::bInterfaceProtocol>, readOnly},
    {VI_ATTR_USB_NUM_INTFCS, numberOfInterfaces, readOnly},
    {VI_ATTR_USB_NUM_PIPES, interfaceNumber<&Interface::bNumEndpoints>, readOnly},
    {VI_ATTR_USB_CTRL_PIPE, constant<ViUInt16{0}>, readOnly},
    {VI_ATTR_USB_BULK_OUT_PIPE, pipe<&Device::usedBulkOutEP>, choosePipe<QV_viCheckSetEpBulkOut>},
    {VI_ATTR_USB_BULK_IN_PIPE, pipe<&Device::usedBulkInEP>, choosePipe<QV_viCheckSetEpBulkIn>},
    {VI_ATTR_USB_INTR_IN_PIPE, pipe<&Device::usedIntInEP>, choosePipe<QV_viCheckSetEpIntrIn>},
    {QV_ATTR_USB_INTR_OUT_PIPE, pipe<&Device::usedIntOutEP>, choosePipe<QV_viCheckSetEpIntrOut>},
    {VI_ATTR_USB_ALT_SETTING, constant<ViUInt16{0}>, readOnly},
    {VI_ATTR_USB_END_IN, constant<ViUInt16{VI_USB_END_SHORT_OR_COUNT}>, setEndIn},
    {VI_ATTR_USB_BULK_OUT_STATUS, stateUnknown, readOnly},
    {VI_ATTR_USB_BULK_IN_STATUS, stateUnknown, readOnly},
    {VI_ATTR_USB_INTR_IN_STATUS, stateUnknown, readOnly},
    {QV_ATTR_DEVICE_NAME, text<&Device::sDev>, readOnly},
    {QV_ATTR_INTERFACE_NAME, text<&Device::sIf>, readOnly},
    {QV_ATTR_CLASS, classCode, notHere},
    {QV_ATTR_CLASS_NAME, text<&Device::USBClassName>, notHere},
    {VI_ATTR_TERMCHAR, field<&Device::termChar>, store<&Device::termChar>},
    {VI_ATTR_TERMCHAR_EN, field<&Device::termCharEna>, storeBoolean<&Device::termCharEna>},
    {VI_ATTR_ASRL_BAUD, field<&Device::baudrate>, store<&Device::baudrate>},
    {VI_ATTR_SUPPRESS_END_EN, field<&Device::suppressEndEna>, storeBoolean<&Device::suppressEndEna>},
    {VI_ATTR_SEND_END_EN, field<&Device::sendEndEna>, storeBoolean<&Device::sendEndEna>},
};

ViStatus chooseEndpoint(Device& device, ViInt16 address, uint8_t type, uint8_t Device::*purpose) {
  uint8_t index = QVVISA_UNUSED_EP;
  const ViStatus status = QV_viCheckSetEp(&device, address, type, &index);
  if (status == VI_SUCCESS) storeShared(device.*purpose, index);
  return status;
}

}  // namespace

ViStatus QVvisa_UsbGetAttribute(QVvisa_device_t* pdev, ViAttr attrName, void* attrValue) {
  if (!pdev || !pdev->tusbDev) return VI_ERROR_INV_OBJECT;
  return QVvisa_getAttribute(kAttributes, *pdev->tusbDev, attrName, attrValue);
}

ViStatus QVvisa_UsbSetAttribute(QVvisa_usb_device_t* pUsbDev, ViAttr attrName, ViAttrState attrValue) {
  return QVvisa_setAttribute(kAttributes, *pUsbDev, attrName, attrValue);
}

ViStatus QV_viCheckSetEp(QVvisa_usb_device_t* pUsbDev, ViInt16 val, uint8_t typeOfEP, uint8_t* epIdx) {
  for (uint8_t i = 0; i < pUsbDev->intfDesc.bNumEndpoints; ++i) {
    const QVvisa_endpDesc_t& endpoint = pUsbDev->ep[i];
    if (endpoint.bEndpointAddress != val || endpoint.bmAttributes != typeOfEP) continue;
    *epIdx = i;
    return VI_SUCCESS;
  }
  return VI_ERROR_INV_ACC_MODE;
}

ViStatus QV_viCheckSetEpBulkOut(QVvisa_usb_device_t* pUsbDev, ViInt16 val) {
  return chooseEndpoint(*pUsbDev, val, LIBUSB_TRANSFER_TYPE_BULK, &Device::usedBulkOutEP);
}

ViStatus QV_viCheckSetEpBulkIn(QVvisa_usb_device_t* pUsbDev, ViInt16 val) {
  return chooseEndpoint(*pUsbDev, val, LIBUSB_TRANSFER_TYPE_BULK, &Device::usedBulkInEP);
}

ViStatus QV_viCheckSetEpIntrOut(QVvisa_usb_device_t* pUsbDev, ViInt16 val) {
  return chooseEndpoint(*pUsbDev, val, LIBUSB_TRANSFER_TYPE_INTERRUPT, &Device::usedIntOutEP);
}

ViStatus QV_viCheckSetEpIntrIn(QVvisa_usb_device_t* pUsbDev, ViInt16 val) {
  return chooseEndpoint(*pUsbDev, val, LIBUSB_TRANSFER_TYPE_INTERRUPT, &Device::usedIntInEP);
}
