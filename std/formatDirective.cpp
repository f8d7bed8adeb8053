#include "formatDirective.h"

#include <cstring>

namespace qvstd {
namespace {

/// Bounds widths and sizes, so that none overflows.
constexpr ViUInt32 kLargestNumber = 0x0FFFFFFF;

bool isDigit(ViChar c) {
  return c >= '0' && c <= '9';
}

class Parser {
public:
  Parser(const ViChar* text, FormatKind kind, FormatDirective& directive)
      : text_(text), isScan_(kind == FormatKind::Scan), directive_(directive) {}

  const ViChar* parse() {
    while (*text_ && takeModifier()) {
    }
    if (!*text_ || isWrong_) return nullptr;
    directive_.code = *text_++;
    if (directive_.code == '[' && !takeSet()) return nullptr;
    return text_;
  }

private:
  bool takeModifier() {
    if (isDigit(*text_) && (isScan_ || *text_ != '0')) return takeWidth();
    switch (*text_) {
    case '.':
      return takePrecision();
    case ',':
      return takeArray();
    case '@':
      return takeOneOf("123HQB", directive_.notation);
    case '!':
      return takeByteOrder();
    case '*':
    case '#':
      return takeArgument();
    case '-':
    case '+':
    case ' ':
    case '0':
      return takeFlag();
    default:
      return takeSize();
    }
  }

  ViUInt32 takeNumber() {
    ViUInt32 number = 0;
    for (; isDigit(*text_); ++text_) {
      number = number * 10 + static_cast<ViUInt32>(*text_ - '0');
      if (number > kLargestNumber) number = kLargestNumber;
    }
    return number;
  }

  /// A number, or the sign that says that it is an argument.
  void takeNumberOrArgument(bool& isArgument, ViUInt32& number) {
    isArgument = *text_ == (isScan_ ? '#' : '*');
    if (isArgument) {
      ++text_;
    } else {
      number = takeNumber();
    }
  }

  bool takeWidth() {
    directive_.hasWidth = true;
    directive_.width = takeNumber();
    return true;
  }

  bool takePrecision() {
    ++text_;
    directive_.hasPrecision = true;
    takeNumberOrArgument(directive_.isPrecisionArgument, directive_.precision);
    return true;
  }

  bool takeArray() {
    ++text_;
    directive_.isArray = true;
    takeNumberOrArgument(directive_.isArraySizeArgument, directive_.arraySize);
    isWrong_ = isWrong_ || (!directive_.isArraySizeArgument && directive_.arraySize == 0);
    return true;
  }

  bool takeOneOf(const ViChar* allowed, ViChar& choice) {
    ++text_;
    isWrong_ = isWrong_ || !*text_ || !strchr(allowed, *text_);
    if (*text_) choice = *text_++;
    return true;
  }

  bool takeByteOrder() {
    ViChar order = '\0';
    takeOneOf("o", order);
    if (!isWrong_) --text_;
    if (!isWrong_) takeOneOf("lb", order);
    directive_.isLittleEndian = order == 'l';
    return true;
  }

  /// What a scan suppresses by `*` is a width from the arguments where printing, and the other way round with `#`.
  bool takeArgument() {
    const bool isSize = *text_ == (isScan_ ? '#' : '*');
    if (!isSize && !isScan_) return takeFlag();
    ++text_;
    if (!isSize) directive_.isSuppressed = true;
    if (isSize) directive_.hasWidth = directive_.isWidthArgument = true;
    return true;
  }

  bool takeFlag() {
    const size_t length = strlen(directive_.flags);
    isWrong_ = isWrong_ || isScan_;
    if (!strchr(directive_.flags, *text_)) directive_.flags[length] = *text_;
    ++text_;
    return true;
  }

  bool takeSize() {
    struct Row {
      const ViChar* letters;
      ArgumentSize size;
    };
    constexpr Row kRows[] = {{"hh", ArgumentSize::Char},      {"h", ArgumentSize::Short},
                             {"ll", ArgumentSize::LongLong},  {"l", ArgumentSize::Long},
                             {"L", ArgumentSize::LongDouble}, {"z", ArgumentSize::Real32},
                             {"Z", ArgumentSize::Real64}};
    for (const Row& row : kRows) {
      const size_t length = strlen(row.letters);
      if (strncmp(text_, row.letters, length) != 0) continue;
      directive_.size = row.size;
      text_ += length;
      return true;
    }
    return false;
  }

  /// A bracket that comes first belongs to the set.
  bool takeSet() {
    directive_.isSetInverted = *text_ == '^';
    if (directive_.isSetInverted) ++text_;
    directive_.setBegin = text_;
    if (*text_ == ']') ++text_;
    while (*text_ && *text_ != ']') ++text_;
    directive_.setEnd = text_;
    return *text_ && *text_++ == ']';
  }

  const ViChar* text_;
  const bool isScan_;
  bool isWrong_ = false;
  FormatDirective& directive_;
};

}  // namespace

const ViChar* parseDirective(const ViChar* text, FormatKind kind, FormatDirective& directive) {
  return Parser(text, kind, directive).parse();
}

ViChar parseEscape(const ViChar*& text) {
  constexpr const ViChar* kLetters = "nrtabfv";
  constexpr const ViChar* kMeanings = "\n\r\t\a\b\f\v";
  constexpr int kMostDigits = 3;
  const ViChar letter = text[1];
  if (!letter) return *text++;
  text += 2;
  if (const ViChar* found = strchr(kLetters, letter)) return kMeanings[found - kLetters];
  if (letter < '0' || letter > '7') return letter;
  int value = letter - '0';
  for (int digits = 1; digits < kMostDigits && *text >= '0' && *text <= '7'; ++digits)
    value = value * 8 + (*text++ - '0');
  return static_cast<ViChar>(value);
}

size_t elementSize(ArgumentSize size) {
  switch (size) {
  case ArgumentSize::Short:
    return sizeof(ViInt16);
  case ArgumentSize::Long:
    return sizeof(ViInt32);
  case ArgumentSize::LongLong:
    return sizeof(ViInt64);
  case ArgumentSize::Real32:
    return sizeof(ViReal32);
  case ArgumentSize::Real64:
    return sizeof(ViReal64);
  default:
    return sizeof(ViByte);
  }
}

}  // namespace qvstd
