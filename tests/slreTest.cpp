#include "slre.h"
#include "support/slreOracle.h"
#include "support/testing.h"

#include <pthread.h>

namespace {

using namespace std::string_view_literals;

int match(std::string_view expression, std::string_view subject, int flags = 0) {
  return SlreCall(expression, subject, 0, flags).result;
}

std::string repeated(std::string_view piece, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += piece;
  return all;
}

struct Row {
  std::string_view expression, subject;
  int result;
};

template <std::size_t N>
void check(const Row (&rows)[N], int flags = 0) {
  for (const Row& row : rows)
    EXPECT_EQ(match(row.expression, row.subject, flags), row.result) << row.expression << " on " << row.subject;
}

TEST(SlreTest, FindsTheLeftmostMatchAndCountsFromTheStart) {
  check({{"", "abc", 0},
         {"b", "abc", 2},
         {"x*", "abc", 0},
         {"abc$", "abcx", -1},
         {"$", "abc", 3},
         {"^x|b", "ab", -1},
         {"^USB0::.*::(INSTR|RAW)$", "USB0::0x7C5A::0x0042::A1234::1::RAW", 35},
         {"^USB0::.*::(INSTR|RAW)$", "USB0::0x7C5A::0x0042::A1234::1::RAWS", -1},
         {"a.c", "a\0c"sv, 3}});
  EXPECT_EQ(slre_match("a*", nullptr, 0, nullptr, 0, 0), 0);
}

TEST(SlreTest, RepeatsAsFarAsTheRestAllows) {
  check({{"a+", "baaa", 4},
         {"a.*c", "abcabc", 6},
         {"a.*?c", "abcabc", 3},
         {"a?ab", "ab", -1},    // what `?` has taken stays taken
         {"a*a", "aa", 1},      // when the longest repetition fails, zero repetitions win if they work
         {"a*b?^", "ab", 0},    // also without a byte
         {"(x*)+", "y", -1},    // a `+` that matched nothing has failed
         {"a*^b", "aab", 3}});  // `^` looks at the text that is left to the rest
}

TEST(SlreTest, TriesAlternativesUntilOneTakesAByte) {
  check({{"a(b|c)d", "acd", 3},
         {"(x*|y)", "z", -1},     // an empty match doesn't end the search for an alternative
         {"(a*)ab", "aaab", 4},   // a group gives back
         {"(a|ab)c", "abc", -1},  // but its alternative stands
         {"(a$)b", "ab", 2},      // giving back moves the end that `$` sees
         {"(a)^b", "ab", -1},
         {"(a|b|c)|d", "b", -1},       // an outer bar behind a group turns the order of the group's bars
         {"(a)|(b)", "b", -1},         // each alternative counts its brackets from the first one on
         {"((a)b)(c)", "abc", -1},     // a group without a quantifier doesn't step past the brackets inside it,
         {"^((a*))(cde|f)", "x", -4},  // which can even lead to a bar
         {"((a)b)+(c)", "ababc", 5},   // one with a quantifier does
         {"(a)?(b)", "ab", 2}});
}

TEST(SlreTest, SetsAndEscapes) {
  check({{"[^0-9]", "5", -1},
         {"[^0-9]", "", -1},
         {"[abc", "b", 1},
         {"x[]", "x]", -1},
         {"x[^]", "x]", 2},
         {"[a-]", "-", 1},
         {"[\\]\\d]+$", "4]", 2},
         {"[\\xzz]", "z", -1},  // unchecked inside a set, and matches nothing
         {"[.]", "q", 1},       // an operator keeps its meaning there
         {"[$|]", "$", -1},
         {"[\x80-\x7F]", "a", 1},  // bounds are signed
         {"[a-\\]b]", "b", -1},    // a range is three characters, so its bound can't be escaped
         {"\\S\\s\\d", "x 7", 3},
         {"\\b\\f\\n\\r\\t\\v", "\b\f\n\r\t\v", 6},
         {"\\x4a\\x4A", "JJ", 2},
         {"\\^\\$\\(\\)\\.\\[\\]\\*\\+\\?\\|\\\\", "^$().[]*+?|\\", 12}});
  check({{"ABC", "abc", 3}, {"[A-C]", "b", 1}, {"[XY]", "y", 1}, {"\\x41", "a", -1}, {"\xC4", "\xE4", -1}},
        SLRE_IGNORE_CASE);
  check({{"ABC", "abc", -1}, {"[A-C]", "b", -1}});
}

TEST(SlreTest, FaultsHaveTheirCodes) {
  const std::string groups99 = repeated("(a)", 99), bars100 = repeated("a|", 100);
  for (const auto subject : {"a"sv, ""sv}) {
    check({{"*", subject, SLRE_UNEXPECTED_QUANTIFIER},
           {"(a", subject, SLRE_UNBALANCED_BRACKETS},
           {"a)", subject, SLRE_UNBALANCED_BRACKETS},
           {"()", subject, SLRE_NO_MATCH},
           {"\\q", subject, SLRE_INVALID_METACHARACTER},
           {"\\", subject, SLRE_INVALID_METACHARACTER},
           {"\\x4g", subject, SLRE_INVALID_METACHARACTER},
           {"[\\", subject, SLRE_INVALID_CHARACTER_SET},
           {groups99 + "(a)", subject, SLRE_TOO_MANY_BRACKETS},
           {bars100 + "a|", subject, SLRE_TOO_MANY_BRANCHES}});
  }
  EXPECT_EQ(match("ab?*", "b"), SLRE_NO_MATCH) << "a fault behind the failure stays unseen";
  EXPECT_EQ(match(bars100 + "b", "b"), 1);
  EXPECT_EQ(match(groups99, repeated("a", 99)), 99);
}

TEST(SlreTest, CapturesFollowTheOpeningBrackets) {
  const auto captures = [](std::string_view expression) { return SlreCall(expression, "xUSB0::42", 3, 0).captures; };
  using Captures = std::vector<SlreOracle::Capture>;
  constexpr SlreOracle::Capture none{-1, 0};
  EXPECT_EQ(captures("((U.*)::)42"), (Captures{{1, 6}, {1, 4}, none}));
  EXPECT_EQ(captures("(q*)([A-Z])+(0:*)"), (Captures{none, {3, 1}, {4, 3}})) << "an empty one, the last of several";
  EXPECT_EQ(captures("(((U)S)x|U)"), (Captures{{1, 1}, none, {1, 1}})) << "what a failed attempt has written stays";

  EXPECT_EQ(slre_match("(a)(b)", "ab", 2, nullptr, 1, 0), SLRE_CAPS_ARRAY_TOO_SMALL);
  EXPECT_EQ(slre_match("(a)(b)", "ab", 2, nullptr, 2, 0), 2);
  slre_cap one{};
  EXPECT_EQ(slre_match("(a)", "a", 1, &one, 0, 0), 1);
  EXPECT_EQ(one.ptr, nullptr) << "an array of no entries";
}

/// Each group tries every length, which makes the time exponential in their number.
TEST(SlreTest, GivesUpAtTheEndOfItsBudget) {
  const std::string subject(40, 'a'), groups = repeated("(a|b)", 99);
  const std::string hostile = repeated("(a*)", 20);
  EXPECT_EQ(match("^" + hostile + "b|" + subject, subject), SLRE_NO_MATCH) << "what follows isn't tried any more";
  EXPECT_EQ(match("^a(" + hostile + "b)?", subject), SLRE_NO_MATCH) << "not even what a quantifier would step around";
  EXPECT_EQ(match("^" + hostile + "$", subject), 40);
  EXPECT_EQ(match(".*:.*:.*:INSTR", repeated("USB0:", 30) + "INSTR"), 155);
  EXPECT_EQ(match("b", std::string(4 << 20, 'a') + "b"), (4 << 20) + 1) << "a plain search isn't limited";
  EXPECT_EQ(match(".*", std::string(4 << 20, 'a')), 4 << 20);
  const std::string wideSet = "[" + std::string(1 << 21, '-') + "a]+";
  EXPECT_EQ(match(wideSet, "a"), 1);
  EXPECT_EQ(match(wideSet, "aaaaaaaa"), SLRE_NO_MATCH) << "the bytes of a set count each time they are looked at";
  EXPECT_EQ(match(groups + "c|a", repeated("ab", 50)), 1) << "a chain of groups leaves time for the other alternative";
}

/// A thread with a small stack stands in for a host program that has little left.
TEST(SlreTest, DeepExpressionsStayOnASmallStack) {
  const auto run = [](void*) -> void* {
    EXPECT_EQ(match(repeated("a*", 200), "aaa"), 3);
    EXPECT_EQ(match(repeated("a*", 200000), "aaa"), SLRE_NO_MATCH);
    EXPECT_EQ(match(repeated("(", 99) + "a" + repeated(")+", 99) + "$", "aa"), 2);
    EXPECT_EQ(match(repeated("a?", 200000), "aaa"), 3);
    return nullptr;
  };
  pthread_attr_t attributes;
  pthread_t thread;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
#if defined(__SANITIZE_THREAD__)
  constexpr std::size_t stackSize = 2048 * 1024;  // its frames are several times as large
#else
  constexpr std::size_t stackSize = 512 * 1024;
#endif
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, stackSize), 0);
  ASSERT_EQ(pthread_create(&thread, &attributes, run, nullptr), 0);
  EXPECT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
}

}  // namespace
