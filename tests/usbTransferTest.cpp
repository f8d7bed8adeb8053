/// Message transfer: the bytes on the wire, responses that lie, time-outs and what follows them.
#include "libusbDouble.h"
#include "support/testing.h"

#include <numeric>

namespace {

class UsbTransfer : public UsbTest {
protected:
  UsbTransfer() { std::iota(payload.begin(), payload.end(), uint8_t{1}); }

  ViStatus read(ViUInt32 cnt) { return QVvisa_UsbRead(session, buffer.data(), cnt, &moved); }
  ViStatus write(ViUInt32 cnt) { return QVvisa_UsbWrite(session, payload.data(), cnt, &moved); }

  libusb_device& device = bus.add(instrument());
  QVvisa_usb_device_t* session = open(kInstr);
  Bytes payload = Bytes(5000), buffer = Bytes(5000);
  ViUInt32 moved = 99;
};

/// The Bulk-OUT header that comes next: message ID 1 for a message, which it ends, or 2 for a request.
Bytes nextHeader(uint8_t message, ViUInt32 size) {
  const auto tag = static_cast<uint8_t>(QVvisa_GetNextbTag() % 255 + 1);
  Bytes header = {message, tag, static_cast<uint8_t>(~tag), 0, 0, 0, 0, 0, message == 1, 0, 0, 0};
  for (size_t i = 0; i < 4; ++i) header[4 + i] = static_cast<uint8_t>(size >> 8 * i);
  return header;
}

constexpr ViStatus kStalled = QVVI_ERR_CTL_TRANSFER_STALLED;

TEST_F(UsbTransfer, TagsGoRoundAndLeaveOutTheirReservedValues) {
  const unsigned char first = QVvisa_GetNextbTag(), firstSTB = QVvisa_GetNextSTBbTag();
  for (int i = 1; i <= 600; ++i) EXPECT_EQ(QVvisa_GetNextbTag(), (first - 1 + i) % 255 + 1);
  for (int i = 1; i <= 300; ++i) EXPECT_EQ(QVvisa_GetNextSTBbTag(), (firstSTB - 2 + i) % 126 + 2);
}

TEST_F(UsbTransfer, WritesOneMessageInOneTransfer) {
  session->sendEndEna = VI_FALSE;  // without an effect
  for (ViUInt32 length : {0U, 1U, 6U, 8U, 4083U, 4084U}) {
    Bytes expected = nextHeader(1, length);
    ASSERT_EQ(write(length), VI_SUCCESS);
    EXPECT_EQ(moved, length);
    expected.insert(expected.end(), payload.begin(), payload.begin() + length);
    expected.resize((expected.size() + 3) / 4 * 4);
    EXPECT_EQ(bus.transfers.back().sent, expected);
    EXPECT_EQ(bus.takePorts(), Bytes{0x02});
  }
}

TEST_F(UsbTransfer, RefusalsSendNothing) {
  const unsigned char tag = QVvisa_GetNextbTag();
  for (ViUInt32 length : {4085U, 0xFFFFFFFDU, 0xFFFFFFFFU}) EXPECT_EQ(write(length), VI_ERROR_INV_LENGTH);
  EXPECT_EQ(QVvisa_UsbWrite(session, nullptr, 0, &moved), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(QVvisa_UsbRead(session, nullptr, 1, &moved), VI_ERROR_INV_OBJECT);
  session->usedBulkOutEP = QVVISA_UNUSED_EP;
  EXPECT_EQ(QVvisa_UsbWrite(session, nullptr, 8, &moved), VI_ERROR_INV_ACC_MODE);
  EXPECT_EQ(read(8), VI_ERROR_INV_ACC_MODE);
  session = open(kInstrument + "0::RAW");
  EXPECT_EQ(QVvisa_UsbWrite(session, nullptr, 1, &moved), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(write(0x80000000U), VI_ERROR_INV_LENGTH);
  session->usedBulkInEP = QVVISA_UNUSED_EP;
  EXPECT_EQ(QVvisa_UsbRead(session, nullptr, 8, &moved), VI_ERROR_INV_ACC_MODE);
  EXPECT_EQ(QVvisa_InitiateAbortBulkIn(session, 1), VI_ERROR_INV_ACC_MODE);
  EXPECT_EQ(QVvisa_GetNextbTag(), tag % 255 + 1);
  EXPECT_EQ(moved, 99U);
  EXPECT_TRUE(bus.transfers.empty());
}

TEST_F(UsbTransfer, AsksForAResponseAndDeliversIt) {
  session->termCharEna = VI_TRUE;  // without an effect
  session->usbTimo_ms = 123;
  device.response = {'a', '\n', 'b'};
  const Bytes request = nextHeader(2, 0x01020304);
  ASSERT_EQ(read(0x01020304), VI_SUCCESS);
  EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + moved), device.response);
  EXPECT_EQ(bus.transfers[0].sent, request);
  EXPECT_EQ(bus.transfers[1].length, 2048);
  EXPECT_EQ(bus.transfers[1].timeout, 123U);
  EXPECT_EQ(bus.takePorts(), (Bytes{0x02, 0x81}));
}

TEST_F(UsbTransfer, JudgesEveryResponse) {
  constexpr int kNone = -2, kTimeout = -1;
  struct Row {
    ViUInt32 claimed;  // TransferSize in the header
    int first;         // payload bytes of the first transfer; a negative number cuts the header
    int second;        // bytes of the second transfer
    ViUInt32 cnt;
    bool good;
    size_t at = 0;     // header byte that is spoilt ...
    uint8_t flip = 0;  // ... by these bits
  };
  std::vector<Row> rows = {
      // Padding, exactly what was asked for, unknown attributes, splits, the most there is.
      {100, 103, kNone, 1000, true},
      {100, 100, kNone, 100, true},
      {100, 100, kNone, 1000, true, 8, 0xFE},
      {20, 0, 20, 1000, true},
      {20, 19, 1, 20, true},
      {3060, 2036, 1024, 4000, true},
      // More than asked for; not the end, though all that was asked for.
      {100, 100, kNone, 50, false},
      {50, 50, kNone, 50, false, 8, 1},
      // Nothing, a cut header, an empty transfer.
      {0, 20, kNone, 1000, false},
      {100, -1, kNone, 1000, false},
      {100, -12, kNone, 1000, false},
      // A second part with padding, too short, missing, or of a response that is too long.
      {20, 0, 24, 1000, false},
      {20, 0, 19, 1000, false},
      {20, 0, kTimeout, 1000, false},
      {3061, 2036, 1024, 4000, false},
      {100, 10, 90, 50, false},
      {0xFFFFFFFF, 2036, 1024, 0xFFFFFFFF, false},
  };
  // Another message, tag or inverse; reserved bytes.
  for (size_t at : {0, 1, 2, 3, 9, 10, 11}) rows.push_back({100, 100, kNone, 1000, false, at, 1});
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows.data());
    device.script.clear();
    device.script[0x81].emplace_back([&](const Transfer&) {
      Bytes response = device.lastOut;
      memcpy(&response[4], &row.claimed, 4);
      response[8] = 1;
      response[row.at] ^= row.flip;
      response.insert(response.end(), payload.begin(), payload.end());
      response.resize(12 + static_cast<size_t>(row.first));
      return Reply{LIBUSB_SUCCESS, response};
    });
    const auto rest = payload.begin() + std::max(row.first, 0);
    device.replies(0x81, row.second < 0 ? Reply{LIBUSB_ERROR_TIMEOUT} : Reply{0, Bytes(rest, rest + row.second)});
    moved = 99;
    std::fill(buffer.begin(), buffer.end(), uint8_t{0xEE});
    EXPECT_EQ(read(row.cnt), row.good ? VI_SUCCESS : VI_ERROR_IO);
    EXPECT_EQ(moved, row.good ? row.claimed : 99);
    const auto delivered = row.good ? static_cast<ptrdiff_t>(row.claimed) : 0;
    EXPECT_TRUE(std::equal(buffer.begin(), buffer.begin() + delivered, payload.begin()));
    EXPECT_EQ(std::count(buffer.begin() + delivered, buffer.end(), 0xEE), 5000 - delivered);
    EXPECT_EQ(bus.takePorts().size(), row.second == kNone ? 2U : 3U);
  }
}

TEST_F(UsbTransfer, CountsWhatWasSentBeforeATimeOut) {
  for (const auto& [accepted, counted] : {std::pair{0, 0U}, {12, 0U}, {15, 3U}, {20, 6U}}) {
    device.replies(0x02, {LIBUSB_ERROR_TIMEOUT, {}, accepted});
    EXPECT_EQ(write(6), VI_ERROR_TMO);
    EXPECT_EQ(moved, counted);
  }
  // An incomplete request for a response counts as a stall.
  const std::pair<Reply, ViStatus> rows[] = {{{LIBUSB_SUCCESS, {}, 11}, kStalled},
                                             {{LIBUSB_ERROR_TIMEOUT, {}, 11}, kStalled},
                                             {{LIBUSB_ERROR_TIMEOUT, {}, 12}, VI_ERROR_TMO}};
  for (const auto& [reply, status] : rows) {
    device.replies(0x02, reply);
    EXPECT_EQ(read(8), status);
  }
  EXPECT_EQ(bus.takePorts(), Bytes(7, 0x02));
}

TEST_F(UsbTransfer, AbortsAfterATimeOut) {
  const Reply notInProgress{0, {USBTMC_STATUS_TRANSF_NOT_IN_PROG, 0}}, pending{0, {USBTMC_STATUS_PENDING, 0}};
  const Reply full{0, Bytes(2048)}, part{0, Bytes(2047)}, failed{0, {USBTMC_STATUS_FAILED}}, stall{LIBUSB_ERROR_PIPE};
  const struct {
    uint8_t port;  // gives this reply ...
    Reply reply;
    int times;  // ... so often, then behaves
    ViStatus status;
    // After the time-out: 3 initiates the abort, 0x81 drains, 4 checks, 1 clears the halt.
    Bytes ports;
    size_t delays = 0;
  } rows[] = {
      {3, notInProgress, 4, VI_ERROR_TMO, {3, 3, 3, 3, 3, 0x81, 4, 1}, 4},
      {3, notInProgress, 5, VI_ERROR_RESP_PENDING, {3, 3, 3, 3, 3}, 5},
      {3, failed, 1, VI_ERROR_INV_MODE, {3}},
      {3, {}, 1, VI_ERROR_TMO, {3, 0x81, 4, 1}},
      {3, stall, 1, kStalled, {3}},
      {0x81, full, 2, VI_ERROR_TMO, {3, 0x81, 0x81, 0x81, 4, 1}},
      {0x81, part, 1, VI_ERROR_TMO, {3, 0x81, 4, 1}},
      {4, pending, 4, VI_ERROR_TMO, {3, 0x81, 4, 4, 4, 4, 4, 1}, 4},
      {4, pending, 5, VI_ERROR_RESP_PENDING, {3, 0x81, 4, 4, 4, 4, 4}, 5},
      {4, failed, 1, VI_ERROR_TMO, {3, 0x81, 4, 1}},
      {4, {LIBUSB_ERROR_NO_DEVICE}, 1, VI_SUCCESS_DEV_NPRESENT, {3, 0x81, 4}},
      {1, stall, 1, VI_ERROR_TMO, {3, 0x81, 4, 1}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    bus.delays.clear();
    device.script.clear();
    device.replies(0x81, {LIBUSB_ERROR_TIMEOUT, Bytes(50)});
    device.replies(row.port, row.reply, row.times);
    device.replies(0x81, {LIBUSB_ERROR_TIMEOUT});
    EXPECT_EQ(read(8), row.status);
    EXPECT_EQ(moved, 99U);
    EXPECT_EQ(bus.delays, std::vector<unsigned int>(row.delays, 200));
    const uint16_t tag = bus.transfers[0].sent[1];
    bus.transfers.erase(bus.transfers.begin(), bus.transfers.begin() + 2);
    const std::map<uint8_t, std::vector<int>> requests = {
        {3, {0xA2, tag, 0x81, 2}}, {4, {0xA2, 0, 0x81, 8}}, {1, {0x02, 0, 0x02, 0}}, {0x81, {0, 0, 0, 2048}}};
    for (const Transfer& t : bus.transfers) {
      EXPECT_EQ((std::vector<int>{t.requestType, t.value, t.index, t.length}), requests.at(t.port));
    }
    EXPECT_EQ(bus.takePorts(), row.ports);
  }
}

TEST_F(UsbTransfer, TheDrainEndsOnADeviceThatNeverRunsDry) {
  device.replies(0x81, {LIBUSB_ERROR_TIMEOUT});
  device.replies(0x81, {LIBUSB_SUCCESS, Bytes(2048)}, 2000);
  EXPECT_EQ(read(8), VI_ERROR_TMO);
  EXPECT_EQ(std::ranges::count(bus.takePorts(), 0x81), 1 + 1024);
}

TEST_F(UsbTransfer, RawSessionsMovePlainBytes) {
  session = open(kInstrument + "0::RAW");
  EXPECT_EQ(write(2), VI_SUCCESS);
  EXPECT_EQ(bus.transfers.back().sent, (Bytes{1, 2}));
  device.replies(0x02, {LIBUSB_ERROR_TIMEOUT, {}, 1});
  EXPECT_EQ(write(2), VI_ERROR_TMO);
  EXPECT_EQ(moved, 1U);
  EXPECT_EQ(QVvisa_UsbWrite(session, nullptr, 0, nullptr), VI_SUCCESS);
  // Only an end in order or by time-out counts the bytes.
  const std::tuple<Reply, ViStatus, ViUInt32> rows[] = {{{LIBUSB_SUCCESS, Bytes(10)}, VI_SUCCESS, 10},
                                                        {{LIBUSB_ERROR_TIMEOUT, Bytes(7)}, VI_ERROR_TMO, 7},
                                                        {{LIBUSB_ERROR_PIPE, Bytes(5)}, kStalled, 7}};
  for (const auto& [reply, status, counted] : rows) {
    device.replies(0x81, reply);
    EXPECT_EQ(read(64), status);
    EXPECT_EQ(moved, counted);
  }
  EXPECT_EQ(bus.takePorts(), (Bytes{0x02, 0x02, 0x02, 0x81, 0x81, 0x81}));
}

TEST_F(UsbTransfer, AttributesMayChangeDuringTransfers) {
  std::thread other([this] {
    for (ViAttrState i = 1; i <= 2000; ++i) {
      QVvisa_UsbSetAttribute(session, VI_ATTR_TMO_VALUE, i);
      QVvisa_UsbSetAttribute(session, VI_ATTR_USB_BULK_IN_PIPE, 0x81);
    }
  });
  for (int i = 0; i < 500; ++i) EXPECT_EQ(read(8), VI_SUCCESS);
  other.join();
}

}  // namespace
