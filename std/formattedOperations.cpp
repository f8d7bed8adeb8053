// Formatted and buffered I/O; contracts in QVvisa_std.h.

#include "formattedInput.h"
#include "reading.h"

#include <algorithm>

using namespace qvstd;

namespace {

constexpr unsigned kFlushes = VI_READ_BUF | VI_WRITE_BUF | VI_IO_IN_BUF | VI_IO_OUT_BUF;
constexpr unsigned kDiscards =
    VI_READ_BUF_DISCARD | VI_WRITE_BUF_DISCARD | VI_IO_IN_BUF_DISCARD | VI_IO_OUT_BUF_DISCARD;
constexpr unsigned kFormattedBuffers = VI_READ_BUF | VI_WRITE_BUF;
constexpr unsigned kSystemBuffers = VI_IO_IN_BUF | VI_IO_OUT_BUF;

/// No buffer is to be both flushed and discarded; the bits of the two lie two apart.
bool isFlushMask(unsigned mask) {
  const bool hasBoth = ((mask & kFlushes) << 2 & mask & kDiscards) != 0;
  return mask != 0 && (mask & ~(kFlushes | kDiscards)) == 0 && !hasBoth;
}

ViStatus flush(Instrument& instrument, unsigned mask) {
  ViStatus status = VI_SUCCESS;
  if (mask & VI_WRITE_BUF) status = SessionOutput(instrument).flush(true);
  if (mask & VI_WRITE_BUF_DISCARD) SessionOutput(instrument).discard();
  if (status == VI_SUCCESS && (mask & VI_READ_BUF)) status = SessionInput(instrument).discardMessage();
  if (mask & VI_READ_BUF_DISCARD) SessionInput(instrument).discard();
  const bool isInput = (mask & (VI_IO_IN_BUF | VI_IO_IN_BUF_DISCARD)) != 0;
  return status == VI_SUCCESS && isInput ? discardReceived(instrument) : status;
}

ViStatus setBuffers(Instrument& instrument, unsigned mask, ViUInt32 size) {
  if (mask == 0 || (mask & ~(kFormattedBuffers | kSystemBuffers)) != 0) return VI_ERROR_INV_MASK;
  const ViStatus status = flush(instrument, mask & kFormattedBuffers);
  if (status != VI_SUCCESS) return status;
  size = std::max<ViUInt32>(size, 1);
  if ((mask & VI_WRITE_BUF) && !SessionOutput(instrument).resize(size)) return VI_ERROR_ALLOC;
  if ((mask & VI_READ_BUF) && !SessionInput(instrument).resize(size)) return VI_ERROR_ALLOC;
  return (mask & kSystemBuffers) ? VI_WARN_NSUP_BUF : VI_SUCCESS;
}

/// What a failure has left in the buffer would be the beginning of the next message.
ViStatus printTo(SessionOutput& output, ViConstString format, Arguments& arguments) {
  const ViStatus status = print(output, format, arguments);
  if (status != VI_SUCCESS) output.discard();
  return output.finish(status);
}

ViStatus printTo(Instrument& instrument, ViConstString format, Arguments& arguments) {
  SessionOutput output(instrument);
  return printTo(output, format, arguments);
}

ViStatus scanFrom(Instrument& instrument, ViConstString format, Arguments& arguments) {
  SessionInput input(instrument);
  return scan(input, format, arguments);
}

/// An answer that was left over isn't taken for that of this query.
ViStatus query(Instrument& instrument, ViConstString writeFormat, ViConstString readFormat, Arguments& arguments) {
  SessionInput input(instrument);
  input.discard();
  {
    SessionOutput output(instrument);
    ViStatus status = printTo(output, writeFormat, arguments);
    if (status == VI_SUCCESS) status = output.flush(true);
    if (status != VI_SUCCESS) return status;
  }
  return scan(input, readFormat, arguments);
}

ViStatus bufferedRead(Instrument& instrument, ViPBuf buf, ViUInt32 cnt, ViUInt32& count) {
  SessionInput input(instrument);
  input.startMessage();
  for (; count < cnt && input.peek() != Input::kEnd; ++count) {
    buf[count] = static_cast<ViByte>(input.peek());
    input.take();
  }
  if (input.status() != VI_SUCCESS) return input.status();
  return input.isAtEnd() ? input.endStatus() : VI_SUCCESS_MAX_CNT;
}

ViStatus bufferedWrite(Instrument& instrument, ViConstBuf buf, ViUInt32 cnt, ViUInt32& count) {
  SessionOutput output(instrument);
  const ViStatus status = output.finish(output.put(buf, cnt));
  if (status == VI_SUCCESS) count = cnt;
  return status;
}

/// Runs a formatted operation on a session, with a format string that is there.
template <typename Operation>
ViStatus withFormat(ViSession vi, ViConstString format, Operation operation) {
  return onInstrument(vi, [&](Instrument& instrument) { return format ? operation(instrument) : VI_ERROR_INV_FMT; });
}

ViStatus printText(ViSession vi, ViPBuf buf, ViConstString format, Arguments& arguments) {
  if (!findObject(vi)) return VI_ERROR_INV_OBJECT;
  if (!buf) return VI_ERROR_USER_BUF;
  if (!format) return VI_ERROR_INV_FMT;
  TextOutput output(buf);
  return print(output, format, arguments);
}

ViStatus scanText(ViSession vi, ViConstBuf buf, ViConstString format, Arguments& arguments) {
  if (!findObject(vi)) return VI_ERROR_INV_OBJECT;
  if (!buf) return VI_ERROR_USER_BUF;
  if (!format) return VI_ERROR_INV_FMT;
  TextInput input(buf);
  return scan(input, format, arguments);
}

}  // namespace

ViStatus _VI_FUNC viSetBuf(ViSession vi, ViUInt16 mask, ViUInt32 bufSize) {
  return onInstrument(vi, [&](Instrument& instrument) { return setBuffers(instrument, mask, bufSize); });
}

ViStatus _VI_FUNC viFlush(ViSession vi, ViUInt16 mask) {
  return onInstrument(
      vi, [&](Instrument& instrument) { return isFlushMask(mask) ? flush(instrument, mask) : VI_ERROR_INV_MASK; });
}

ViStatus _VI_FUNC viBufWrite(ViSession vi, ViConstBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  return onTransfer(vi, retCnt, [&](Instrument& instrument, ViUInt32& count) {
    return buf || cnt == 0 ? bufferedWrite(instrument, buf, cnt, count) : VI_ERROR_USER_BUF;
  });
}

ViStatus _VI_FUNC viBufRead(ViSession vi, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  return onTransfer(vi, retCnt, [&](Instrument& instrument, ViUInt32& count) {
    return buf || cnt == 0 ? bufferedRead(instrument, buf, cnt, count) : VI_ERROR_USER_BUF;
  });
}

ViStatus _VI_FUNC viVPrintf(ViSession vi, ViConstString writeFmt, ViVAList params) {
  Arguments arguments(params);
  return withFormat(vi, writeFmt, [&](Instrument& instrument) { return printTo(instrument, writeFmt, arguments); });
}

ViStatus _VI_FUNC viVSPrintf(ViSession vi, ViPBuf buf, ViConstString writeFmt, ViVAList params) {
  Arguments arguments(params);
  return printText(vi, buf, writeFmt, arguments);
}

ViStatus _VI_FUNC viVScanf(ViSession vi, ViConstString readFmt, ViVAList params) {
  Arguments arguments(params);
  return withFormat(vi, readFmt, [&](Instrument& instrument) { return scanFrom(instrument, readFmt, arguments); });
}

ViStatus _VI_FUNC viVSScanf(ViSession vi, ViConstBuf buf, ViConstString readFmt, ViVAList params) {
  Arguments arguments(params);
  return scanText(vi, buf, readFmt, arguments);
}

ViStatus _VI_FUNC viVQueryf(ViSession vi, ViConstString writeFmt, ViConstString readFmt, ViVAList params) {
  Arguments arguments(params);
  return withFormat(vi, writeFmt && readFmt ? readFmt : nullptr,
                    [&](Instrument& instrument) { return query(instrument, writeFmt, readFmt, arguments); });
}

ViStatus _VI_FUNCC viPrintf(ViSession vi, ViConstString writeFmt, ...) {
  va_list list;
  va_start(list, writeFmt);
  const ViStatus status = viVPrintf(vi, writeFmt, list);
  va_end(list);
  return status;
}

ViStatus _VI_FUNCC viSPrintf(ViSession vi, ViPBuf buf, ViConstString writeFmt, ...) {
  va_list list;
  va_start(list, writeFmt);
  const ViStatus status = viVSPrintf(vi, buf, writeFmt, list);
  va_end(list);
  return status;
}

ViStatus _VI_FUNCC viScanf(ViSession vi, ViConstString readFmt, ...) {
  va_list list;
  va_start(list, readFmt);
  const ViStatus status = viVScanf(vi, readFmt, list);
  va_end(list);
  return status;
}

ViStatus _VI_FUNCC viSScanf(ViSession vi, ViConstBuf buf, ViConstString readFmt, ...) {
  va_list list;
  va_start(list, readFmt);
  const ViStatus status = viVSScanf(vi, buf, readFmt, list);
  va_end(list);
  return status;
}

ViStatus _VI_FUNCC viQueryf(ViSession vi, ViConstString writeFmt, ViConstString readFmt, ...) {
  va_list list;
  va_start(list, readFmt);
  const ViStatus status = viVQueryf(vi, writeFmt, readFmt, list);
  va_end(list);
  return status;
}
