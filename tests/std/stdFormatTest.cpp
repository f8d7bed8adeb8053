// Formatted I/O: the conversions of VPP-4.3 section 6.2, and the buffers that they go through.

#include "stdSession.h"

#include <cstdarg>

namespace {

class StdFormat : public testing::Test {
protected:
  std::string print(const char* format, ...) {
    va_list list;
    va_start(list, format);
    ViByte text[2000] = {};
    status_ = viVSPrintf(manager_.vi, text, format, list);
    va_end(list);
    return reinterpret_cast<char*>(text);
  }
  ViStatus scan(const std::string& text, const char* format, ...) {
    va_list list;
    va_start(list, format);
    const ViStatus status = viVSScanf(manager_.vi, reinterpret_cast<ViConstBuf>(text.c_str()), format, list);
    va_end(list);
    return status;
  }

  const Manager manager_;
  ViStatus status_ = VI_SUCCESS;
};

TEST_F(StdFormat, PrintsAsC) {
  EXPECT_EQ(print("%d|%i|%u|%o|%x|%X", -5, 6, 7U, 8U, 255U, 255U), "-5|6|7|10|ff|FF");
  EXPECT_EQ(print("%5d|%-5d|%05d|%+d|% d|%#x|%.3d|%*d", 42, 42, 42, 42, 42, 42, 42, 4, 42),
            "   42|42   |00042|+42| 42|0x2a|042|  42");
  EXPECT_EQ(print("%hd|%hu|%hhd|%ld|%lld", 0x18000, 0x18000, 0x1FF, ViInt32{-1}, ViInt64{1} << 40),
            "-32768|32768|-1|-1|1099511627776");
  EXPECT_EQ(print("%f|%.2f|%10.3e|%g|%Lf", 1.5, 1.005, 12345.678, 0.0001, 2.5L),
            "1.500000|1.00| 1.235e+04|0.0001|2.500000");
  EXPECT_EQ(print("%s|%.2s|%5s|%-5s|%c|%3c|%%", "abc", "abc", "abc", "abc", 'x', 'y'), "abc|ab|  abc|abc  |x|  y|%");
  EXPECT_EQ(print("%.400f", 1.0).size(), 402U) << "longer than any buffer of the library's";
  EXPECT_EQ(print(R"(a\tb\\c\101\")"), "a\tb\\cA\"") << "escape sequences that the language left";
}

TEST_F(StdFormat, PrintsArraysAndNotations) {
  const ViInt32 integers[] = {1, -2, 3};
  const ViInt16 shorts[] = {4, -5};
  const ViReal64 doubles[] = {0.5, -1e10};
  EXPECT_EQ(print("%,3d;%,2hd;%3,2d;%,*d", integers, shorts, integers, 2, integers), "1,-2,3;4,-5;  1, -2;1,-2");
  EXPECT_EQ(print("%,2g", doubles), "0.5,-1e+10");
  EXPECT_EQ(print("%@1d|%@2d|%@3d|%@1f|%@2.2f|%@3.1f", 12, 12, 12, 12.6, 12.345, 1234.5),
            "12|12.0|1.200000E+01|13|12.35|1.2E+03");
  EXPECT_EQ(print("%@Hd|%@Qd|%@Bd|%@Hhd|%8@Bd|%@Hd", 0xE2D2, 25, 13, -1, 5, 0),
            "#HE2D2|#Q31|#B1101|#HFFFF|   #B101|#H0");
}

TEST_F(StdFormat, PrintsBlocks) {
  const ViInt16 shorts[] = {0x4142, 0x4344};
  EXPECT_EQ(print("%3b", "abc"), "#13abc");
  EXPECT_EQ(print("%2hb|%!ol2hb|%!ob2hy|%*y", shorts, shorts, shorts, 1, "z"), "#14ABCD|#14BADC|ABCD|z");
  EXPECT_EQ(print("%12B", "Hello World!"), "#0Hello World!\n");
  const ViReal64 real = 1.0;
  ViByte block[20] = {};
  EXPECT_EQ(viSPrintf(manager_.vi, block, "%1Zb", &real), VI_SUCCESS);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(block), 11), std::string("#18\x3F\xF0\0\0\0\0\0\0", 11));
}

TEST_F(StdFormat, RefusesWhatItDoesNotKnow) {
  const std::pair<const char*, ViStatus> rows[] = {
      {"%", VI_ERROR_INV_FMT},    {"%5", VI_ERROR_INV_FMT},  {"%@9d", VI_ERROR_INV_FMT},
      {"%!xd", VI_ERROR_INV_FMT}, {"%,d", VI_ERROR_INV_FMT}, {"%b", VI_ERROR_INV_FMT},
      {"%p", VI_ERROR_NSUP_FMT},  {"%n", VI_ERROR_NSUP_FMT}, {"%k", VI_ERROR_NSUP_FMT}};
  ViInt32 number = 7;
  for (const auto& [format, status] : rows) {
    print(format, &number);
    EXPECT_EQ(status_, status) << format;
    EXPECT_EQ(scan("#15abcde", format, &number), status) << format;
  }
  EXPECT_EQ(number, 7);
}

TEST_F(StdFormat, ScansNumbers) {
  const std::tuple<const char*, const char*, ViInt32> integers[] = {
      {" 42 ", "%d", 42},  {"-7,", "%d", -7}, {"#HfF", "%d", 255},       {"#Q17", "%d", 15},       {"#B101", "%d", 5},
      {"1.5E1", "%d", 15}, {"2.6", "%d", 3},  {"1e2", "%d", 100},        {"12345", "%3d", 123},    {"ff", "%x", 255},
      {"0x1F", "%x", 31},  {"17", "%o", 15},  {"-0x10", "%i", -16},      {"010", "%i", 8},         {"9", "%i", 9},
      {"A 3", "A %d", 3},  {"A3", "A %d", 3}, {"VOLT 5V", "VOLT%dV", 5}, {"4294967295", "%u", -1}, {"1 2", "%*d%d", 2}};
  for (const auto& [text, format, expected] : integers) {
    ViInt32 value = 99;
    EXPECT_EQ(scan(text, format, &value), VI_SUCCESS) << text;
    EXPECT_EQ(value, expected) << text << " by " << format;
  }
  ViInt16 half = 0, guard = 77;
  ViInt64 large = 0;
  ViReal32 single = 0;
  ViReal64 real = 0;
  EXPECT_EQ(scan("-3 1099511627776 +1.25E-1,2.5", "%hd%lld%f,%lf", &half, &large, &single, &real), VI_SUCCESS);
  EXPECT_EQ(std::tuple(half, guard, large, single, real), std::tuple(-3, 77, ViInt64{1} << 40, 0.125F, 2.5));
  EXPECT_EQ(scan("abc", "%d", &half), VI_ERROR_INV_FMT);
  EXPECT_EQ(scan("", "%d", &half), VI_ERROR_INV_FMT);
  EXPECT_EQ(scan("1;2", "%hd,%hd", &half, &half), VI_ERROR_INV_FMT);
}

TEST_F(StdFormat, ScansArraysTextsAndBlocks) {
  ViReal64 reals[4] = {};
  ViUInt32 count = 4;
  EXPECT_EQ(scan("1, 2.5 ,3", "%,#lf", &count, reals), VI_SUCCESS) << "white space before a comma ends the list";
  EXPECT_EQ(std::tuple(count, reals[1]), std::tuple(2U, 2.5));
  ViInt16 shorts[3] = {};
  EXPECT_EQ(scan("1,2,3,4", "%,2hd,%hd", shorts, shorts + 2), VI_SUCCESS);
  EXPECT_EQ(std::tuple(shorts[0], shorts[1], shorts[2]), std::tuple(1, 2, 3));

  ViChar a[20], b[20], c[20], d[3] = "xy";
  EXPECT_EQ(scan("first second,rest of\nit", "%s %[a-z],%c%T%t", a, b, d, c, a), VI_SUCCESS);
  EXPECT_EQ(std::tuple(std::string(b), std::string(d), std::string(c), std::string(a)),
            std::tuple("second", "ry", "est of\n", "it"));
  count = 4;
  EXPECT_EQ(scan("abcdef", "%#s%s", &count, a, b), VI_SUCCESS);
  EXPECT_EQ(std::tuple(count, std::string(a), std::string(b)), std::tuple(3U, "abc", "def"));
  EXPECT_EQ(scan("], x", "%[^,], %c", a, b), VI_SUCCESS);
  EXPECT_STREQ(a, "]");

  count = 2;
  EXPECT_EQ(scan("#16ABCDEF;5", "%#hb;%d", &count, shorts, reals), VI_SUCCESS) << "what has no room is dropped";
  EXPECT_EQ(std::tuple(count, shorts[0], shorts[1]), std::tuple(2U, 0x4142, 0x4344));
  EXPECT_EQ(scan("#0ABCD\n", "%!ol3hb", shorts), VI_SUCCESS);
  EXPECT_EQ(std::tuple(shorts[0], shorts[1], shorts[2]), std::tuple(0x4241, 0x4443, 3));
  EXPECT_EQ(scan("ABC", "%2y%c", a, b), VI_SUCCESS);
  EXPECT_EQ(std::string(a, 2) + b[0], "ABC");
  EXPECT_EQ(scan("#15abc", "%5b", a), VI_ERROR_INV_FMT) << "shorter than it says";
}

TEST_F(StdTcp, PrintedBytesAreSentAtTheEndOfTheMessage) {
  EXPECT_EQ(viPrintf(vi_, "VOLT %d", 5), VI_SUCCESS);
  EXPECT_EQ(viPrintf(vi_, ";%s\n", "VOLT?\n"), VI_SUCCESS);
  EXPECT_EQ(peer_.receive(14), "VOLT 5;VOLT?\n\n");
  ViUInt32 count = 0;
  EXPECT_EQ(viBufWrite(vi_, reinterpret_cast<ViConstBuf>("abc"), 3, &count), VI_SUCCESS);
  EXPECT_EQ(viPrintf(vi_, "%d%k", 1), VI_ERROR_NSUP_FMT) << "drops the message";
  EXPECT_EQ(viBufWrite(vi_, reinterpret_cast<ViConstBuf>("def"), 3, &count), VI_SUCCESS);
  EXPECT_EQ(viFlush(vi_, VI_WRITE_BUF), VI_SUCCESS);
  EXPECT_EQ(peer_.receive(3), "def");
  set(VI_ATTR_WR_BUF_OPER_MODE, VI_FLUSH_ON_ACCESS);
  EXPECT_EQ(viPrintf(vi_, "now"), VI_SUCCESS);
  EXPECT_EQ(peer_.receive(3), "now");
  set(VI_ATTR_WR_BUF_OPER_MODE, VI_FLUSH_WHEN_FULL);
  EXPECT_EQ(viSetBuf(vi_, VI_WRITE_BUF | VI_IO_OUT_BUF, 4), VI_WARN_NSUP_BUF);
  EXPECT_EQ(get<ViUInt32>(VI_ATTR_WR_BUF_SIZE), 4U);
  EXPECT_EQ(viPrintf(vi_, "%s", "12345678x"), VI_SUCCESS);
  EXPECT_EQ(peer_.receive(8), "12345678");
  for (const unsigned mask : {0U, VI_READ_BUF | VI_READ_BUF_DISCARD | 0U, 256U}) {
    EXPECT_EQ(viFlush(vi_, static_cast<ViUInt16>(mask)), VI_ERROR_INV_MASK);
  }
}

TEST_F(StdTcp, ScannedBytesComeAsTheyArrive) {
  ViInt32 number = 0;
  ViChar text[20] = "";
  peer_.send("1 2\n3");
  EXPECT_EQ(viScanf(vi_, "%d %d\n", &number, &number), VI_SUCCESS) << "without a wait for what follows";
  EXPECT_EQ(number, 2);
  peer_.send("4\n");
  EXPECT_EQ(viScanf(vi_, "%T", text), VI_SUCCESS);
  EXPECT_STREQ(text, "34\n");
  set(VI_ATTR_TERMCHAR_EN, VI_TRUE);
  peer_.send("one\ntwo\n#13a\nb\nrest\n");
  EXPECT_EQ(viScanf(vi_, "%t", text), VI_SUCCESS);
  EXPECT_STREQ(text, "one\n");
  ViByte bytes[10] = {};
  ViUInt32 count = 0;
  EXPECT_EQ(viBufRead(vi_, bytes, 2, &count), VI_SUCCESS_MAX_CNT);
  EXPECT_EQ(viBufRead(vi_, bytes, 10, &count), VI_SUCCESS_TERM_CHAR);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(bytes), count), "o\n");
  EXPECT_EQ(viScanf(vi_, "%10b%c", bytes, text), VI_SUCCESS) << "a block with the termination character in it";
  EXPECT_EQ(bytes[1], '\n');
  EXPECT_EQ(viScanf(vi_, "%2s", text), VI_SUCCESS);
  EXPECT_EQ(viFlush(vi_, VI_READ_BUF), VI_SUCCESS);
  set(VI_ATTR_TMO_VALUE, 20);
  EXPECT_EQ(viScanf(vi_, "%s", text), VI_ERROR_TMO);
}

TEST_F(StdTcp, QueryfForgetsAnOldAnswer) {
  set(VI_ATTR_TERMCHAR_EN, VI_TRUE);
  peer_.send("1,2,3\n");
  ViInt32 number = 0;
  EXPECT_EQ(viScanf(vi_, "%d", &number), VI_SUCCESS);
  peer_.send("7\n");
  EXPECT_EQ(viQueryf(vi_, "CHAN %d?\n", "%d", 4, &number), VI_SUCCESS);
  EXPECT_EQ(number, 7);
  EXPECT_EQ(peer_.receive(8), "CHAN 4?\n");
}

TEST_F(StdTcp, FilesAreSentAndReceived) {
  const std::string path = testing::TempDir() + "stdFormatTest." + std::to_string(getpid());
  ViUInt32 count = 0;
  peer_.send("0123456789");
  EXPECT_EQ(viReadToFile(vi_, path.c_str(), 8, &count), VI_SUCCESS_MAX_CNT);
  set(VI_ATTR_FILE_APPEND_EN, VI_TRUE);
  EXPECT_EQ(viReadToFile(vi_, path.c_str(), 2, &count), VI_SUCCESS_MAX_CNT);
  EXPECT_EQ(contentsOf(path), "0123456789");
  EXPECT_EQ(viWriteFromFile(vi_, path.c_str(), 6, &count), VI_SUCCESS);
  EXPECT_EQ(count, 6U);
  EXPECT_EQ(viWriteFromFile(vi_, path.c_str(), 100, &count), VI_SUCCESS);
  EXPECT_EQ(count, 10U);
  EXPECT_EQ(peer_.receive(16), "0123450123456789");
  unlink(path.c_str());
  EXPECT_EQ(viWriteFromFile(vi_, path.c_str(), 6, &count), VI_ERROR_FILE_ACCESS);
  EXPECT_EQ(viReadToFile(vi_, "/nonexistent/file", 6, &count), VI_ERROR_FILE_ACCESS);
}

}  // namespace
