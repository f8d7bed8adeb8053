/// Fields of a session's record that one thread sets, as an attribute, while another thread's operation reads them.
#pragma once

#include <atomic>
#include <type_traits>

/// Reads a field that another thread may be setting.
template <typename T>
T loadShared(T& field) {
  return std::atomic_ref<T>(field).load(std::memory_order_relaxed);
}

/// Sets a field that another thread may be reading.
template <typename T>
void storeShared(T& field, std::type_identity_t<T> value) {
  std::atomic_ref<T>(field).store(value, std::memory_order_relaxed);
}
