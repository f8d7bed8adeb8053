// A bus that the library has never heard of, added by its file and one row: it is opened, read, written, has an
// attribute and is found by searches, beside the others.

#include "QVvisaAsrl.h"
#include "QVvisaPrivate.h"
#include "QVvisaTCPIP.h"
#include "QVvisaUSB.h"
#include "support/deviceDatabaseDouble.h"
#include "support/libusbDouble.h"
#include "support/startLibrary.h"

#include <string>
#include <vector>

extern const QVvisa_backend_t echoBackend;

std::span<const QVvisa_backend_t* const> QVvisa_backends() {
  static constexpr const QVvisa_backend_t* kBuses[] = {
      &QVvisa_usbBackend,
      &QVvisa_asrlBackend,
      &QVvisa_tcpipBackend,
      &echoBackend,
  };
  return kBuses;
}

namespace {

class FourthBus : public UsbTest {
protected:
  FourthBus() {
    bus.add(instrument("A1234"));
    deviceDatabase.devices = {serialPortDevice(3)};
    rm_ = start();
  }
  ~FourthBus() override {
    QVvisa_closeLibrary();
    deviceDatabase.clear();
  }

  std::vector<std::string> find(std::string expression) {
    ViFindList list = 0;
    ViUInt32 count = 0;
    char desc[VI_FIND_BUFLEN];
    std::vector<std::string> names;
    ViStatus status = QV_viFindRsrc(rm_, expression.data(), &list, &count, desc);
    for (; status == VI_SUCCESS; status = QV_viFindNext(list, desc)) names.emplace_back(desc);
    EXPECT_EQ(names.size(), count);
    return names;
  }

  ViSession rm_ = 0;
};

TEST_F(FourthBus, OpensTransfersAndHasAttributes) {
  std::string missing = "ECHO2::INSTR", name = "ECHO1::INSTR", message = "*IDN?";
  ViSession vi = 0;
  EXPECT_EQ(QV_viOpen(rm_, missing.data(), VI_NO_LOCK, 0, &vi), VI_ERROR_RSRC_NFOUND);
  ASSERT_EQ(QV_viOpen(rm_, name.data(), VI_NO_LOCK, 0, &vi), VI_SUCCESS);

  ViByte buffer[16];
  ViUInt32 count = 0;
  EXPECT_EQ(QV_viWrite(vi, reinterpret_cast<ViBuf>(message.data()), 5, &count), VI_SUCCESS);
  ASSERT_EQ(QV_viRead(vi, buffer, sizeof buffer, &count), VI_SUCCESS);
  EXPECT_EQ(std::string(buffer, buffer + count), message);
  EXPECT_EQ(QV_viWrite(vi, buffer, 5, &count), VI_SUCCESS);
  EXPECT_EQ(QV_viClear(vi), VI_SUCCESS);
  EXPECT_EQ(QV_viRead(vi, buffer, sizeof buffer, &count), VI_ERROR_TMO);

  ViUInt16 number = 0;
  EXPECT_EQ(QV_viGetAttribute(vi, VI_ATTR_INTF_NUM, &number), VI_SUCCESS);
  EXPECT_EQ(number, 1);
  EXPECT_EQ(QV_viSetAttribute(vi, VI_ATTR_INTF_NUM, 2), VI_ERROR_ATTR_READONLY);
  EXPECT_EQ(QV_viSetAttribute(vi, VI_ATTR_USER_DATA, 7), VI_SUCCESS) << "common to all buses";
  EXPECT_EQ(QV_viReadSTB(vi, &number), VI_ERROR_NSUP_OPER);
  EXPECT_EQ(QV_viUsbControlIn(vi, 0, 0, 0, 0, 0, nullptr, nullptr), VI_ERROR_NSUP_OPER);
  EXPECT_EQ(QV_viClose(vi), VI_SUCCESS);
}

TEST_F(FourthBus, IsFoundBehindTheOthers) {
  const std::string usb = "USB0::0x7C5A::0x0042::A1234::INSTR";
  EXPECT_EQ(find("?*INSTR"), (std::vector<std::string>{usb, "ASRL3::INSTR", "ECHO0::INSTR", "ECHO1::INSTR"}));
  EXPECT_EQ(find("?*{VI_ATTR_MODEL_CODE == 101}"), (std::vector<std::string>{"ECHO1::INSTR"}));
  EXPECT_EQ(find("ECHO[0-9]"), (std::vector<std::string>{"ECHO0::INSTR", "ECHO1::INSTR"}));
  EXPECT_EQ(find("ECHO7"), std::vector<std::string>());
}

}  // namespace
