#include "formattedOutput.h"

#include "formatDirective.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace qvstd {
namespace {

/// What a directive asks for once its arguments are in it.
struct Shape {
  int width;
  int precision;  ///< negative for none
};

/// A number of any type, as it came from an argument or an array.
struct Value {
  bool isReal;
  ViInt64 integer;   ///< sign-extended, or zero-extended for an unsigned conversion
  ViUInt64 pattern;  ///< the bits in the width of the type
  long double real;
};

ViStatus putChar(Output& output, ViChar c) {
  return output.put(&c, 1);
}

/// Prints through C's own printf, whatever length comes of it.
template <typename... T>
ViStatus putFormatted(Output& output, const char* format, T... values) {
  ViChar text[256];
  const int length = snprintf(text, sizeof text, format, values...);
  if (length < 0) return VI_ERROR_INV_FMT;
  if (static_cast<size_t>(length) < sizeof text) return output.put(text, static_cast<size_t>(length));
  const size_t size = static_cast<size_t>(length) + 1;
  auto* longText = static_cast<ViChar*>(malloc(size));
  if (!longText) return VI_ERROR_ALLOC;
  snprintf(longText, size, format, values...);
  const ViStatus status = output.put(longText, size - 1);
  free(longText);
  return status;
}

/// The format string of one value: the flags, width and precision from arguments, and the type's letters.
struct CFormat {
  CFormat(const FormatDirective& directive, const char* type, ViChar code) {
    snprintf(text, sizeof text, "%%%s*.*%s%c", directive.flags, type, code);
  }
  char text[24];
};

bool isInteger(ViChar code) {
  return strchr("dioxuX", code) != nullptr;
}

bool isReal(ViChar code) {
  return strchr("eEfFgGaA", code) != nullptr;
}

bool isSigned(ViChar code) {
  return code == 'd' || code == 'i';
}

template <typename T>
Value integerValue(T value, bool isSignedCode) {
  const auto bits = static_cast<std::make_unsigned_t<T>>(value);
  const auto number = isSignedCode ? static_cast<ViInt64>(value) : static_cast<ViInt64>(bits);
  return {false, number, bits, static_cast<long double>(value)};
}

Value realValue(long double value) {
  const auto integer =
      static_cast<ViInt64>(std::clamp(std::isnan(value) ? 0.0L : std::round(value), static_cast<long double>(INT64_MIN),
                                      static_cast<long double>(INT64_MAX)));
  return {true, integer, static_cast<ViUInt64>(integer), value};
}

/// Reads an element of an array and moves on.
template <typename T>
T nextElement(const ViByte*& element) {
  T value;
  memcpy(&value, element, sizeof value);
  element += sizeof value;
  return value;
}

Value integerElement(ArgumentSize size, ViChar code, const ViByte*& element) {
  switch (size) {
  case ArgumentSize::Char:
    return integerValue(nextElement<ViInt8>(element), isSigned(code));
  case ArgumentSize::Short:
    return integerValue(nextElement<ViInt16>(element), isSigned(code));
  case ArgumentSize::LongLong:
    return integerValue(nextElement<ViInt64>(element), isSigned(code));
  default:
    return integerValue(nextElement<ViInt32>(element), isSigned(code));
  }
}

Value realElement(ArgumentSize size, const ViByte*& element) {
  switch (size) {
  case ArgumentSize::Real32:
    return realValue(nextElement<ViReal32>(element));
  case ArgumentSize::LongDouble:
    return realValue(nextElement<long double>(element));
  default:
    return realValue(nextElement<ViReal64>(element));
  }
}

/// Short arguments come as int.
Value integerArgument(ArgumentSize size, ViChar code, Arguments& arguments) {
  switch (size) {
  case ArgumentSize::Char:
    return integerValue(static_cast<ViInt8>(arguments.next<int>()), isSigned(code));
  case ArgumentSize::Short:
    return integerValue(static_cast<ViInt16>(arguments.next<int>()), isSigned(code));
  case ArgumentSize::LongLong:
    return integerValue(arguments.next<ViInt64>(), isSigned(code));
  default:
    return integerValue(arguments.next<ViInt32>(), isSigned(code));
  }
}

Value realArgument(ArgumentSize size, Arguments& arguments) {
  if (size == ArgumentSize::LongDouble) return realValue(arguments.next<long double>());
  return realValue(arguments.next<double>());
}

/// Digits to the base of a power of two, behind the IEEE 488.2 sign of that base.
ViStatus putNonDecimal(Output& output, const FormatDirective& directive, const Shape& shape, ViUInt64 value) {
  const int bits = directive.notation == 'H' ? 4 : directive.notation == 'Q' ? 3 : 1;
  const ViUInt64 base = ViUInt64{1} << bits;
  ViChar text[72];
  ViChar* begin = text + sizeof text;
  *--begin = '\0';
  do {
    *--begin = "0123456789ABCDEF"[value % base];
    value /= base;
  } while (value != 0);
  *--begin = directive.notation;
  *--begin = '#';
  return putFormatted(output, strchr(directive.flags, '-') ? "%-*s" : "%*s", shape.width, begin);
}

/// The response forms of IEEE 488.2, section 8.7.
ViStatus putNotation(Output& output, const FormatDirective& directive, const Shape& shape, const Value& value) {
  const auto orDefault = [&](int precision) { return shape.precision >= 0 ? shape.precision : precision; };
  switch (directive.notation) {
  case '1':
    return putFormatted(output, CFormat(directive, "ll", 'd').text, shape.width, -1,
                        static_cast<long long>(value.integer));
  case '2':
    return putFormatted(output, CFormat(directive, "L", 'f').text, shape.width,
                        std::max(orDefault(value.isReal ? 6 : 1), 1), value.real);
  case '3':
    return putFormatted(output, CFormat(directive, "L", 'E').text, shape.width, std::max(orDefault(6), 1), value.real);
  default:
    return putNonDecimal(output, directive, shape, value.pattern);
  }
}

ViStatus putNumber(Output& output, const FormatDirective& directive, const Shape& shape, const Value& value) {
  if (directive.notation) return putNotation(output, directive, shape, value);
  if (value.isReal) {
    return putFormatted(output, CFormat(directive, "L", directive.code).text, shape.width, shape.precision, value.real);
  }
  return putFormatted(output, CFormat(directive, "ll", directive.code).text, shape.width, shape.precision,
                      static_cast<long long>(value.integer));
}

Value argument(const FormatDirective& directive, Arguments& arguments) {
  return isReal(directive.code) ? realArgument(directive.size, arguments)
                                : integerArgument(directive.size, directive.code, arguments);
}

ViStatus putArray(Output& output, const FormatDirective& directive, const Shape& shape, Arguments& arguments) {
  const ViUInt32 count = directive.arraySize;
  const auto* element = arguments.next<const ViByte*>();
  if (!element) return VI_ERROR_USER_BUF;
  ViStatus status = VI_SUCCESS;
  for (ViUInt32 i = 0; i < count && status == VI_SUCCESS; ++i) {
    if (i > 0) status = putChar(output, ',');
    const Value value = isReal(directive.code) ? realElement(directive.size, element)
                                               : integerElement(directive.size, directive.code, element);
    if (status == VI_SUCCESS) status = putNumber(output, directive, shape, value);
  }
  return status;
}

ViStatus putString(Output& output, const FormatDirective& directive, const Shape& shape, Arguments& arguments) {
  const auto* text = arguments.next<const ViChar*>();
  if (!text) return VI_ERROR_USER_BUF;
  return putFormatted(output, CFormat(directive, "", 's').text, shape.width, shape.precision, text);
}

/// Not by way of a C string: the character may be NUL.
ViStatus putCharacter(Output& output, const FormatDirective& directive, const Shape& shape, Arguments& arguments) {
  const auto c = static_cast<ViChar>(arguments.next<int>());
  const bool isLeft = strchr(directive.flags, '-') != nullptr;
  ViStatus status = isLeft ? putChar(output, c) : VI_SUCCESS;
  for (int i = 1; i < shape.width && status == VI_SUCCESS; ++i) status = putChar(output, ' ');
  return status == VI_SUCCESS && !isLeft ? putChar(output, c) : status;
}

ViStatus putElements(Output& output, const FormatDirective& directive, const ViByte* bytes, size_t count) {
  const size_t size = elementSize(directive.size);
  const bool isSwapped = directive.isLittleEndian != (std::endian::native == std::endian::little);
  if (!isSwapped || size == 1) return output.put(bytes, count * size);
  ViStatus status = VI_SUCCESS;
  for (size_t i = 0; i < count && status == VI_SUCCESS; ++i) {
    ViByte element[sizeof(ViInt64)];
    std::reverse_copy(bytes + i * size, bytes + (i + 1) * size, element);
    status = output.put(element, size);
  }
  return status;
}

/// Binary blocks: `b` with a length in front, `B` up to the end of the message, `y` bare. The width is their number of
/// elements.
ViStatus putBlock(Output& output, const FormatDirective& directive, const Shape& shape, Arguments& arguments) {
  const auto* bytes = arguments.next<const ViByte*>();
  if (!directive.hasWidth || shape.width < 0) return VI_ERROR_INV_FMT;
  const auto count = static_cast<size_t>(shape.width);
  if (!bytes && count > 0) return VI_ERROR_USER_BUF;
  ViStatus status = VI_SUCCESS;
  if (directive.code == 'b') {
    ViChar length[16];
    const int digits =
        snprintf(length, sizeof length, "%u", static_cast<unsigned>(count * elementSize(directive.size)));
    status = putFormatted(output, "#%d%s", digits, length);
  } else if (directive.code == 'B') {
    status = output.put("#0", 2);
  }
  if (status == VI_SUCCESS) status = putElements(output, directive, bytes, count);
  if (status != VI_SUCCESS || directive.code != 'B') return status;
  status = putChar(output, '\n');
  return status == VI_SUCCESS ? output.end() : status;
}

/// Takes the arguments that a directive's own numbers come from, in the order of the text.
Shape takeShape(FormatDirective& directive, Arguments& arguments) {
  Shape shape{static_cast<int>(directive.width), -1};
  if (directive.isWidthArgument) shape.width = arguments.next<int>();
  if (directive.hasPrecision) shape.precision = static_cast<int>(directive.precision);
  if (directive.isPrecisionArgument) shape.precision = arguments.next<int>();
  if (directive.isArraySizeArgument) directive.arraySize = static_cast<ViUInt32>(std::max(arguments.next<int>(), 0));
  return shape;
}

ViStatus convert(Output& output, FormatDirective& directive, Arguments& arguments) {
  if (directive.code == '%') return putChar(output, '%');
  const Shape shape = takeShape(directive, arguments);
  switch (directive.code) {
  case 'c':
    return putCharacter(output, directive, shape, arguments);
  case 's':
    return putString(output, directive, shape, arguments);
  case 'b':
  case 'B':
  case 'y':
    return putBlock(output, directive, shape, arguments);
  default:
    break;
  }
  if (!isInteger(directive.code) && !isReal(directive.code)) return VI_ERROR_NSUP_FMT;
  if (directive.isArray) return putArray(output, directive, shape, arguments);
  return putNumber(output, directive, shape, argument(directive, arguments));
}

/// A newline of the format string, unlike one in the data, ends the message.
ViStatus putPlain(Output& output, ViChar c) {
  const ViStatus status = putChar(output, c);
  return status == VI_SUCCESS && c == '\n' ? output.end() : status;
}

}  // namespace

ViStatus print(Output& output, ViConstString format, Arguments& arguments) {
  ViStatus status = VI_SUCCESS;
  while (*format && status == VI_SUCCESS) {
    if (*format == '\\') {
      status = putPlain(output, parseEscape(format));
    } else if (*format != '%') {
      status = putPlain(output, *format++);
    } else {
      FormatDirective directive;
      format = parseDirective(format + 1, FormatKind::Print, directive);
      if (!format) return VI_ERROR_INV_FMT;
      status = convert(output, directive, arguments);
    }
  }
  return status;
}

}  // namespace qvstd
