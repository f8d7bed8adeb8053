/// Writing: whole messages, with the end that the session's attributes tell.
#pragma once

#include "session.h"

namespace qvstd {

/// viWrite, under the session's mutex for writing.
/// @param isEnd  whether the message ends here; on USB it does
/// @param count  receives the bytes sent, also on failure
ViStatus writeMessage(Instrument& instrument, ViConstBuf buf, ViUInt32 cnt, bool isEnd, ViUInt32& count);

}  // namespace qvstd
