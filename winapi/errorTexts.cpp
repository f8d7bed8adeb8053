#include "errorTexts.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

size_t platformText(unsigned int err, unsigned int language, char* buffer, size_t size) {
  const auto room = static_cast<DWORD>(std::min<size_t>(size - 1, UINT16_MAX));
  return FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, err, language, buffer, room, nullptr);
}

size_t cutLineEnd(char* buffer, size_t length) {
  if (length <= 2 || buffer[length - 2] != '\r') return length;
  buffer[length - 2] = '\0';
  return length - 2;
}

}  // namespace

size_t systemErrorMessage(unsigned int err, unsigned int language, char* buffer, size_t size) {
  if (!buffer || size == 0) return 0;
  const size_t length = platformText(err, language, buffer, size);
  if (length != 0) return cutLineEnd(buffer, length);
  const size_t reasonLength = platformText(GetLastError(), language, buffer, size);
  if (reasonLength != 0) return reasonLength;
  if (size <= NO_MSG_AVAIL_LEN) return 0;
  memcpy(buffer, NO_MSG_AVAIL, NO_MSG_AVAIL_LEN + 1);
  return NO_MSG_AVAIL_LEN;
}
