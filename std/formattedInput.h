/// Scanning: the conversions of viScanf.
#pragma once

#include "formattedOutput.h"

namespace qvstd {

/// A text in memory as one message.
class TextInput : public Input {
public:
  explicit TextInput(ViConstBuf text);

private:
  void refill() override { hasEnded_ = true; }
};

/// @retval VI_ERROR_INV_FMT   a directive that can't be read, or input that isn't what the format tells
/// @retval VI_ERROR_NSUP_FMT  a conversion that there isn't
/// @return Otherwise the status of the read that failed.
ViStatus scan(Input& input, ViConstString format, Arguments& arguments);

}  // namespace qvstd
