/// How an attribute's value reaches the caller.
#pragma once

#include "QVvisa.h"

#include <cstring>
#include <string_view>

/// Writes a number in the width of its type, which has to be that of the attribute. The caller's variable may lie at
/// any address.
/// @retval VI_SUCCESS always
template <typename Value>
ViStatus QVvisa_deliver(void* attrValue, Value value) {
  memcpy(attrValue, &value, sizeof value);
  return VI_SUCCESS;
}

/// Writes a text and its terminator, at most MAX_BUF_SIZE_ATTR bytes.
/// @retval VI_SUCCESS always
inline ViStatus QVvisa_deliverText(void* attrValue, std::string_view text) {
  auto* target = static_cast<char*>(attrValue);
  target[text.copy(target, MAX_BUF_SIZE_ATTR - 1)] = '\0';
  return VI_SUCCESS;
}
