#include "writing.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace qvstd {
namespace {

/// A serial write may take as long as its limit and a millisecond for each byte, so it goes in parts of this fraction
/// of the limit.
constexpr ViUInt32 kLimitPerPart = 10;
constexpr ViUInt32 kSmallestPart = 16;
constexpr ViUInt32 kLargestPart = 4096;

/// The library takes its bytes from a buffer that it may change in modes of a serial line that no session uses here.
ViBuf unchanged(ViConstBuf buf) {
  return const_cast<ViBuf>(buf);
}

ViStatus writeUsb(Instrument& instrument, ViConstBuf buf, ViUInt32 cnt, ViUInt32& count) {
  const ViStatus status = setLimitBelow(instrument, instrument.settings.timeout_ms);
  if (status != VI_SUCCESS) return status;
  return standardStatus(QV_viWrite(instrument.below, unchanged(buf), cnt, &count));
}

ViStatus writeTcp(Instrument& instrument, ViConstBuf buf, ViUInt32 cnt, ViUInt32& count) {
  while (count < cnt) {
    ViUInt32 sent = 0;
    const ViStatus status = QV_viWrite(instrument.below, unchanged(buf + count), cnt - count, &sent);
    // No time limit ends a write to a connection.
    if (status != VI_SUCCESS) return status == kTcpFailure ? VI_ERROR_CONN_LOST : standardStatus(status);
    count += sent;
  }
  return VI_SUCCESS;
}

ViStatus writeLine(Instrument& instrument, ViConstBuf buf, ViUInt32 cnt, ViUInt32& count) {
  const ViUInt32 limit_ms = instrument.settings.timeout_ms;
  const Deadline deadline(limit_ms);
  const ViUInt32 part = std::clamp(limit_ms / kLimitPerPart, kSmallestPart, kLargestPart);
  while (count < cnt) {
    ViStatus status = setLimitBelow(instrument, deadline.left());
    if (status != VI_SUCCESS) return status;
    ViUInt32 sent = 0;
    status = QV_viWrite(instrument.below, unchanged(buf + count), std::min(part, cnt - count), &sent);
    if (status == VI_ERROR_SYSTEM_ERROR) return VI_ERROR_CONN_LOST;
    if (status != VI_SUCCESS) return standardStatus(status);
    count += sent;
    if (count < cnt && deadline.isOver()) return VI_ERROR_TMO;
  }
  return VI_SUCCESS;
}

/// Characters without their highest bit, which the last one gets.
ViStatus writeMarkingLast(Instrument& instrument, ViConstBuf buf, ViUInt32 cnt, ViUInt32& count) {
  auto* marked = static_cast<ViByte*>(malloc(cnt));
  if (!marked) return VI_ERROR_ALLOC;
  const auto mark = static_cast<ViByte>(1U << (instrument.settings.dataBits - 1));
  std::transform(buf, buf + cnt, marked, [mark](ViByte byte) { return static_cast<ViByte>(byte & ~mark); });
  marked[cnt - 1] = static_cast<ViByte>(marked[cnt - 1] | mark);
  const ViStatus status = writeLine(instrument, marked, cnt, count);
  free(marked);
  return status;
}

ViStatus writeSerial(Instrument& instrument, ViConstBuf buf, ViUInt32 cnt, bool isEnd, ViUInt32& count) {
  const Settings& settings = instrument.settings;
  const ViUInt32 end = isEnd && settings.sendEnd ? settings.serialEndOut.load() : VI_ASRL_END_NONE;
  if (end == VI_ASRL_END_LAST_BIT && cnt > 0) return writeMarkingLast(instrument, buf, cnt, count);
  const ViStatus status = writeLine(instrument, buf, cnt, count);
  if (status != VI_SUCCESS || end != VI_ASRL_END_TERMCHAR) return status;
  const auto termChar = static_cast<ViByte>(settings.termChar);
  ViUInt32 ignored = 0;
  return writeLine(instrument, &termChar, 1, ignored);
}

}  // namespace

ViStatus writeMessage(Instrument& instrument, ViConstBuf buf, ViUInt32 cnt, bool isEnd, ViUInt32& count) {
  const std::lock_guard lock(instrument.writing);
  count = 0;
  switch (instrument.name.bus) {
  case Bus::Usbtmc:
  case Bus::UsbRaw:
    return writeUsb(instrument, buf, cnt, count);
  case Bus::Serial:
    return writeSerial(instrument, buf, cnt, isEnd, count);
  case Bus::Tcp:
    break;
  }
  return writeTcp(instrument, buf, cnt, count);
}

}  // namespace qvstd
