/// System error numbers as text, the same way for the log and for the serial library.
#pragma once

#include "systemErrors.h"

#include <cstddef>

/// What stands in for the text of an error that has none.
#define NO_MSG_AVAIL "no Windows error message availible"
constexpr size_t NO_MSG_AVAIL_LEN = sizeof NO_MSG_AVAIL - 1;

/// Turns a system error number into its text.
/// @param language 0 for the system's default language, 0x0409 for English
/// @param size of buffer in bytes, terminator included
/// @return length of the text; 0 with buffer as it was if there is none and NO_MSG_AVAIL doesn't fit
size_t systemErrorMessage(unsigned int err, unsigned int language, char* buffer, size_t size);
