/// Reading: the receive buffer, and what ends a read.
#pragma once

#include "session.h"

namespace qvstd {

/// viRead, under the receive buffer's mutex. @param count receives the bytes delivered, also on failure
ViStatus readMessage(Instrument& instrument, ViPBuf buf, ViUInt32 cnt, ViUInt32& count);
/// The same without waiting for more than some bytes: VI_SUCCESS_MAX_CNT while the message goes on.
ViStatus readSome(Instrument& instrument, ViPBuf buf, ViUInt32 cnt, ViUInt32& count);
/// Forgets what the receive buffer holds, and empties the line off USB.
ViStatus discardReceived(Instrument& instrument);
/// Bytes in the receive buffer.
ViUInt32 receivedCount(Instrument& instrument);

}  // namespace qvstd
