/// The grammar of USB resource names, and class codes.
#include "QVvisaUSB.h"
#include "support/testing.h"

namespace {

const std::string kStart = "USB0::1::2::", kLongest(127, 's');

TEST(UsbNames, AcceptsTheGrammar) {
  // A name, and behind the arrow IDs, serial number, kind and interface.
  const std::string rows[] = {
      // Forms.
      "USB0::0x7C5A::0x1234::SN1 -> 31834 4660 [SN1] INSTR -1", kStart + "S::INSTR -> 1 2 [S] INSTR -1",
      kStart + "S::RAW -> 1 2 [S] RAW -1", kStart + "S::3::INSTR -> 1 2 [S] INSTR 3",
      kStart + "S::259::RAW -> 1 2 [S] RAW 259", kStart + "S:: -3x::RAW -> 1 2 [S] RAW -3",
      "xUSB0y::1::2::S::INSTR -> 1 2 [S] INSTR -1", "USB0:1::1::2::a:b c::RAW -> 1 2 [a:b c] RAW -1",
      // Numbers.
      "USB0::31834::0x4d2::S -> 31834 1234 [S] INSTR -1", "USB0::0X7C5A::0x12345::S -> 0 9029 [S] INSTR -1",
      "USB0::id 0xA end::\t+7 end::S -> 10 7 [S] INSTR -1", "USB0::-1::0xFFFFFFFF::S -> 65535 65535 [S] INSTR -1",
      "USB0::-2147483648::2147483647::S -> 0 65535 [S] INSTR -1", "USB0::0x0x12::2::S -> 0 2 [S] INSTR -1",
      // Serial numbers.
      kStart + " -> 1 2 [] INSTR -1", kStart + "::RAW -> 1 2 [] RAW -1", kStart + "0x55::RAW -> 1 2 [0x55] RAW -1",
      kStart + kLongest + " -> 1 2 [" + kLongest + "] INSTR -1",
      kStart + kLongest + "::RAW -> 1 2 [" + kLongest + "] RAW -1"};
  for (const std::string& row : rows) {
    std::string name = row.substr(0, row.find(" -> "));
    QVvisa_usb_device_t device;
    ASSERT_EQ(QVvisa_OpenHelperParseNameUsb(name.data(), &device), VI_SUCCESS) << row;
    EXPECT_EQ(name + " -> " + std::to_string(device.vid) + ' ' + std::to_string(device.pid) + " [" + device.sn + "] " +
                  (device.isTMC ? "INSTR " : "RAW ") + std::to_string(device.usedIntf),
              row);
  }
}

TEST(UsbNames, RejectsEverythingElse) {
  QVvisa_usb_device_t device;
  const auto expectRejected = [&](std::string name) {
    EXPECT_EQ(QVvisa_OpenHelperParseNameUsb(name.data(), &device), VI_ERROR_INV_RSRC_NAME) << name;
  };
  for (const char* name :
       {"", "USB0", "USB0::1::2", "USB1::1::2::S::INSTR", "USB::1::2::S::INSTR", "usb0::1::2::S::INSTR", "ASRL1::INSTR",
        "USB0::::2::S", "USB0::x::2::S", "USB0::1::+-2::S", "USB0::0xZ::2::S", "USB0::0x 1::2::S", "USB0::0x-1::2::S",
        "USB0::0x100000000::2::S", "USB0::1::2147483648::S"}) {
    expectRejected(name);
  }
  for (const char* rest : {"99999999999::RAW", "INSTRX", "RAWX", "instr", "3", "3::", "3::RAW::", "::RAW", "x3::RAW"}) {
    expectRejected(kStart + "S::" + rest);
  }
  for (const char* rest : {"s", "s::INSTR"}) expectRejected(kStart + kLongest + rest);
}

TEST(UsbNames, ClassCodes) {
  EXPECT_STREQ(QVvisa_GetUSBClassHelperName(QV_CLASS_TMC), "Test and Measurement Device");
  EXPECT_STREQ(QVvisa_GetUSBClassHelperName(QV_CLASS_DFU_RUNTIME), "Device Firmware Upgrade - Runtime Mode");
  EXPECT_STREQ(QVvisa_GetUSBClassHelperName(QV_CLASS_DFU_DFU), "Device Firmware Upgrade - DFU Mode");
  EXPECT_STREQ(QVvisa_GetUSBClassHelperName(QV_CLASS_HID), "Human Interface Device");
  for (int code : {QV_CLASS_UNKNOWN, 0x00030101, 0x00FE0102, 0}) {
    EXPECT_STREQ(QVvisa_GetUSBClassHelperName(code), "no USB class found");
  }
  std::vector<int> known;
  for (int i = 0; i < 256; ++i) {
    const int code = QVvisa_GetUSBClass(static_cast<uint8_t>(i), 2, 3);
    if (code != QV_CLASS_UNKNOWN) known.push_back(i);
    EXPECT_TRUE(code == QV_CLASS_UNKNOWN || code == (i << 16 | 0x0203)) << i;
  }
  EXPECT_EQ(known, (std::vector<int>{1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 13, 14, 15, 220, 224, 254, 255}));
}

}  // namespace
