// The texts of system errors on a platform that gives what the test says.
#include "errorTexts.h"
#include "support/testing.h"

namespace {

constexpr DWORD reason = 7;
std::vector<std::string> answers;
std::vector<DWORD> asked;
DWORD room;

}  // namespace

DWORD GetLastError() {
  return reason;
}
void SetLastError(DWORD) {}

DWORD FormatMessageA(DWORD flags, const void*, DWORD error, DWORD language, char* buffer, DWORD size, va_list*) {
  EXPECT_EQ(flags, FORMAT_MESSAGE_FROM_SYSTEM);
  EXPECT_EQ(language, 0x0409U);
  EXPECT_EQ(size, room);
  const std::string answer = answers.at(asked.size());
  asked.push_back(error);
  if (!answer.empty()) memcpy(buffer, answer.c_str(), answer.size() + 1);
  return static_cast<DWORD>(answer.size());
}

TEST(ErrorTexts, TextComesFromTheErrorThenFromTheReasonThenFromTheLibrary) {
  using Row = std::tuple<std::vector<std::string>, size_t, size_t, const char*>;
  for (const auto& [given, size, length, text] :
       {Row{{"No way.\r\n"}, 100, 7, "No way."}, Row{{"x\r\n"}, 100, 1, "x"}, Row{{"\r\n"}, 100, 2, "\r\n"},
        Row{{"No end"}, 100, 6, "No end"}, Row{{"", "Why not.\r\n"}, 100, 10, "Why not.\r\n"},
        Row{{"", ""}, 35, 34, NO_MSG_AVAIL}, Row{{"", ""}, 1, 0, "before"}, Row{{}, 0, 0, "before"}}) {
    answers = given;
    asked.clear();
    room = static_cast<DWORD>(size - 1);
    char buffer[101] = "before";
    EXPECT_EQ(systemErrorMessage(5, 0x0409, buffer, size), length);
    EXPECT_STREQ(buffer, text);
    std::vector<DWORD> expected = {5, reason};
    expected.resize(given.size());
    EXPECT_EQ(asked, expected);
  }
}
