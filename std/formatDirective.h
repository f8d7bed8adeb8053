/// Format strings: what stands between a percent sign and the conversion's letter (VPP-4.3 sections 6.2.1 and 6.2.2).
#pragma once

#include "QVvisa_std.h"

#include <cstddef>

namespace qvstd {

enum class FormatKind { Print, Scan };
enum class ArgumentSize { Default, Char, Short, Long, LongLong, LongDouble, Real32, Real64 };

struct FormatDirective {
  ViChar flags[6] = "";  ///< of C's printf, each once
  bool hasWidth = false;
  bool isWidthArgument = false;  ///< `*`, or `#` of a scan
  ViUInt32 width = 0;
  bool hasPrecision = false;
  bool isPrecisionArgument = false;
  ViUInt32 precision = 0;
  bool isArray = false;
  bool isArraySizeArgument = false;
  ViUInt32 arraySize = 0;
  ViChar notation = '\0';  ///< behind `@`: 1, 2, 3, H, Q or B
  ArgumentSize size = ArgumentSize::Default;
  bool isLittleEndian = false;  ///< `!ol`
  bool isSuppressed = false;    ///< `*` of a scan
  ViChar code = '\0';
  const ViChar* setBegin = nullptr;  ///< between the brackets of `%[`, without the `^`
  const ViChar* setEnd = nullptr;
  bool isSetInverted = false;
};

/// Reads a directive from behind its percent sign.
/// @return what follows it; null where no conversion can be made out
const ViChar* parseDirective(const ViChar* text, FormatKind kind, FormatDirective& directive);

/// The character that an escape sequence stands for, of a language that leaves them to this library.
/// @param text  at the backslash; moved behind the sequence
ViChar parseEscape(const ViChar*& text);

/// Bytes of an element of a binary block.
size_t elementSize(ArgumentSize size);

}  // namespace qvstd
