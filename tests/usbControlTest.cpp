/// Control requests: status byte, clear, remote enable and composed requests.
#include "libusbDouble.h"

namespace {

class UsbControl : public UsbTest {
protected:
  libusb_device& device = bus.add(instrument("SN1", {kHid, kUsb488}));
  QVvisa_usb_device_t* session = open(kInstr);
};

TEST_F(UsbControl, StatusByte) {
  constexpr uint8_t kTag = 0xFF;  // stands for the request's tag
  const Reply notified{LIBUSB_SUCCESS, {0x99, 0x40}};
  const struct {
    Bytes answer;
    Reply notification;
    ViStatus status;
    ViUInt16 value;
    bool interruptIn;
  } rows[] = {{{0x81, kTag, 0xA5}, {}, VI_SUCCESS, 0x00A5, false},
              {{1, 1, 0xA5}, {}, VI_ERROR_IO, 0x1234, false},
              {{1, kTag}, {}, VI_ERROR_IO, 0x1234, false},
              {{}, {}, VI_SUCCESS, 0x1234, false},
              {{1, kTag}, notified, VI_SUCCESS, 0x0040, true},
              {{1, 1, 0}, notified, VI_ERROR_IO, 0x1234, true},
              {{1}, notified, VI_ERROR_IO, 0x1234, true},
              {{1, kTag, 0}, {LIBUSB_SUCCESS, {0x99}}, VI_ERROR_IO, 0x1234, true},
              {{1, kTag, 0}, {LIBUSB_ERROR_TIMEOUT, {0x99, 0x40}}, VI_ERROR_TMO, 0x1234, true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    session->usedIntInEP = row.interruptIn ? 0 : QVVISA_UNUSED_EP;
    device.script.clear();
    const int before = QVvisa_GetNextSTBbTag();
    device.script[USBTMC_REQ_READ_STATUS_BYTE].emplace_back([&](const Transfer& transfer) {
      EXPECT_EQ(transfer.value, before == 127 ? 2 : before + 1);
      EXPECT_EQ(transfer.length, 3);
      Bytes answer = row.answer;
      std::replace(answer.begin(), answer.end(), kTag, static_cast<uint8_t>(transfer.value));
      return Reply{LIBUSB_SUCCESS, answer};
    });
    device.replies(0x83, row.notification);
    ViUInt16 status = 0x1234;
    EXPECT_EQ(QVvisa_UsbReadSTB(session, &status), row.status);
    EXPECT_EQ(status, row.value);
    EXPECT_EQ(bus.takePorts().size(), row.interruptIn ? 2U : 1U);
  }
}

TEST_F(UsbControl, Clear) {
  // The answers to the two requests, the status, and how many of them are sent.
  const std::tuple<Bytes, Bytes, ViStatus, size_t> rows[] = {
      {{1}, {0x80, 0xFE}, VI_SUCCESS, 2},      {{1}, {1}, VI_SUCCESS, 2},
      {{1}, {2, 0}, QVVI_NEEDS_EQUIVALENT, 2}, {{1}, {1, 1}, QVVI_NEEDS_EQUIVALENT, 2},
      {{2}, {1, 0}, QVVI_NEEDS_EQUIVALENT, 1}, {{}, {2, 0}, VI_SUCCESS, 1}};
  for (const auto& [initiate, check, status, requests] : rows) {
    device.script.clear();
    device.replies(USBTMC_REQ_INITIATE_CLEAR, {LIBUSB_SUCCESS, initiate});
    device.replies(USBTMC_REQ_CHECK_CLEAR_STATUS, {LIBUSB_SUCCESS, check});
    EXPECT_EQ(QVvisa_UsbClear(session), status) << testing::PrintToString(initiate) << testing::PrintToString(check);
    EXPECT_EQ(bus.takePorts().size(), requests);
  }
}

TEST_F(UsbControl, RemoteEnable) {
  // Requests and their values, by mode.
  const std::vector<int> modes[] = {{160, 0},         {160, 1},         {161, 0, 160, 0}, {160, 1},
                                    {160, 1, 162, 0}, {160, 1, 162, 0}, {161, 0},         {}};
  session->usbTimo_ms = 77;
  for (size_t mode = 0; mode < std::size(modes); ++mode) {
    const ViStatus expected = mode < 7 ? VI_SUCCESS : VI_ERROR_INV_MODE;
    EXPECT_EQ(QVvisa_UsbGpibControlREN(session, static_cast<ViUInt16>(mode)), expected);
    std::vector<int> sent;
    for (const Transfer& transfer : std::exchange(bus.transfers, {})) {
      EXPECT_EQ(transfer.timeout, 77U);
      EXPECT_TRUE(transfer.requestType == 0xA1 && transfer.index == 1 && transfer.length == 1);
      sent.insert(sent.end(), {transfer.port, transfer.value});
    }
    EXPECT_EQ(sent, modes[mode]) << mode;
  }
  for (uint8_t failing : {USBTMC_REQ_GO_TO_LOCAL, USBTMC_REQ_REN_CONTROL}) {
    for (const Bytes& refusal : {Bytes{USBTMC_STATUS_FAILED}, Bytes()}) {
      device.replies(failing, {LIBUSB_SUCCESS, refusal});
      EXPECT_EQ(QVvisa_UsbGpibControlREN(session, VI_GPIB_REN_DEASSERT_GTL), VI_ERROR_IO);
      EXPECT_EQ(bus.takePorts().back(), failing);
    }
  }
}

TEST_F(UsbControl, ComposedRequests) {
  ViByte data[64] = {};
  ASSERT_EQ(QVvisa_UsbControlOut(session, 0x0140, -1, 0x1234, 0x5678, 3, data), VI_SUCCESS);
  EXPECT_TRUE(bus.transfers.back().requestType == 0x40 && bus.transfers.back().port == 0xFF);
  ViUInt16 received = 99;
  device.replies(9, {LIBUSB_ERROR_PIPE});
  EXPECT_EQ(QVvisa_UsbControlIn(session, 0xC0, 9, 0, 0, 64, data, &received), QVVI_ERR_CTL_TRANSFER_STALLED);
  EXPECT_EQ(received, 0);
  EXPECT_EQ(QVvisa_UsbControlIn(session, 0xC0, 9, 0, 0, 0, nullptr, nullptr), VI_SUCCESS);
  EXPECT_EQ(bus.takePorts().size(), 3U);
  EXPECT_EQ(QVvisa_UsbControlIn(session, 0xC0, 9, 0, 0, 1, nullptr, &received), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(QVvisa_UsbControlOut(session, 0x40, 9, 0, 0, 1, nullptr), VI_ERROR_INV_OBJECT);
  EXPECT_TRUE(bus.transfers.empty());
}

}  // namespace
