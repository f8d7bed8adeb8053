/// What a search sees of USB.
#include "libusbDouble.h"

namespace {

using UsbEnumeration = UsbTest;
using Entries = std::vector<std::string>;

/// The entries as product, interface number, class, protocol and serial number; empty if there is no list.
Entries enumerate(ViStatus expected = VI_SUCCESS) {
  QVvisa_devIntfListUsb_t* list = nullptr;
  EXPECT_EQ(QVvisa_GetAllDevIntfUsb(&list), expected);
  Entries entries;
  for (int i = 0; list && i < list->numDevIntfUsb; ++i) {
    const QVvisa_devIntfUsb_t& entry = list->intfUsb[i];
    EXPECT_EQ(entry.vid, 0x7C5A);
    char line[160];
    snprintf(line, sizeof line, "%x %d %02x/%x/%x %s", entry.pid, entry.bInterfaceNumber, entry.bInterfaceClass,
             entry.bInterfaceSubClass, entry.bInterfaceProtocol, reinterpret_cast<const char*>(entry.sn));
    entries.emplace_back(line);
  }
  QVvisa_closeDevIntfListElemUsb(&list);
  return entries;
}

TEST_F(UsbEnumeration, ListsTheInterfacesOfOneVendor) {
  bus.add(instrument("FOREIGN")).descriptor.idVendor = 0x1234;
  bus.add(instrument("SN1", {kHid, kUsb488, {0xFE, 3, 0, {}}}));
  bus.add(instrument("CLASSED")).descriptor.bDeviceClass = 0xEF;
  bus.add(instrument("EMPTY", {}));
  bus.add(instrument(nullptr)).descriptor.idProduct = 0x99;
  open(kInstr);  // doesn't hide the device
  EXPECT_EQ(enumerate(), (Entries{"42 0 03/0/0 SN1", "42 1 fe/3/1 SN1", "42 2 fe/3/0 SN1", "99 0 fe/3/1 "}));
}

TEST_F(UsbEnumeration, NothingToList) {
  EXPECT_EQ(enumerate(VI_ERROR_RSRC_NFOUND), Entries());
  bus.add(instrument()).descriptor.idVendor = 0x1234;
  bus.add(instrument("SN1", {}));
  EXPECT_EQ(enumerate(VI_ERROR_RSRC_NFOUND), Entries());
}

TEST_F(UsbEnumeration, ADeviceThatFailsDropsOutAlone) {
  bus.add(instrument("SN1"));
  bus.add(instrument("SN2"));
  const std::string one = "42 0 fe/3/1 SN1", two = "42 0 fe/3/1 SN2", noSerial = "42 0 fe/3/1 ";
  // The calls: the list, a descriptor and a configuration each, then the serial numbers.
  const std::pair<size_t, Entries> rows[] = {{1, {two}}, {2, {two}}, {3, {one}}, {4, {one}}, {5, {noSerial, two}}};
  for (const auto& [failAt, entries] : rows) {
    bus.fail(failAt, LIBUSB_ERROR_ACCESS);
    EXPECT_EQ(enumerate(), entries) << failAt;
  }
  bus.fail(0, LIBUSB_ERROR_ACCESS);
  EXPECT_EQ(enumerate(VI_ERROR_NPERMISSION), Entries()) << "no list";
  // What stood in the buffer before doesn't show.
  const UsbDeviceList devices(QVlibusbCtx);
  Bytes serial(128, 'x');
  bus.fail(0, LIBUSB_ERROR_ACCESS);
  QV_viGetDeviceSN(devices.devices()[0], serial.data(), 3);
  EXPECT_EQ(serial, Bytes(128));
}

}  // namespace
