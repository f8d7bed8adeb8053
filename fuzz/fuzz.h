/// What the fuzzing programs share.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

/// Ends the program as a finding where something doesn't hold that has to.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

/// Whether a text ends inside its field.
template <std::size_t Size>
bool ends(const char (&field)[Size]) {
  return std::string_view(field, Size).find('\0') != std::string_view::npos;
}

/// A text in a block of exactly its size, so that a read beyond it is seen.
class ExactText {
public:
  explicit ExactText(std::string_view text) : text_(new char[text.size() + 1]) {
    text.copy(text_, text.size());
    text_[text.size()] = '\0';
  }
  ~ExactText() { delete[] text_; }
  ExactText(const ExactText&) = delete;
  ExactText& operator=(const ExactText&) = delete;
  char* get() const { return text_; }

private:
  char* text_;
};
