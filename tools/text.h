/// What travels between the user and an instrument: escapes in a program message, the shape of a response.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Replaces \n, \r, \t, \\ and \xHH. Throws UsageError on any other escape.
std::string unescape(std::string_view text);

/// The bytes that pairs of hexadecimal digits stand for; blanks, colons and commas may separate pairs. Throws
/// UsageError on anything else.
std::string bytesOfHex(std::string_view text);
/// Bytes as pairs of hexadecimal digits with a blank between them.
std::string hexOfBytes(std::string_view bytes);

/// A whole decimal or 0x number between `lowest` and `highest`; nothing if `text` isn't one.
std::optional<int64_t> parseNumber(std::string_view text, int64_t lowest, int64_t highest);

/// Whether `name` is `full` without regard to case, with or without one of the prefixes VI_, VI_ATTR_, QV_, QV_ATTR_
/// that `full` begins with.
bool isNameOf(std::string_view full, std::string_view name);

/// Whether a response is an IEEE 488.2 arbitrary block, hence binary.
bool isBlock(std::string_view response);
/// Where the definite-length block that a response begins with ends; npos while its header is incomplete, nothing if
/// the response doesn't begin with one.
std::optional<size_t> endOfBlock(std::string_view response);

/// Whether the response has come in whole: a definite-length block with nothing behind it, or anything that ends in the
/// termination. An empty termination ends nothing but blocks.
bool isComplete(std::string_view response, std::string_view termination);
/// Whether the response is a definite-length block that lacks data.
bool isCutBlock(std::string_view response);

/// The response as the user gets it. A definite-length block goes without the terminator behind it, which may or may
/// not have arrived with it; a text gets the newline that it lacks.
std::string presentable(std::string response, std::string_view termination);
