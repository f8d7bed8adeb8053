#include "library.h"

#include <cstdlib>
#include <cstring>
#include <mutex>

namespace qvstd {
namespace {

/// Keeps a start and what it is for together: a close in between, of the last session, would take the library down
/// again. Nothing waits for it that the library wouldn't let wait for an open, a search or a close all the same.
std::mutex lifeCycle;

/// Turns a search's failure into the standard's: an expression that is too long or can't be read.
ViStatus searchStatus(ViStatus status) {
  return status == VI_ERROR_INV_RSRC_NAME ? VI_ERROR_INV_EXPR : standardStatus(status);
}

ViStatus collect(ViFindList list, const ViChar* first, ViUInt32 count, FoundNames& found) {
  found.names = static_cast<ViChar(*)[VI_FIND_BUFLEN]>(calloc(count, sizeof *found.names));
  if (!found.names) return VI_ERROR_ALLOC;
  memcpy(found.names[0], first, sizeof *found.names);
  for (found.count = 1; found.count < count; ++found.count) {
    if (QV_viFindNext(list, found.names[found.count]) != VI_SUCCESS) break;
  }
  return VI_SUCCESS;
}

ViStatus search(ViSession manager, ViString expression, FoundNames& found) {
  ViFindList list = VI_NULL;
  ViUInt32 count = 0;
  ViChar first[VI_FIND_BUFLEN] = "";
  ViStatus status = QV_viFindRsrc(manager, expression, &list, &count, first);
  if (status != VI_SUCCESS) return searchStatus(status);
  status = collect(list, first, count, found);
  QV_viClose(list);
  return status;
}

/// The part in front of the braces in upper case, but for the x of hexadecimal numbers. False when that changes
/// nothing.
bool upperCase(ViString expression) {
  bool hasChanged = false;
  for (char previous = '\0'; *expression && *expression != '{'; previous = *expression++) {
    if (*expression < 'a' || *expression > 'z' || (*expression == 'x' && previous == '0')) continue;
    *expression = static_cast<char>(*expression - 'a' + 'A');
    hasChanged = true;
  }
  return hasChanged;
}

/// Ends a start that no session came of; with other sessions open it changes nothing.
void takeDownIfUnused(ViSession manager) {
  QV_viClose(manager);
}

ViStatus openStatus(Bus bus, ViStatus status) {
  if (status == VI_SUCCESS_DEV_NPRESENT) return VI_ERROR_RSRC_NFOUND;
  if (status == VI_ERROR_SYSTEM_ERROR && bus == Bus::Tcp) return VI_ERROR_RSRC_NFOUND;
  if (status == VI_ERROR_SYSTEM_ERROR && bus == Bus::Serial) return VI_ERROR_RSRC_BUSY;
  return standardStatus(status);
}

}  // namespace

ViStatus openBelow(const ResourceName& name, ViSession* below) {
  ViChar text[VI_FIND_BUFLEN];
  memcpy(text, name.opening, sizeof text);
  const std::lock_guard lock(lifeCycle);
  ViSession manager = VI_NULL;
  ViStatus status = QV_viOpenDefaultRM(&manager);
  if (status != VI_SUCCESS) return standardStatus(status);
  status = openStatus(name.bus, QV_viOpen(manager, text, VI_NO_LOCK, 0, below));
  if (status != VI_SUCCESS) takeDownIfUnused(manager);
  return status;
}

void closeBelow(ViSession below) {
  const std::lock_guard lock(lifeCycle);
  QV_viClose(below);
}

ViStatus findBelow(ViConstString expression, FoundNames& found) {
  const size_t size = strlen(expression) + 1;
  auto* text = static_cast<ViString>(malloc(size));
  if (!text) return VI_ERROR_ALLOC;
  memcpy(text, expression, size);

  const std::lock_guard lock(lifeCycle);
  ViSession manager = VI_NULL;
  ViStatus status = standardStatus(QV_viOpenDefaultRM(&manager));
  if (status == VI_SUCCESS) status = search(manager, text, found);
  if (status == VI_ERROR_RSRC_NFOUND && upperCase(text)) status = search(manager, text, found);
  free(text);
  takeDownIfUnused(manager);
  return status;
}

ViStatus standardStatus(ViStatus status) {
  switch (status) {
  case VI_SUCCESS_DEV_NPRESENT:
    return VI_ERROR_CONN_LOST;
  case QVVI_ERR_CTL_TRANSFER_STALLED:
  case QVVI_NEEDS_EQUIVALENT:
    return VI_ERROR_IO;
  case QVVI_LIBUSB_INTERRUPTED:
    return VI_ERROR_ABORT;
  case QVVI_NEEDS_IMPLEMENTATION:
    return VI_ERROR_NIMPL_OPER;
  case QVVI_SETUPDI_ERR:
  case VI_WARN_UNKNOWN_STATUS:
    return VI_ERROR_SYSTEM_ERROR;
  default:
    return status;
  }
}

}  // namespace qvstd
