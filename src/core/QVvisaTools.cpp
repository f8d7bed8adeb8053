#include "QVvisaTools.h"

#include "DebugDll.h"
#include "errorTexts.h"
#include "hptime.h"
#include "osAbstraction.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

uint8_t isUSBTMC(uint8_t class_, uint8_t subclass, uint8_t protocol) {
  return class_ == USBTMC_CLASS && subclass == USBTMC_SUBCLASS && protocol == USBTMC_PROTOCOL ? 1 : 0;
}

int isWhiteSpace(char c) {
  return c == '\t' || c == '\n' || c == '\r' || c == ' ' ? 1 : 0;
}

int isHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f') ? 1 : 0;
}

char* skipWhiteSpace(char* txt) {
  while (isWhiteSpace(*txt)) ++txt;
  return txt;
}

void removeChar(char* buf, char cToRemove, unsigned int* len) {
  *len = static_cast<unsigned int>(std::remove(buf, buf + *len, cToRemove) - buf);
}

void removeNul(char* buf, unsigned int* len) {
  if (buf && len) removeChar(buf, '\0', len);
}

void maskBuf(char* buf, uint32_t len, char mask, int setLast) {
  if (!buf || len == 0) return;
  char& last = buf[len - 1];
  const char marked = static_cast<char>(last | mask);
  std::transform(buf, buf + len, buf, [mask](char c) { return static_cast<char>(c & ~mask); });
  if (setLast) last = marked;
}

size_t get_system_error_message(unsigned int err, char* buffer, size_t size) {
  constexpr unsigned int defaultLanguage = 0;
  return systemErrorMessage(err, defaultLanguage, buffer, size);
}

void QVvisa_debugLog(const char* fmt, ...) {
  if (!isLoggingEnabled()) return;
  char text[1024];
  va_list arguments;
  va_start(arguments, fmt);
  const int length = std::vsnprintf(text, sizeof text, fmt, arguments);
  va_end(arguments);
  if (length < 0) return;
  OS_SYSTEMTIME time;
  hptime_get_time(&time);
  debug_printf("[%04X] %02d:%02d:%02d.%03d %s", OS_getCurrentThreadID(), time.wHour, time.wMinute, time.wSecond,
               time.wMilliseconds, text);
}

void QVvisa_logOSErrMsg() {
  if (!isLoggingEnabled() || !isLoggingPossible()) return;
  const auto code = static_cast<unsigned int>(OS_getLastError());
  if (code == 0) return;
  char text[OS_LOG_ERR_MSG_SIZE] = "";
  get_system_error_message(code, text, sizeof text);
  OS_setLastError(static_cast<int>(code));  // a search for its text that fails leaves another one
  OS_SYSTEMTIME time;
  hptime_get_time(&time);
  debug_printf("[%04X] %02d:%02d:%02d.%03d OS error [0x%08X]: %s", OS_getCurrentThreadID(), time.wHour, time.wMinute,
               time.wSecond, time.wMilliseconds, code, text);
}
