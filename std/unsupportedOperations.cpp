// Operations of buses that this library doesn't have, and asynchronous ones, for which it has no threads.

#include "session.h"

using namespace qvstd;

namespace {

ViStatus unsupported(ViObject vi) {
  return findObject(vi) ? VI_ERROR_NSUP_OPER : VI_ERROR_INV_OBJECT;
}

}  // namespace

ViStatus _VI_FUNC viReadAsync(ViSession vi, ViPBuf, ViUInt32, ViPJobId) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viWriteAsync(ViSession vi, ViConstBuf, ViUInt32, ViPJobId) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viTerminate(ViObject vi, ViUInt16, ViJobId) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viIn8(ViSession vi, ViUInt16, ViBusAddress, ViPUInt8) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viOut8(ViSession vi, ViUInt16, ViBusAddress, ViUInt8) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveIn8(ViSession vi, ViUInt16, ViBusAddress, ViBusSize, ViPUInt8) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveOut8(ViSession vi, ViUInt16, ViBusAddress, ViBusSize, ViPUInt8) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viIn8Ex(ViSession vi, ViUInt16, ViBusAddress64, ViPUInt8) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viOut8Ex(ViSession vi, ViUInt16, ViBusAddress64, ViUInt8) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveIn8Ex(ViSession vi, ViUInt16, ViBusAddress64, ViBusSize, ViPUInt8) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveOut8Ex(ViSession vi, ViUInt16, ViBusAddress64, ViBusSize, ViPUInt8) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viIn16(ViSession vi, ViUInt16, ViBusAddress, ViPUInt16) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viOut16(ViSession vi, ViUInt16, ViBusAddress, ViUInt16) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveIn16(ViSession vi, ViUInt16, ViBusAddress, ViBusSize, ViPUInt16) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveOut16(ViSession vi, ViUInt16, ViBusAddress, ViBusSize, ViPUInt16) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viIn16Ex(ViSession vi, ViUInt16, ViBusAddress64, ViPUInt16) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viOut16Ex(ViSession vi, ViUInt16, ViBusAddress64, ViUInt16) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveIn16Ex(ViSession vi, ViUInt16, ViBusAddress64, ViBusSize, ViPUInt16) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveOut16Ex(ViSession vi, ViUInt16, ViBusAddress64, ViBusSize, ViPUInt16) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viIn32(ViSession vi, ViUInt16, ViBusAddress, ViPUInt32) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viOut32(ViSession vi, ViUInt16, ViBusAddress, ViUInt32) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveIn32(ViSession vi, ViUInt16, ViBusAddress, ViBusSize, ViPUInt32) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveOut32(ViSession vi, ViUInt16, ViBusAddress, ViBusSize, ViPUInt32) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viIn32Ex(ViSession vi, ViUInt16, ViBusAddress64, ViPUInt32) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viOut32Ex(ViSession vi, ViUInt16, ViBusAddress64, ViUInt32) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveIn32Ex(ViSession vi, ViUInt16, ViBusAddress64, ViBusSize, ViPUInt32) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveOut32Ex(ViSession vi, ViUInt16, ViBusAddress64, ViBusSize, ViPUInt32) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viIn64(ViSession vi, ViUInt16, ViBusAddress, ViPUInt64) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viOut64(ViSession vi, ViUInt16, ViBusAddress, ViUInt64) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveIn64(ViSession vi, ViUInt16, ViBusAddress, ViBusSize, ViPUInt64) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveOut64(ViSession vi, ViUInt16, ViBusAddress, ViBusSize, ViPUInt64) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viIn64Ex(ViSession vi, ViUInt16, ViBusAddress64, ViPUInt64) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viOut64Ex(ViSession vi, ViUInt16, ViBusAddress64, ViUInt64) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveIn64Ex(ViSession vi, ViUInt16, ViBusAddress64, ViBusSize, ViPUInt64) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveOut64Ex(ViSession vi, ViUInt16, ViBusAddress64, ViBusSize, ViPUInt64) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMove(ViSession vi, ViUInt16, ViBusAddress, ViUInt16, ViUInt16, ViBusAddress, ViUInt16, ViBusSize) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveAsync(ViSession vi, ViUInt16, ViBusAddress, ViUInt16, ViUInt16, ViBusAddress, ViUInt16,
                              ViBusSize, ViPJobId) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMapAddress(ViSession vi, ViUInt16, ViBusAddress, ViBusSize, ViBoolean, ViAddr, ViPAddr) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMemAlloc(ViSession vi, ViBusSize, ViPBusAddress) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMemFree(ViSession vi, ViBusAddress) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveEx(ViSession vi, ViUInt16, ViBusAddress64, ViUInt16, ViUInt16, ViBusAddress64, ViUInt16,
                           ViBusSize) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMoveAsyncEx(ViSession vi, ViUInt16, ViBusAddress64, ViUInt16, ViUInt16, ViBusAddress64, ViUInt16,
                                ViBusSize, ViPJobId) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMapAddressEx(ViSession vi, ViUInt16, ViBusAddress64, ViBusSize, ViBoolean, ViAddr, ViPAddr) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMemAllocEx(ViSession vi, ViBusSize, ViPBusAddress64) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMemFreeEx(ViSession vi, ViBusAddress64) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viUnmapAddress(ViSession vi) {
  return unsupported(vi);
}

void _VI_FUNC viPeek8(ViSession, ViAddr, ViPUInt8) {}

void _VI_FUNC viPoke8(ViSession, ViAddr, ViUInt8) {}

void _VI_FUNC viPeek16(ViSession, ViAddr, ViPUInt16) {}

void _VI_FUNC viPoke16(ViSession, ViAddr, ViUInt16) {}

void _VI_FUNC viPeek32(ViSession, ViAddr, ViPUInt32) {}

void _VI_FUNC viPoke32(ViSession, ViAddr, ViUInt32) {}

void _VI_FUNC viPeek64(ViSession, ViAddr, ViPUInt64) {}

void _VI_FUNC viPoke64(ViSession, ViAddr, ViUInt64) {}

ViStatus _VI_FUNC viGpibControlATN(ViSession vi, ViUInt16) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viGpibSendIFC(ViSession vi) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viGpibCommand(ViSession vi, ViConstBuf, ViUInt32, ViPUInt32) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viGpibPassControl(ViSession vi, ViUInt16, ViUInt16) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viVxiCommandQuery(ViSession vi, ViUInt16, ViUInt32, ViPUInt32) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viAssertUtilSignal(ViSession vi, ViUInt16) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viAssertIntrSignal(ViSession vi, ViInt16, ViUInt32) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viMapTrigger(ViSession vi, ViInt16, ViInt16, ViUInt16) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viUnmapTrigger(ViSession vi, ViInt16, ViInt16) {
  return unsupported(vi);
}

ViStatus _VI_FUNC viPxiReserveTriggers(ViSession vi, ViInt16, ViPInt16, ViPInt16, ViPInt16) {
  return unsupported(vi);
}
