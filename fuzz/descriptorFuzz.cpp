/// Fuzzes the descriptors and strings of the devices on the bus: all are listed, and each listed name is opened.
#include "QVvisaFind.h"
#include "doubles.h"
#include "fuzz.h"
#include "support/libusbDouble.h"

namespace {

class Bus : public UsbTest {
public:
  explicit Bus(FuzzedDataProvider& input) {
    const int count = input.ConsumeIntegralInRange(0, 3);
    for (int i = 0; i < count; ++i) addDevice(input);
    if (input.ConsumeBool()) {
      bus.failAt = input.ConsumeIntegralInRange<std::size_t>(0, 60);
      bus.failWith = -input.ConsumeIntegralInRange(1, 13);
    }
  }
  void TestBody() override {}

  /// The names that a search would print.
  std::vector<std::string> list() {
    QVvisa_devIntfListUsb_t* found = nullptr;
    std::vector<std::string> names;
    if (QVvisa_GetAllDevIntfUsb(&found) == VI_SUCCESS) {
      require(found->numDevIntfUsb > 0, "an empty list");
      for (int i = 0; i < found->numDevIntfUsb; ++i) {
        require(std::string_view(reinterpret_cast<char*>(found->intfUsb[i].sn), 128).find('\0') < 128, "serial number");
        char name[VI_FIND_BUFLEN] = "";
        QVvisa_FindRsrcHelperPrintPuiUsb(&found->intfUsb[i], name);
        require(ends(name), "name runs over its buffer");
        names.emplace_back(name);
      }
    }
    QVvisa_closeDevIntfListElemUsb(&found);
    return names;
  }

  void use(const std::string& name) {
    QVvisa_device_t record{};
    if (QVvisa_initUsbDevListElem(&record.tusbDev) != VI_SUCCESS) return;
    QVvisa_usb_device_t& session = *record.tusbDev;
    if (QVvisa_OpenHelperParseNameUsb(ExactText(name).get(), &session) == VI_SUCCESS &&
        QVvisa_OpenHelperFindOpenDevUsb(&session) == VI_SUCCESS) {
      require(session.devHdl && session.intfDesc.bNumEndpoints <= QVVISA_MAX_ENDP && ends(session.sn) &&
                  ends(session.sManuf) && ends(session.sDev) && ends(session.sIf),
              "record of an open session");
      lookAt(record);
    }
    QVvisa_closeUsbDevListElem(&record.tusbDev);
  }

private:
  static void lookAt(QVvisa_device_t& record) {
    for (const ViAttr attribute :
         {VI_ATTR_MANF_NAME, VI_ATTR_MODEL_NAME, VI_ATTR_USB_SERIAL_NUM, VI_ATTR_USB_CLASS, VI_ATTR_USB_NUM_INTFCS,
          VI_ATTR_USB_NUM_PIPES, VI_ATTR_USB_BULK_OUT_PIPE, VI_ATTR_USB_BULK_IN_PIPE, VI_ATTR_USB_INTR_IN_PIPE,
          QV_ATTR_USB_INTR_OUT_PIPE, QV_ATTR_CLASS, QV_ATTR_CLASS_NAME, QV_ATTR_INTERFACE_NAME}) {
      char value[MAX_BUF_SIZE_ATTR];
      QVvisa_UsbGetAttribute(&record, attribute, value);
    }
    for (const ViAttr pipe : {VI_ATTR_USB_BULK_OUT_PIPE, VI_ATTR_USB_BULK_IN_PIPE, VI_ATTR_USB_INTR_IN_PIPE})
      for (const ViAttrState address : {0x00U, 0x01U, 0x81U, 0xFFFFU})
        QVvisa_UsbSetAttribute(record.tusbDev, pipe, address);
    char byte = 'x';
    ViUInt32 count = 0;
    QVvisa_UsbWrite(record.tusbDev, reinterpret_cast<ViBuf>(&byte), 1, &count);
    QVvisa_UsbRead(record.tusbDev, reinterpret_cast<ViPBuf>(&byte), 1, &count);
  }

  static DoubleInterface interface(FuzzedDataProvider& input) {
    DoubleInterface made = kUsb488;
    if (input.ConsumeBool()) return made;
    made.class_ = input.ConsumeIntegral<uint8_t>();
    made.subClass = input.ConsumeIntegral<uint8_t>();
    made.protocol = input.ConsumeIntegral<uint8_t>();
    made.string = input.ConsumeIntegral<uint8_t>();
    made.endpoints.clear();
    const auto count = input.ConsumeIntegralInRange<std::size_t>(0, 40);
    while (made.endpoints.size() < count)
      made.endpoints.push_back(endpoint(input.ConsumeIntegral<uint8_t>(), input.ConsumeIntegral<uint8_t>()));
    return made;
  }

  void addDevice(FuzzedDataProvider& input) {
    libusb_device device = instrument("SN1", {});
    const auto interfaces = input.ConsumeIntegralInRange<std::size_t>(0, 4);
    while (device.interfaces.size() < interfaces) device.interfaces.push_back(interface(input));
    if (input.ConsumeBool()) {
      device.descriptor.bDeviceClass = input.ConsumeIntegral<uint8_t>();
      device.descriptor.idVendor = input.ConsumeIntegral<uint16_t>();
      device.descriptor.idProduct = input.ConsumeIntegral<uint16_t>();
      device.descriptor.iSerialNumber = input.ConsumeIntegralInRange<uint8_t>(0, 5);
    }
    for (uint8_t index = 1; index < 5; ++index)
      if (input.ConsumeBool()) device.strings[index] = input.ConsumeRandomLengthString(260);
    bus.add(device);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  Bus bus(input);
  for (const std::string& name : bus.list()) bus.use(name);
  bus.use(input.ConsumeRemainingBytesAsString());
  return 0;
}
