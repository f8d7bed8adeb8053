// The texts of the status codes.

#include "QVvisa.h"
#include "QVvisaStatus.h"
#include "support/testing.h"

namespace {

constexpr char kUnknown[] = "The status code passed to the operation could not be interpreted.";

TEST(StatusTable, HoldsEachCodeOnceInAscendingOrderAndEndsInANullText) {
  const auto* end =
      std::find_if(std::begin(gStatusDesc), std::end(gStatusDesc), [](auto& row) { return !row.description; });
  ASSERT_EQ(end - gStatusDesc, 105);
  EXPECT_EQ(end->status, 0);
  for (const auto* row = gStatusDesc; row + 1 < end; ++row) {
    EXPECT_LT(static_cast<ViUInt32>(row[0].status), static_cast<ViUInt32>(row[1].status)) << row[1].description;
  }
}

TEST(StatusDesc, DeliversTheTextOfEachKindOfCode) {
  const struct {
    ViStatus status;
    ViStatus result;
    const char* text;
  } cases[] = {
      {VI_SUCCESS, VI_SUCCESS, "Operation completed successfully."},
      {VI_WARN_UNKNOWN_STATUS, VI_SUCCESS, kUnknown},
      {VI_SUCCESS_DEV_NPRESENT, VI_SUCCESS,
       "Session opened successfully, but the device at the specified address is not responding."},
      {VI_ERROR_INV_PARAMETER, VI_SUCCESS, "The value of some parameter-which parameter is not known-is invalid."},
      {QVVI_SETUPDI_ERR, VI_SUCCESS, "A setupdi library (Windows) call returned an error."},
      {VI_ERROR_LINE_NRESERVED, VI_WARN_UNKNOWN_STATUS, kUnknown},
      {VI_WARN_NSUP_RESET, VI_WARN_UNKNOWN_STATUS, kUnknown},
  };
  for (const auto& c : cases) {
    char desc[MAX_STATUS_DESCRIPTION];
    EXPECT_EQ(QV_viStatusDesc(0xDEAD, c.status, desc), c.result) << std::hex << c.status;
    EXPECT_STREQ(desc, c.text) << std::hex << c.status;
  }
}

TEST(StatusDesc, FillsTheWholeBufferAndNoMore) {
  std::string desc(MAX_STATUS_DESCRIPTION + 1, 'x');
  ASSERT_EQ(QV_viStatusDesc(0, VI_SUCCESS, desc.data()), VI_SUCCESS);
  const size_t length = desc.find('\0');
  EXPECT_EQ(desc.substr(length), std::string(MAX_STATUS_DESCRIPTION - length, '\0') + 'x');
  ASSERT_EQ(QV_viStatusDesc(0, VI_WARN_QUEUE_OVERFLOW, desc.data()), VI_SUCCESS);
  EXPECT_EQ(desc.find('\0'), 255U) << "the longest text is cut";
  EXPECT_EQ(desc.back(), 'x');
  EXPECT_EQ(QV_viStatusDesc(0, VI_SUCCESS, nullptr), VI_ERROR_USER_BUF);
}

}  // namespace
