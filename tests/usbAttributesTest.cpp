/// Attributes of USB sessions: widths, values, what can be set and what not.
#include "libusbDouble.h"
#include "support/testing.h"

namespace {

constexpr ViStatus kReadOnly = VI_ERROR_ATTR_READONLY, kUnsupported = VI_ERROR_NSUP_ATTR,
                   kNoAccess = VI_ERROR_INV_ACC_MODE, kNoState = VI_ERROR_NSUP_ATTR_STATE;
/// Every attribute, what setting it to 1 answers, and what it reads in sessions of the two kinds.
constexpr struct {
  ViAttr name;
  ViStatus set;
  std::string_view instr, raw = instr;
} kAll[] = {{VI_ATTR_INTF_TYPE, kUnsupported, "0007"},
            {VI_ATTR_TMO_VALUE, VI_SUCCESS, "00000bb8"},
            {VI_ATTR_IO_PROT, VI_SUCCESS, "0001"},
            {VI_ATTR_MANF_NAME, kReadOnly, "KESTRIX"},
            {VI_ATTR_MODEL_NAME, kReadOnly, "K-7"},
            {QV_ATTR_DEVICE_NAME, kReadOnly, "K-7"},
            {QV_ATTR_INTERFACE_NAME, kReadOnly, "IF", ""},
            {VI_ATTR_USB_SERIAL_NUM, kReadOnly, "SN1"},
            {VI_ATTR_USB_INTFC_NUM, kReadOnly, "0001", "0002"},
            {VI_ATTR_MANF_ID, kReadOnly, "7c5a"},
            {VI_ATTR_MODEL_CODE, kReadOnly, "0042"},
            {VI_ATTR_USB_CLASS, kReadOnly, "00fe", "00ff"},
            {VI_ATTR_USB_SUBCLASS, kReadOnly, "0003", "0001"},
            {VI_ATTR_USB_PROTOCOL, kReadOnly, "0001", "0002"},
            {VI_ATTR_USB_NUM_INTFCS, kReadOnly, "0002", "0003"},
            {VI_ATTR_USB_NUM_PIPES, kReadOnly, "0003", "0004"},
            {VI_ATTR_USB_CTRL_PIPE, kReadOnly, "0000"},
            {VI_ATTR_USB_BULK_OUT_PIPE, kNoAccess, "0002", "0001"},
            {VI_ATTR_USB_BULK_IN_PIPE, kNoAccess, "0081", "0082"},
            {VI_ATTR_USB_INTR_IN_PIPE, kNoAccess, "0083", "0084"},
            {QV_ATTR_USB_INTR_OUT_PIPE, kNoAccess, "ffff"},
            {VI_ATTR_USB_ALT_SETTING, kReadOnly, "0000"},
            {VI_ATTR_USB_END_IN, kNoState, "0005"},
            {QV_ATTR_CLASS, kUnsupported, "00fe0301", "00ff0102"},
            {QV_ATTR_CLASS_NAME, kUnsupported, "USB488 Test and Measurement Device", "no USB class found"},
            {VI_ATTR_TERMCHAR, VI_SUCCESS, "0a"},
            {VI_ATTR_TERMCHAR_EN, VI_SUCCESS, "0000"},
            {VI_ATTR_ASRL_BAUD, VI_SUCCESS, "0001c200"},
            {VI_ATTR_SUPPRESS_END_EN, VI_SUCCESS, "0000"},
            {VI_ATTR_SEND_END_EN, VI_SUCCESS, "0001"}};

class UsbAttributes : public UsbTest {
protected:
  UsbAttributes() {
    DoubleInterface bulk = {0xFF, 1, 2, {endpoint(0x01, 2), endpoint(0x82, 2), endpoint(0x84, 3), endpoint(0x86, 2)}};
    bus.add(instrument("SN1", {kHid, kUsb488, bulk}));
  }

  /// Reads into `value`, on the session opened last.
  ViStatus get(ViAttr name, void* value) {
    record.tusbDev = session;
    return QVvisa_UsbGetAttribute(&record, name, value);
  }
  ViStatus set(ViAttr name, ViAttrState value) { return QVvisa_UsbSetAttribute(session, name, value); }

  /// What a read wrote: a text, or a number in hexadecimal with its width.
  std::string read(ViAttr name) {
    unsigned char low[256] = {}, high[256];
    std::fill(std::begin(high), std::end(high), uint8_t{0xFF});
    EXPECT_EQ(get(name, low), VI_SUCCESS) << std::hex << name;
    EXPECT_EQ(get(name, high), VI_SUCCESS);
    const auto written = std::mismatch(std::begin(low), std::end(low), std::begin(high)).first - low;
    if (name >> 31 || name == QV_ATTR_DEVICE_NAME || name == QV_ATTR_INTERFACE_NAME || name == QV_ATTR_CLASS_NAME) {
      return {low, low + written - 1};
    }
    uint32_t number = 0;
    memcpy(&number, low, sizeof number);
    char digits[9];
    snprintf(digits, sizeof digits, "%0*x", static_cast<int>(2 * written), number);
    return digits;
  }

  QVvisa_device_t record{};
  QVvisa_usb_device_t* session = nullptr;
};

TEST_F(UsbAttributes, Read) {
  session = open(kInstr);
  for (const auto& row : kAll) EXPECT_EQ(read(row.name), row.instr) << std::hex << row.name;
  session = open(kInstrument + "2::RAW");
  for (const auto& row : kAll) EXPECT_EQ(read(row.name), row.raw) << std::hex << row.name;
  unsigned char untouched = 0xEE;
  for (ViAttr name : {VI_ATTR_USB_BULK_OUT_STATUS, VI_ATTR_USB_BULK_IN_STATUS, VI_ATTR_USB_INTR_IN_STATUS}) {
    EXPECT_EQ(get(name, &untouched), VI_WARN_NULL_OBJECT);
    EXPECT_EQ(set(name, 1), VI_ERROR_ATTR_READONLY);
  }
  for (ViAttr name : {VI_ATTR_USB_MAX_INTR_SIZE, VI_ATTR_USER_DATA_32, VI_ATTR_INTF_INST_NAME, 0U}) {
    EXPECT_EQ(get(name, &untouched), VI_ERROR_NSUP_ATTR);
    EXPECT_EQ(set(name, 1), VI_ERROR_NSUP_ATTR);
  }
  EXPECT_EQ(untouched, 0xEE);
}

TEST_F(UsbAttributes, Set) {
  const struct {
    bool raw;
    ViAttr name;
    ViAttrState value;
    ViStatus status;
    const char* after;  // what it reads then
  } rows[] = {{false, VI_ATTR_TMO_VALUE, VI_TMO_INFINITE, VI_SUCCESS, "ffffffff"},
              {false, VI_ATTR_IO_PROT, VI_PROT_USBTMC_VENDOR, VI_SUCCESS, "0005"},
              {false, VI_ATTR_IO_PROT, 0x10001, VI_SUCCESS, "0001"},
              {false, VI_ATTR_IO_PROT, VI_PROT_4882_STRS, kNoAccess, "0001"},
              {true, VI_ATTR_IO_PROT, VI_PROT_4882_STRS, VI_SUCCESS, "0004"},
              {true, VI_ATTR_IO_PROT, VI_PROT_USBTMC_VENDOR, kNoAccess, "0004"},
              {true, VI_ATTR_IO_PROT, VI_PROT_HS488, VI_ERROR_NSUP_ATTR_STATE, "0004"},
              {false, VI_ATTR_TERMCHAR, 0x10D, VI_SUCCESS, "0d"},
              {false, VI_ATTR_TERMCHAR_EN, 2, VI_SUCCESS, "0001"},
              {false, VI_ATTR_SUPPRESS_END_EN, 0x10000, VI_SUCCESS, "0001"},
              {false, VI_ATTR_SEND_END_EN, 0, VI_SUCCESS, "0000"},
              {false, VI_ATTR_ASRL_BAUD, 9600, VI_SUCCESS, "00002580"},
              {false, VI_ATTR_USB_END_IN, 0x10004, VI_ERROR_ATTR_READONLY, "0005"},
              {false, VI_ATTR_USB_END_IN, 1, VI_ERROR_NSUP_ATTR_STATE, "0005"},
              {true, VI_ATTR_USB_BULK_IN_PIPE, 0x10086, VI_SUCCESS, "0086"},
              {true, VI_ATTR_USB_BULK_IN_PIPE, 0x84, kNoAccess, "0086"},
              {true, VI_ATTR_USB_BULK_IN_PIPE, 0xFF82, kNoAccess, "0086"},
              {true, VI_ATTR_USB_BULK_OUT_PIPE, 0x82, VI_SUCCESS, "0082"},
              {true, VI_ATTR_USB_BULK_OUT_PIPE, 0x01, VI_SUCCESS, "0001"},
              {true, VI_ATTR_USB_INTR_IN_PIPE, 0x82, kNoAccess, "0084"},
              {true, QV_ATTR_USB_INTR_OUT_PIPE, 0x84, VI_SUCCESS, "0084"}};
  for (bool raw : {false, true}) {
    session = open(raw ? kInstrument + "2::RAW" : kInstr);
    for (const auto& row : rows) {
      if (row.raw != raw) continue;
      EXPECT_EQ(set(row.name, row.value), row.status) << &row - rows;
      EXPECT_EQ(read(row.name), row.after) << &row - rows;
    }
  }
  // What was set steers the next transfer.
  set(VI_ATTR_TMO_VALUE, 5);
  EXPECT_EQ(QVvisa_UsbRead(session, nullptr, 0, nullptr), VI_ERROR_TMO);
  EXPECT_TRUE(bus.transfers.back().port == 0x86 && bus.transfers.back().timeout == 5);

  session = open(kInstr);
  for (const auto& row : kAll) EXPECT_EQ(set(row.name, 1), row.set) << std::hex << row.name;
}

}  // namespace
