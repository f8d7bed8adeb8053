// Events: no bus of this library raises any, so that nothing can be enabled and there is nothing to disable or discard.

#include "session.h"

using namespace qvstd;

namespace {

ViStatus ifOpen(ViObject vi, ViStatus status) {
  return findObject(vi) ? status : VI_ERROR_INV_OBJECT;
}

}  // namespace

ViStatus _VI_FUNC viEnableEvent(ViSession vi, ViEventType, ViUInt16, ViEventFilter) {
  return ifOpen(vi, VI_ERROR_INV_EVENT);
}

ViStatus _VI_FUNC viDisableEvent(ViSession vi, ViEventType, ViUInt16) {
  return ifOpen(vi, VI_SUCCESS_EVENT_DIS);
}

ViStatus _VI_FUNC viDiscardEvents(ViSession vi, ViEventType, ViUInt16) {
  return ifOpen(vi, VI_SUCCESS_QUEUE_EMPTY);
}

ViStatus _VI_FUNC viWaitOnEvent(ViSession vi, ViEventType, ViUInt32, ViPEventType, ViPEvent) {
  return ifOpen(vi, VI_ERROR_NENABLED);
}

ViStatus _VI_FUNC viInstallHandler(ViSession vi, ViEventType, ViHndlr, ViAddr) {
  return ifOpen(vi, VI_ERROR_INV_EVENT);
}

ViStatus _VI_FUNC viUninstallHandler(ViSession vi, ViEventType, ViHndlr, ViAddr) {
  return ifOpen(vi, VI_ERROR_HNDLR_NINSTALLED);
}
