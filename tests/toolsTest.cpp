#include "QVvisaTools.h"
#include "errorTexts.h"
#include "support/testing.h"

#include <cerrno>
#include <tuple>

using namespace std::string_literals;

TEST(Tools, CharacterClassesOverAllCharacters) {
  const std::string blanks = "\t\n\r ";
  const std::string digits = "0123456789ABCDEFabcdef";
  for (int value = 0; value < 256; ++value) {
    const auto c = static_cast<char>(value);
    EXPECT_EQ(isWhiteSpace(c), blanks.find(c) != std::string::npos) << value;
    EXPECT_EQ(isHexDigit(c), digits.find(c) != std::string::npos) << value;
  }
  for (std::string text : {"", "\va"}) {
    text.insert(0, blanks);
    EXPECT_EQ(skipWhiteSpace(text.data()), &text[blanks.size()]);
  }
}

TEST(Tools, RemovedCharactersMoveTheRestDown) {
  using Row = std::tuple<std::string, unsigned int, char, std::string>;
  for (const auto& [before, length, removed, after] :
       {Row{"aabaa", 5, 'a', "b"}, Row{"abcabc", 3, 'a', "bc"}, Row{"abc", 0, 'a', ""}}) {
    std::string buffer = before;
    unsigned int size = length;
    removeChar(buffer.data(), removed, &size);
    EXPECT_EQ(buffer.substr(0, size), after);
    EXPECT_EQ(buffer.substr(length), before.substr(length)) << "behind the length";
  }
  std::string buffer = "\0b\0\0c"s;
  unsigned int size = 5;
  removeNul(nullptr, &size);
  removeNul(buffer.data(), nullptr);
  removeNul(buffer.data(), &size);
  EXPECT_EQ(buffer.substr(0, size), "bc");
}

TEST(Tools, MaskBufMarksTheLastByteAlone) {
  using Row = std::tuple<std::string, char, int, std::string>;
  for (const auto& [before, mask, setLast, after] :
       {Row{"\xFF\xFF\xFF", '\x80', 1, "\x7F\x7F\xFF"}, Row{"\xFF\xFF\xFF", '\x80', 0, "\x7F\x7F\x7F"},
        Row{"\0"s, '\x80', 1, "\x80"}, Row{"\0\0"s, '\x81', -1, "\0\x81"s}, Row{"", '\x80', 1, ""}}) {
    std::string buffer = before;
    maskBuf(buffer.data(), static_cast<uint32_t>(buffer.size()), mask, setLast);
    EXPECT_EQ(buffer, after);
  }
  maskBuf(nullptr, 3, '\x80', 1);
}

TEST(Tools, SystemErrorsHaveTheirTexts) {
  constexpr unsigned int withoutText = 0x7FFFFFFF;
  const std::string missing = strerror(ENOENT);
  using Row = std::tuple<unsigned int, size_t, std::string>;
  // Where neither the text nor its stand-in fits, the buffer stays.
  for (const auto& [error, size, text] :
       {Row{ENOENT, missing.size() + 4, missing}, Row{ENOENT, missing.size() + 3, "before"},
        Row{0x57, 512, "The parameter is incorrect."}, Row{withoutText, 35, NO_MSG_AVAIL},
        Row{withoutText, 34, "before"}}) {
    for (const unsigned int language : {0U, 0x0409U}) {
      char buffer[512] = "before";
      const size_t given = language == 0 ? get_system_error_message(error, buffer, size)
                                         : systemErrorMessage(error, language, buffer, size);
      EXPECT_EQ(given, text == "before" ? 0 : text.size()) << error;
      EXPECT_EQ(buffer, text) << error;
    }
  }
}
