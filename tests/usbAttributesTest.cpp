/// Attributes of USB sessions: widths, values, what can be set and what not.
#include "libusbDouble.h"

#include <algorithm>
#include <cstring>

namespace {

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

  /// What a read wrote: a text in quotes, or a number in hexadecimal with its width.
  std::string read(ViAttr name) {
    unsigned char low[256] = {}, high[256];
    std::fill(std::begin(high), std::end(high), uint8_t{0xFF});
    EXPECT_EQ(get(name, low), VI_SUCCESS) << std::hex << name;
    EXPECT_EQ(get(name, high), VI_SUCCESS);
    const auto written = std::mismatch(std::begin(low), std::end(low), std::begin(high)).first - low;
    if (name >> 31 || name == QV_ATTR_DEVICE_NAME || name == QV_ATTR_INTERFACE_NAME || name == QV_ATTR_CLASS_NAME) {
      return '"' + std::string(low, low + written - 1) + '"';
    }
    uint32_t number = 0;
    memcpy(&number, low, sizeof number);
    char digits[9];
    snprintf(digits, sizeof digits, "%0*x", static_cast<int>(2 * written), number);
    return digits;
  }
  std::string readAll() {
    std::string values;
    for (ViAttr name : kAll) values += (values.empty() ? "" : " ") + read(name);
    return values;
  }

  static constexpr ViAttr kAll[] = {
      VI_ATTR_INTF_TYPE,         VI_ATTR_TMO_VALUE,         VI_ATTR_IO_PROT,          VI_ATTR_MANF_NAME,
      VI_ATTR_MODEL_NAME,        QV_ATTR_DEVICE_NAME,       QV_ATTR_INTERFACE_NAME,   VI_ATTR_USB_SERIAL_NUM,
      VI_ATTR_USB_INTFC_NUM,     VI_ATTR_MANF_ID,           VI_ATTR_MODEL_CODE,       VI_ATTR_USB_CLASS,
      VI_ATTR_USB_SUBCLASS,      VI_ATTR_USB_PROTOCOL,      VI_ATTR_USB_NUM_INTFCS,   VI_ATTR_USB_NUM_PIPES,
      VI_ATTR_USB_CTRL_PIPE,     VI_ATTR_USB_BULK_OUT_PIPE, VI_ATTR_USB_BULK_IN_PIPE, VI_ATTR_USB_INTR_IN_PIPE,
      QV_ATTR_USB_INTR_OUT_PIPE, VI_ATTR_USB_ALT_SETTING,   VI_ATTR_USB_END_IN,       QV_ATTR_CLASS,
      QV_ATTR_CLASS_NAME,        VI_ATTR_TERMCHAR,          VI_ATTR_TERMCHAR_EN,      VI_ATTR_ASRL_BAUD,
      VI_ATTR_SUPPRESS_END_EN,   VI_ATTR_SEND_END_EN};
  QVvisa_device_t record{};
  QVvisa_usb_device_t* session = nullptr;
};

TEST_F(UsbAttributes, Read) {
  session = open(kInstr);
  EXPECT_EQ(readAll(),
            R"(0007 00000bb8 0001 "KESTRIX" "K-7" "K-7" "IF" "SN1" 0001 7c5a 0042 00fe 0003 0001 0002 0003 0000 0002 )"
            R"(0081 0083 ffff 0000 0005 00fe0301 "USB488 Test and Measurement Device" 0a 0000 0001c200 0000 0001)");
  session = open(kInstrument + "2::RAW");
  EXPECT_EQ(readAll(),
            R"(0007 00000bb8 0001 "KESTRIX" "K-7" "K-7" "" "SN1" 0002 7c5a 0042 00ff 0001 0002 0003 0004 0000 0001 )"
            R"(0082 0084 ffff 0000 0005 00ff0102 "no USB class found" 0a 0000 0001c200 0000 0001)");
  unsigned char untouched = 0xEE;
  for (ViAttr name : {VI_ATTR_USB_BULK_OUT_STATUS, VI_ATTR_USB_BULK_IN_STATUS, VI_ATTR_USB_INTR_IN_STATUS}) {
    EXPECT_EQ(get(name, &untouched), VI_WARN_NULL_OBJECT);
    EXPECT_EQ(set(name, 1), VI_ERROR_ATTR_READONLY);
  }
  for (ViAttr name : {VI_ATTR_USB_MAX_INTR_SIZE, VI_ATTR_USER_DATA_32, VI_ATTR_INTF_INST_NAME, 0U}) {
    EXPECT_EQ(get(name, &untouched), VI_ERROR_NSUP_ATTR);
    EXPECT_EQ(set(name, 1), VI_ERROR_NSUP_ATTR);
  }
  session = nullptr;
  EXPECT_EQ(get(VI_ATTR_INTF_TYPE, &untouched), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(QVvisa_UsbGetAttribute(nullptr, VI_ATTR_INTF_TYPE, &untouched), VI_ERROR_INV_OBJECT);
  EXPECT_EQ(untouched, 0xEE);
}

TEST_F(UsbAttributes, Set) {
  constexpr ViStatus kNoAccess = VI_ERROR_INV_ACC_MODE;
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

  // What setting each to 1 answers, by a letter.
  constexpr ViStatus kAnswers[] = {VI_SUCCESS, VI_ERROR_ATTR_READONLY, VI_ERROR_NSUP_ATTR, kNoAccess,
                                   VI_ERROR_NSUP_ATTR_STATE};
  session = open(kInstr);
  std::string answers;
  for (ViAttr name : kAll) answers += "drnav?"[std::ranges::find(kAnswers, set(name, 1)) - kAnswers];
  EXPECT_EQ(answers, "nddrrrrrrrrrrrrrraaaarvnnddddd");
}

}  // namespace
