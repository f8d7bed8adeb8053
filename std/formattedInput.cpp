#include "formattedInput.h"

#include "formatDirective.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace qvstd {
namespace {

constexpr size_t kUnlimited = SIZE_MAX;
/// The longest text of a number.
constexpr size_t kNumberSize = 512;

bool isSpace(int c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

/// Why there is no byte: the read failed, or the message has ended too soon.
ViStatus shortage(const Input& input) {
  return input.status() == VI_SUCCESS ? VI_ERROR_INV_FMT : input.status();
}

/// White space at the front of a value may be the end of the message before it.
void skipSpace(Input& input) {
  input.startMessage();
  while (isSpace(input.peek())) {
    input.take();
    input.startMessage();
  }
}

/// White space of the format stands for what there is of it, without a wait for more.
void skipWaitingSpace(Input& input) {
  while (input.isReady() && isSpace(input.peek())) input.take();
}

/// Where converted values go: the arguments' pointers, or nowhere.
class Target {
public:
  Target(bool isSuppressed, Arguments& arguments)
      : next_(isSuppressed ? nullptr : arguments.next<ViByte*>()), isMissing_(!isSuppressed && !next_) {}

  bool isMissing() const { return isMissing_; }
  template <typename T>
  void store(T value) {
    if (next_) memcpy(next_, &value, sizeof value);
    if (next_) next_ += sizeof value;
  }

private:
  ViByte* next_;
  bool isMissing_;
};

// Numbers

/// Collects the characters of a number.
class NumberText {
public:
  NumberText(Input& input, size_t width) : input_(input), left_(std::min(width, kNumberSize - 1)) {}

  bool takeIf(const char* allowed) {
    const int c = left_ > 0 ? input_.peek() : Input::kEnd;
    if (c == Input::kEnd || c == '\0' || !strchr(allowed, c)) return false;
    text_[length_++] = static_cast<char>(c);
    text_[length_] = '\0';
    input_.take();
    --left_;
    return true;
  }
  size_t takeAll(const char* allowed) {
    const size_t before = length_;
    while (takeIf(allowed)) {
    }
    return length_ - before;
  }
  void forget() { length_ = 0; }
  const char* text() const { return text_; }

private:
  Input& input_;
  size_t left_;
  size_t length_ = 0;
  char text_[kNumberSize] = "";
};

struct Number {
  long double real = 0;
  ViInt64 integer = 0;
};

constexpr const char* kDigits[] = {
    "", "", "01", "", "", "", "", "", "01234567", "", "0123456789", "", "", "", "", "", "0123456789abcdefABCDEF"};

bool takeInteger(NumberText& text, int base, Number& number) {
  if (text.takeAll(kDigits[base]) == 0) return false;
  number.integer = static_cast<ViInt64>(strtoull(text.text(), nullptr, base));
  number.real = static_cast<long double>(number.integer);
  return true;
}

/// The other bases of IEEE 488.2: #H, #Q and #B.
bool takeNonDecimal(NumberText& text, Number& number) {
  constexpr struct {
    const char* letters;
    int base;
  } kBases[] = {{"Hh", 16}, {"Qq", 8}, {"Bb", 2}};
  for (const auto& row : kBases) {
    if (!text.takeIf(row.letters)) continue;
    text.forget();
    return takeInteger(text, row.base, number);
  }
  return false;
}

/// Any decimal number, also one with a fraction or an exponent where an integer is wanted, which is rounded then.
bool takeDecimal(NumberText& text, Number& number) {
  constexpr const char* kDecimal = kDigits[10];
  text.takeIf("+-");
  size_t digits = text.takeAll(kDecimal);
  const bool isFraction = text.takeIf(".");
  if (isFraction) digits += text.takeAll(kDecimal);
  if (digits == 0) return false;
  const bool isScaled = text.takeIf("eE");
  if (isScaled) {
    text.takeIf("+-");
    if (text.takeAll(kDecimal) == 0) return false;
  }
  number.real = strtold(text.text(), nullptr);
  const long double rounded =
      std::clamp(std::round(number.real), static_cast<long double>(INT64_MIN), static_cast<long double>(INT64_MAX));
  number.integer = isFraction || isScaled ? static_cast<ViInt64>(rounded) : strtoll(text.text(), nullptr, 10);
  return true;
}

/// C's own way to write a base: 0x in front of a hexadecimal number, 0 in front of an octal one, as %i takes them.
bool takePrefixed(NumberText& text, ViChar code, Number& number) {
  const bool isZero = text.takeIf("0");
  if (isZero && code != 'o' && text.takeIf("xX")) {
    text.forget();
    return takeInteger(text, 16, number);
  }
  const int base = code == 'o' || (code == 'i' && isZero) ? 8 : code == 'i' ? 10 : 16;
  return takeInteger(text, base, number) || isZero;
}

bool takeNumber(Input& input, const FormatDirective& directive, size_t width, Number& number) {
  NumberText text(input, width);
  if (text.takeIf("#")) return takeNonDecimal(text, number);
  if (strchr("oxX", directive.code)) return takePrefixed(text, directive.code, number);
  if (directive.code != 'i') return takeDecimal(text, number);
  const bool isNegative = text.takeIf("-");
  if (!isNegative) text.takeIf("+");
  text.forget();
  const bool isTaken = takePrefixed(text, 'i', number);
  if (isNegative) number.integer = -number.integer;
  return isTaken;
}

void storeInteger(Target& target, ArgumentSize size, ViInt64 value) {
  switch (size) {
  case ArgumentSize::Char:
    return target.store(static_cast<ViInt8>(value));
  case ArgumentSize::Short:
    return target.store(static_cast<ViInt16>(value));
  case ArgumentSize::LongLong:
    return target.store(value);
  default:
    return target.store(static_cast<ViInt32>(value));
  }
}

void storeReal(Target& target, ArgumentSize size, long double value) {
  switch (size) {
  case ArgumentSize::Long:
  case ArgumentSize::Real64:
    return target.store(static_cast<ViReal64>(value));
  case ArgumentSize::LongDouble:
    return target.store(value);
  default:
    return target.store(static_cast<ViReal32>(value));
  }
}

bool isReal(ViChar code) {
  return strchr("eEfFgGaA", code) != nullptr;
}

ViStatus scanNumber(Input& input, const FormatDirective& directive, size_t width, Target& target) {
  skipSpace(input);
  if (input.peek() == Input::kEnd) return shortage(input);
  Number number;
  if (!takeNumber(input, directive, width, number)) return shortage(input);
  if (isReal(directive.code)) {
    storeReal(target, directive.size, number.real);
  } else {
    storeInteger(target, directive.size, number.integer);
  }
  return VI_SUCCESS;
}

// What a directive's `#` arguments tell: how much there is room for. The number that came goes back through them.

struct Limits {
  size_t width = kUnlimited;
  ViUInt32* widthResult = nullptr;
  ViUInt32 arraySize = 1;
  ViUInt32* arrayResult = nullptr;
};

bool takeLimits(const FormatDirective& directive, Arguments& arguments, Limits& limits) {
  if (directive.hasWidth) limits.width = directive.width;
  if (directive.isWidthArgument) {
    limits.widthResult = arguments.next<ViUInt32*>();
    if (!limits.widthResult) return false;
    limits.width = *limits.widthResult;
  }
  if (directive.isArray) limits.arraySize = directive.arraySize;
  if (directive.isArraySizeArgument) {
    limits.arrayResult = arguments.next<ViUInt32*>();
    if (!limits.arrayResult) return false;
    limits.arraySize = *limits.arrayResult;
  }
  return true;
}

/// Numbers with commas between them, up to the last one or to the room that there is.
ViStatus scanNumbers(Input& input, const FormatDirective& directive, const Limits& limits, Target& target) {
  ViUInt32 count = 0;
  ViStatus status = VI_SUCCESS;
  for (bool hasMore = limits.arraySize > 0; hasMore && status == VI_SUCCESS;) {
    status = scanNumber(input, directive, limits.width, target);
    if (status == VI_SUCCESS) ++count;
    hasMore = status == VI_SUCCESS && count < limits.arraySize && input.peek() == ',';
    if (hasMore) input.take();
  }
  if (limits.arrayResult) *limits.arrayResult = count;
  return status;
}

// Text

bool isNone(int) {
  return false;
}

/// Takes characters that belong to a text, up to a number of them or to one that is its last, and ends the text.
template <typename Test, typename LastTest>
ViStatus scanText(Input& input, const Limits& limits, Target& target, Test belongs, LastTest isLast) {
  // The buffer that an argument tells the size of has to take the end of the text, too.
  const bool isSize = limits.widthResult != nullptr;
  if (isSize && limits.width == 0) return VI_ERROR_USER_BUF;
  const size_t most = isSize ? limits.width - 1 : limits.width;
  size_t length = 0;
  for (bool hasEnded = false; !hasEnded && length < most; ++length) {
    const int c = input.peek();
    if (c == Input::kEnd || !belongs(c)) break;
    target.store(static_cast<ViChar>(c));
    input.take();
    hasEnded = isLast(c);
  }
  target.store('\0');
  if (isSize) *limits.widthResult = static_cast<ViUInt32>(length);
  return length > 0 ? VI_SUCCESS : shortage(input);
}

ViStatus scanCharacters(Input& input, const Limits& limits, Target& target) {
  const size_t count = limits.width == kUnlimited ? 1 : limits.width;
  input.startMessage();
  for (size_t i = 0; i < count; ++i) {
    const int c = input.peek();
    if (c == Input::kEnd) return shortage(input);
    target.store(static_cast<ViChar>(c));
    input.take();
  }
  if (limits.widthResult) *limits.widthResult = static_cast<ViUInt32>(count);
  return VI_SUCCESS;
}

/// Whether the set of `%[` has the character; `a-z` in it is a range.
bool isInSet(const FormatDirective& directive, int character) {
  const auto c = static_cast<ViByte>(character);
  bool isFound = false;
  for (const ViChar* at = directive.setBegin; at < directive.setEnd; ++at) {
    const bool isRange = directive.setEnd - at > 2 && at[1] == '-';
    const auto first = static_cast<ViByte>(*at);
    const auto last = static_cast<ViByte>(isRange ? at[2] : *at);
    isFound = isFound || (c >= first && c <= last);
    if (isRange) at += 2;
  }
  return isFound != directive.isSetInverted;
}

ViStatus scanString(Input& input, const FormatDirective& directive, const Limits& limits, Target& target) {
  switch (directive.code) {
  case 's':
    skipSpace(input);
    return scanText(
        input, limits, target, [](int c) { return !isSpace(c); }, isNone);
  case '[':
    input.startMessage();
    return scanText(
        input, limits, target, [&](int c) { return isInSet(directive, c); }, isNone);
  case 't':
    input.startMessage();
    return scanText(
        input, limits, target, [](int) { return true; }, isNone);
  default:
    // `T`: up to a newline, which belongs to the text.
    input.startMessage();
    return scanText(
        input, limits, target, [](int) { return true; }, [](int c) { return c == '\n'; });
  }
}

// Binary data

/// Reads the length of a block behind its sign: a number of bytes, or kUnlimited up to the end of the message.
ViStatus scanBlockHead(Input& input, size_t& length) {
  skipSpace(input);
  if (input.peek() != '#') return shortage(input);
  input.take();
  const int digitCount = input.peek();
  if (digitCount < '0' || digitCount > '9') return shortage(input);
  input.take();
  length = digitCount == '0' ? kUnlimited : 0;
  for (int i = 0; i < digitCount - '0'; ++i) {
    const int digit = input.peek();
    if (digit < '0' || digit > '9') return shortage(input);
    length = length * 10 + static_cast<size_t>(digit - '0');
    input.take();
  }
  return VI_SUCCESS;
}

/// Takes bytes of a block into elements; those that there is no room for are dropped.
class Elements {
public:
  Elements(const FormatDirective& directive, size_t room, Target& target)
      : size_(elementSize(directive.size)), room_(room), target_(target),
        isSwapped_(directive.isLittleEndian != (std::endian::native == std::endian::little)) {}

  bool isFull() const { return count_ == room_; }
  size_t count() const { return count_; }
  void take(ViByte byte) {
    element_[isSwapped_ ? size_ - 1 - filled_ : filled_] = byte;
    if (++filled_ < size_) return;
    filled_ = 0;
    if (isFull()) return;
    for (size_t i = 0; i < size_; ++i) target_.store(element_[i]);
    ++count_;
  }

private:
  const size_t size_;
  const size_t room_;
  Target& target_;
  const bool isSwapped_;
  ViByte element_[sizeof(ViInt64)] = {};
  size_t filled_ = 0;
  size_t count_ = 0;
};

/// The newline at the end of a message isn't part of a block without a length.
ViStatus scanIndefinite(Input& input, Elements& elements) {
  int previous = Input::kEnd;
  for (int c = input.peek(); c != Input::kEnd; c = input.peek()) {
    if (previous != Input::kEnd) elements.take(static_cast<ViByte>(previous));
    previous = c;
    input.take();
  }
  if (previous != Input::kEnd && previous != '\n') elements.take(static_cast<ViByte>(previous));
  return input.status();
}

ViStatus scanDefinite(Input& input, size_t length, Elements& elements) {
  for (size_t i = 0; i < length; ++i) {
    // A connection whose reads end at every newline goes on behind it.
    input.startMessage();
    const int c = input.peek();
    if (c == Input::kEnd) return shortage(input);
    elements.take(static_cast<ViByte>(c));
    input.take();
  }
  return VI_SUCCESS;
}

/// `b` reads a block, `y` as many bare elements as there is room for.
ViStatus scanBinary(Input& input, const FormatDirective& directive, const Limits& limits, Target& target) {
  if (limits.width == kUnlimited) return VI_ERROR_INV_FMT;
  Elements elements(directive, limits.width, target);
  size_t length = limits.width * elementSize(directive.size);
  ViStatus status = directive.code == 'b' ? scanBlockHead(input, length) : VI_SUCCESS;
  if (status == VI_SUCCESS) {
    status = length == kUnlimited ? scanIndefinite(input, elements) : scanDefinite(input, length, elements);
  }
  if (limits.widthResult) *limits.widthResult = static_cast<ViUInt32>(elements.count());
  return status;
}

ViStatus takePlain(Input& input, ViChar expected) {
  skipSpace(input);
  if (input.peek() != static_cast<ViByte>(expected)) return shortage(input);
  input.take();
  return VI_SUCCESS;
}

ViStatus convert(Input& input, const FormatDirective& directive, Arguments& arguments) {
  if (directive.code == '%') return takePlain(input, '%');
  if (!strchr("diouxXeEfFgGaAcs[tTby", directive.code)) return VI_ERROR_NSUP_FMT;
  Limits limits;
  if (!takeLimits(directive, arguments, limits)) return VI_ERROR_USER_BUF;
  Target target(directive.isSuppressed, arguments);
  if (target.isMissing()) return VI_ERROR_USER_BUF;
  if (strchr("diouxX", directive.code) || isReal(directive.code)) return scanNumbers(input, directive, limits, target);
  if (directive.code == 'c') return scanCharacters(input, limits, target);
  if (directive.code == 'b' || directive.code == 'y') return scanBinary(input, directive, limits, target);
  return scanString(input, directive, limits, target);
}

}  // namespace

TextInput::TextInput(ViConstBuf text) {
  begin_ = text;
  end_ = text + strlen(reinterpret_cast<const char*>(text));
}

ViStatus scan(Input& input, ViConstString format, Arguments& arguments) {
  ViStatus status = VI_SUCCESS;
  while (*format && status == VI_SUCCESS) {
    if (*format == '%') {
      FormatDirective directive;
      format = parseDirective(format + 1, FormatKind::Scan, directive);
      if (!format) return VI_ERROR_INV_FMT;
      status = convert(input, directive, arguments);
      continue;
    }
    const ViChar c = *format == '\\' ? parseEscape(format) : *format++;
    if (isSpace(c)) {
      skipWaitingSpace(input);
    } else {
      status = takePlain(input, c);
    }
  }
  return status;
}

}  // namespace qvstd
