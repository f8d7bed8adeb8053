/// The library below: its sixteen operations as the standard's operations need them.
#pragma once

#include "resourceName.h"

namespace qvstd {

/// What a TCP/IP session of the library answers for any failed transfer, the time limit included.
constexpr ViStatus kTcpFailure = -1;

/// Opens an instrument. The library, which goes down with its last session, is started first.
/// @param[out] below  receives the library's handle
/// @retval VI_ERROR_RSRC_NFOUND, VI_ERROR_RSRC_BUSY
ViStatus openBelow(const ResourceName& name, ViSession* below);
/// Closes it. A transfer that still runs on it ends as it would have.
void closeBelow(ViSession below);

/// What a search found: `count` names of VI_FIND_BUFLEN characters, owned by the caller, who frees them.
struct FoundNames {
  ViChar (*names)[VI_FIND_BUFLEN] = nullptr;
  ViUInt32 count = 0;
};
/// @retval VI_ERROR_RSRC_NFOUND, VI_ERROR_INV_EXPR
ViStatus findBelow(ViConstString expression, FoundNames& found);

/// A status of the library in the standard's terms: its own codes and the positive "not present" become errors.
ViStatus standardStatus(ViStatus status);

}  // namespace qvstd
