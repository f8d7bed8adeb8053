// The attribute expression language.

#include "QVvisa.h"
#include "QVvisaTokens.h"
#include "support/testing.h"

namespace {

/// Evaluates an expression on three USB interfaces, of classes 254/3/1 (tmc), 8/6/80 (disk) and 3/0/0 (hid), and on the
/// serial ports com3 and com7. Gives the names of those that it selects.
std::string selected(std::string expression, ViStatus expected = VI_SUCCESS) {
  QVvisa_devList_t lists{};
  EXPECT_EQ(QVvisa_reInitDevIntfListUsb(&lists.usbList, 3), VI_SUCCESS);
  EXPECT_EQ(QVvisa_reInitDevIntfListAsrl(&lists.asrlList, 2), VI_SUCCESS);
  auto* usb = lists.usbList->intfUsb;
  usb[0] = {0x7C5A, 0x42, 0, 254, 3, 1, "A1234", 0, 0, 0};
  usb[1] = {0x7C5A, 0x43, 0, 8, 6, 80, "B5678", 0, 0, 0};
  usb[2] = {0x7C5A, 0x43, 1, 3, 0, 0, "B5678", 0, 0, 0};
  auto* asrl = lists.asrlList->intfAsrl;
  asrl[0].comPort = 3;
  asrl[1] = {7, 0x0403, 0x6001, 9600, 0, 0, 0};
  const auto length = static_cast<int>(expression.size());
  EXPECT_EQ(QVvisa_helperProcessPattern_BC(expression.data(), length, &lists), expected) << expression;
  std::string names;
  for (const auto& [name, selects] : {std::pair{"tmc", usb[0].matchAE},
                                      {"disk", usb[1].matchAE},
                                      {"hid", usb[2].matchAE},
                                      {"com3", asrl[0].matchAE},
                                      {"com7", asrl[1].matchAE}}) {
    if (selects) names += (names.empty() ? "" : " ") + std::string(name);
  }
  QVvisa_closeDevIntfListElemUsb(&lists.usbList);
  QVvisa_closeDevIntfListElemAsrl(&lists.asrlList);
  return names;
}

TEST(AttributeExpression, SelectsWhatItSays) {
  const std::string comparison = "VI_ATTR_USB_CLASS==254";
  const size_t depth = (4096 - comparison.size()) / 2;
  const struct {
    std::string expression;
    const char* selected;
  } cases[] = {
      {"VI_ATTR_MANF_ID == 0x7C5A", "tmc disk hid"},
      {"\t VI_ATTR_MODEL_CODE==0x43\r\n", "disk hid"},
      {"VI_ATTR_USB_CLASS == 254 && VI_ATTR_MANF_ID == 0x7C5A", "tmc"},
      {"VI_ATTR_USB_CLASS==254&&VI_ATTR_USB_SUBCLASS==3", "tmc"},
      {"VI_ATTR_USB_CLASS >= 8", "tmc disk"},
      {"VI_ATTR_USB_CLASS > 8", "tmc"},
      {"VI_ATTR_USB_CLASS <= 8", "disk hid com3 com7"},
      {"VI_ATTR_USB_CLASS < 8", "hid com3 com7"},
      {"VI_ATTR_USB_CLASS != 8", "tmc hid com3 com7"},
      {"8 > VI_ATTR_USB_CLASS", "hid com3 com7"},
      {"VI_ATTR_USB_CLASS == 0xfE", "tmc"},
      {"VI_ATTR_USB_CLASS == 254aB", "tmc"},
      {"VI_ATTR_USB_PROTOCOL == 80", "disk"},
      {"VI_ATTR_USB_CLASS <= 2147483647", "tmc disk hid com3 com7"},
      {"VI_ATTR_USB_CLASS > 0xFFFFFFFF", "tmc disk hid com3 com7"},  // negative in the comparison
      {std::string(depth, '(') + comparison + std::string(depth, ')'), "tmc"},
      // Negation comes last on its level: it negates all that follows.
      {"!VI_ATTR_USB_CLASS == 254 && VI_ATTR_USB_SUBCLASS == 3", "disk hid com3 com7"},
      {"VI_ATTR_USB_SUBCLASS == 6 && (!(VI_ATTR_USB_CLASS == 254))", "disk"},
      {"VI_ATTR_USB_SUBCLASS == 6 && !(VI_ATTR_USB_CLASS == 254)", ""},
      {"!!(VI_ATTR_USB_CLASS == 254)", ""},
      // && binds before ||.
      {"VI_ATTR_USB_CLASS == 254 || VI_ATTR_USB_CLASS == 8 && VI_ATTR_USB_SUBCLASS == 7", "tmc"},
      {"(VI_ATTR_USB_CLASS == 254 || VI_ATTR_USB_CLASS == 8) && VI_ATTR_USB_SUBCLASS == 6", "disk"},
      {"VI_ATTR_USB_CLASS == 254 || VI_ATTR_USB_CLASS == 8 || VI_ATTR_USB_CLASS == 77", "tmc disk"},
      // What an entry doesn't have is 0 on USB, and the value of the last USB entry on a serial port.
      {"VI_ATTR_ASRL_BAUD == 0", "tmc disk hid"},
      {"VI_ATTR_ASRL_BAUD == 115200", "com3"},
      {"VI_ATTR_USB_CLASS == 3", "hid com3 com7"},
      {"VI_ATTR_MANF_ID == 0x0403", "com7"},
      // Readable, but not evaluable.
      {"VI_ATTR_USB_SERIAL_NUM == \"A1234\"", ""},
      {"VI_ATTR_USB_CLASS == \"254\"", ""},
      {"VI_ATTR_USB_CLASS", ""},
      {"(VI_ATTR_USB_CLASS == 254", ""},
      {"VI_ATTR_USB_CLASS == 254)", ""},
      {"()", ""},
      {"(VI_ATTR_USB_CLASS) == 254", ""},
      {"VI_ATTR_MANF_ID == VI_ATTR_MODEL_CODE", ""},
      {"1 == 1", ""},
      {"== 1", ""},
      {"VI_ATTR_USB_CLASS ==", ""},
      {"VI_ATTR_USB_CLASS == 254 5", ""},
      {"VI_ATTR_USB_CLASS == 254 !", ""},
      {"VI_ATTR_USB_CLASS == 254 && 5", ""},
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(selected(c.expression), c.selected) << c.expression;
}

TEST(AttributeExpression, RefusesWhatItCannotRead) {
  const std::string cases[] = {
      " \t",
      "nonsense",
      "VI_ATTR_USB_CLASS = 254",
      "VI_ATTR_USB_CLASS == 254 & VI_ATTR_USB_CLASS == 254",
      "VI_ATTR_USB_CLASS == 0XFE",
      "VI_ATTR_USB_CLASS == 0x",
      "VI_ATTR_USB_CLASS == 254xy",
      "VI_ATTR_USB_CLASS == -1",
      "VI_ATTR_USB_CLASS == +1",
      "VI_ATTR_MANF_IDX == 1",
      "VI_ATTR_USB_SERIAL_NUM == \"\"",
      "VI_ATTR_USB_CLASS == 2147483648",
      "VI_ATTR_USB_CLASS == 0x100000000",
      std::string(4097, '('),
  };
  for (const auto& expression : cases) EXPECT_EQ(selected(expression, VI_ERROR_INV_RSRC_NAME), "");
}

TEST(Tokenizer, ReadsTokensValuesAndStrings) {
  const std::string longString(130, 'x');
  std::string text = "VI_ATTR_MANF_ID>=0x7c5a(!\"\"quoted\" \"" + longString + "\")";
  QVvisa_frTokenList_t* list = nullptr;
  ASSERT_EQ(QVvisa_helperProcessPattern_B(text.data(), static_cast<int>(text.size()), &list), VI_SUCCESS);
  std::vector<int> ids;
  for (int i = 0; i < list->size; ++i) ids.push_back(list->tokens[i].tokId);
  EXPECT_EQ(ids, (std::vector<int>{TOK_VID, TOK_GREATEQ, TOK_RVAL_I, TOK_OPEN_PAR, TOK_NOT, TOK_RVAL_S, TOK_RVAL_S,
                                   TOK_CLOSE_PAR}));
  EXPECT_EQ(list->tokens[2].val, 0x7C5A);
  EXPECT_STREQ(list->tokens[5].buf, "\"quoted");
  EXPECT_EQ(std::string(list->tokens[6].buf, MAX_TOKEN_LEN), longString.substr(0, MAX_TOKEN_LEN));
  QVvisa_closeFrTokenList(&list);
  EXPECT_EQ(list, nullptr);
}

TEST(Tokenizer, ChecksClassesOfIds) {
  const auto members = [](int idClass) {
    std::vector<int> found;
    for (int id = 0; id < TOK_COMBINED_INUM; ++id) {
      if (tokCheck(id, idClass)) found.push_back(id);
    }
    return found;
  };
  EXPECT_EQ(members(TOK_COMBINED_INUM),
            (std::vector<int>{TOK_VID, TOK_PID, TOK_CLASS, TOK_SUBCLASS, TOK_PROT, TOK_BAUD}));
  EXPECT_EQ(members(TOK_COMBINED_IOP), (std::vector<int>{16, 17, 18, 19, 20, 21}));
  EXPECT_EQ(members(TOK_COMBINED_LOGIC), (std::vector<int>{TOK_AND, TOK_OR}));
  EXPECT_EQ(members(TOK_COMBINED_STRING), std::vector<int>{});
  EXPECT_EQ(members(TOK_NOT), std::vector<int>{TOK_NOT});
  EXPECT_EQ(members(9), std::vector<int>{});
}

}  // namespace
