/// What users write: escapes in a program message, terminations, hexadecimal digits, numbers, names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Replaces \n, \r, \t, \\ and \xHH. Throws UsageError on any other escape.
std::string unescape(std::string_view text);
/// LF, CR, CRLF or none, without regard to case, or any other text with escapes.
std::string parseTermination(std::string_view text);

/// The bytes that pairs of hexadecimal digits stand for; blanks, colons and commas may separate pairs. Throws
/// UsageError on anything else.
std::string bytesOfHex(std::string_view text);
/// Bytes as pairs of hexadecimal digits with a blank between them.
std::string hexOfBytes(std::string_view bytes);

/// A whole decimal or 0x number between `lowest` and `highest`; nothing if `text` isn't one.
std::optional<int64_t> parseNumber(std::string_view text, int64_t lowest, int64_t highest);

/// A name without the prefix VI_ATTR_, QV_ATTR_, QVVI_, VI_ or QV_, in capitals or not.
std::string_view withoutPrefix(std::string_view name);
/// Whether `name` is `full` without regard to case, with or without one of the prefixes VI_, VI_ATTR_, QV_, QV_ATTR_
/// that `full` begins with.
bool isNameOf(std::string_view full, std::string_view name);
