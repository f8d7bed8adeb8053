/// The thread's last system error and the system's texts.
#pragma once

#include "osAbstraction.h"

#include <cstdarg>

#if !defined(_WIN32)

constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;
/// The platform's number for a parameter that a device refuses. As an errno number it never comes from such calls.
constexpr DWORD ERROR_INVALID_PARAMETER = 0x57;
/// Set by FormatMessageA; has no text itself.
constexpr DWORD ERROR_MR_MID_NOT_FOUND = 0x13D;

/// The number of the thread's last platform failure: an errno number or one of the above.
DWORD GetLastError();
void SetLastError(DWORD error);
/// Writes the text of an error number, ended by "\r\n" and a terminator.
/// @param flags FORMAT_MESSAGE_FROM_SYSTEM, the only kind of text there is
/// @param source not read
/// @param language 0 for the language of the process, anything else for English
/// @param size of buffer in bytes, terminator included
/// @param arguments not read
/// @return length of the text; 0, with the last error ERROR_MR_MID_NOT_FOUND and buffer as it was, for a number without
///         a text, or if the text doesn't fit
DWORD FormatMessageA(DWORD flags, const void* source, DWORD error, DWORD language, char* buffer, DWORD size,
                     va_list* arguments);

#endif
