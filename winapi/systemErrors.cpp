#include "systemErrors.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr size_t kLongestText = 256;

/// The text in `scratch` or of static storage, null if there is none.
const char* textOf(DWORD error, DWORD language, char (&scratch)[kLongestText]) {
  if (error == ERROR_INVALID_PARAMETER) return "The parameter is incorrect.";
  const int number = static_cast<int>(error);
  const char* english = strerrordesc_np(number);
  return english && language == 0 ? strerror_r(number, scratch, sizeof scratch) : english;
}

}  // namespace

DWORD GetLastError() {
  return static_cast<DWORD>(OS_getLastError());
}

void SetLastError(DWORD error) {
  OS_setLastError(static_cast<int>(error));
}

DWORD FormatMessageA(DWORD flags, const void*, DWORD error, DWORD language, char* buffer, DWORD size, va_list*) {
  constexpr size_t lineEndLength = 2;
  char scratch[kLongestText];
  const char* text = flags == FORMAT_MESSAGE_FROM_SYSTEM ? textOf(error, language, scratch) : nullptr;
  if (!text || strlen(text) + lineEndLength >= size) {
    SetLastError(ERROR_MR_MID_NOT_FOUND);
    return 0;
  }
  return static_cast<DWORD>(snprintf(buffer, size, "%s\r\n", text));
}
