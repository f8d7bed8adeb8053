/// Small operations that several units share. But for the two that write to the log they work on their arguments only.
/// Any thread may call them.
#pragma once

#include "export.h"

#include <cstddef>
#include <cstdint>

extern "C" {

/// The class triple of a USB488 interface.
constexpr uint8_t USBTMC_CLASS = 0xFE;
constexpr uint8_t USBTMC_SUBCLASS = 0x03;
constexpr uint8_t USBTMC_PROTOCOL = 0x01;

/// Longest text of a system error in the log, in bytes.
constexpr size_t OS_LOG_ERR_MSG_SIZE = 512;

/// 1 for the triple of a USB488 interface, else 0; a USBTMC interface without USB488, protocol 0, doesn't count.
QVVISA_API uint8_t isUSBTMC(uint8_t class_, uint8_t subclass, uint8_t protocol);

/// 1 for tab, line feed, carriage return and blank only, else 0.
QVVISA_API int isWhiteSpace(char c);
/// 1 for 0 to 9, A to F and a to f, else 0.
QVVISA_API int isHexDigit(char c);
/// The first character of txt that isn't white space, at the latest the terminator.
QVVISA_API char* skipWhiteSpace(char* txt);

/// Deletes every cToRemove among the first *len bytes of buf, moves the rest down and reduces *len to what is left. The
/// bytes behind stay as they were.
QVVISA_API void removeChar(char* buf, char cToRemove, unsigned int* len);
/// removeChar with NUL; does nothing if an argument is null.
QVVISA_API void removeNul(char* buf, unsigned int* len);
/// Clears the bits of mask in all len bytes of buf, but sets them in the last one if setLast isn't 0. Does nothing for
/// a null buf.
QVVISA_API void maskBuf(char* buf, uint32_t len, char mask, int setLast);

/// The text of a system error number, in the system's default language.
/// @param size of buffer in bytes, terminator included
/// @return length of the text; for a number without a text that of NO_MSG_AVAIL, or 0, with buffer as it was, if that
///         doesn't fit
QVVISA_API size_t get_system_error_message(unsigned int err, char* buffer, size_t size);

/// Writes a line to the log, the calling thread's number and the time before it, the text cut to 1023 characters. The
/// line end is the caller's.
[[gnu::format(printf, 1, 2)]] QVVISA_API void QVvisa_debugLog(const char* fmt, ...);

/// Writes the calling thread's last system error to the log, number and text, if there is one, and leaves it in place.
/// The line isn't ended.
QVVISA_API void QVvisa_logOSErrMsg();
}
