/// Printing: the conversions of viPrintf.
#pragma once

#include "formattedBuffers.h"

namespace qvstd {

/// The arguments of a formatted operation, which two format strings may share.
class Arguments {
public:
  explicit Arguments(va_list list) { va_copy(list_, list); }
  ~Arguments() { va_end(list_); }
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;

  template <typename T>
  T next() {
    // The analyzer loses sight of the constructor.
    return va_arg(list_, T);  // NOLINT(clang-analyzer-valist.Uninitialized)
  }

private:
  va_list list_;
};

/// @retval VI_ERROR_INV_FMT   a directive that can't be read
/// @retval VI_ERROR_NSUP_FMT  a conversion that there isn't
ViStatus print(Output& output, ViConstString format, Arguments& arguments);

}  // namespace qvstd
