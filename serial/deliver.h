/// How the operations hand results to their callers.
#pragma once

/// Writes a number where the caller wants it.
template <typename Number, typename Value>
void deliver(Number* result, Value value) {
  if (result) *result = static_cast<Number>(value);
}
