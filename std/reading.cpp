#include "reading.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace qvstd {
namespace {

/// The largest USBTMC response that the library takes; a device that is asked for less may fail the read.
constexpr ViUInt32 kUsbtmcResponse = 3060;
constexpr ViUInt32 kRawTransfer = 65536;
constexpr ViUInt32 kSerialChunk = 4096;
/// The library clears as much as a read of a connection asks for, so long ones are only for those who send much.
constexpr ViUInt32 kTcpChunk = 4096;
constexpr ViUInt32 kTcpBulkChunk = 65536;
/// Ends the emptying of a line that never runs dry.
constexpr ViUInt32 kMaxDiscarded = 16U << 20;

ViUInt32 available(const ReceiveBuffer& buffer) {
  return buffer.end - buffer.begin;
}

bool reserve(ReceiveBuffer& buffer, ViUInt32 capacity) {
  if (buffer.capacity >= capacity) return true;
  free(buffer.bytes);
  buffer.bytes = static_cast<ViByte*>(malloc(capacity));
  buffer.capacity = buffer.bytes ? capacity : 0;
  return buffer.bytes != nullptr;
}

/// One read of the library into the empty buffer. What came is kept on failure too.
ViStatus readBelow(Instrument& instrument, ViUInt32 cnt, ViUInt32 limit_ms, ViUInt32* count = nullptr) {
  const ViStatus status = setLimitBelow(instrument, limit_ms);
  if (status != VI_SUCCESS) return status;
  ReceiveBuffer& buffer = instrument.received;
  ViUInt32 received = 0;
  const ViStatus read = QV_viRead(instrument.below, buffer.bytes + buffer.end, cnt, &received);
  buffer.end += std::min(received, cnt);
  if (count) *count = received;
  return read;
}

ViStatus receiveUsbtmc(Instrument& instrument, ViUInt32, const Deadline& deadline) {
  if (!reserve(instrument.received, kUsbtmcResponse)) return VI_ERROR_ALLOC;
  instrument.received.endsMessage = true;
  const ViStatus status = readBelow(instrument, kUsbtmcResponse, deadline.left());
  // The time limit too, after which the device didn't let go of the message.
  if (status == VI_ERROR_RESP_PENDING || status == VI_ERROR_INV_MODE) return VI_ERROR_TMO;
  return standardStatus(status);
}

/// One transfer, which the device ends with a short packet, if not sooner.
ViStatus receiveRaw(Instrument& instrument, ViUInt32 wanted, const Deadline& deadline) {
  if (!reserve(instrument.received, kRawTransfer)) return VI_ERROR_ALLOC;
  const ViUInt32 asked = std::min(wanted, kRawTransfer);
  ViUInt32 count = 0;
  const ViStatus status = standardStatus(readBelow(instrument, asked, deadline.left(), &count));
  instrument.received.endsMessage = status == VI_SUCCESS && count < asked;
  return status;
}

/// Tells the time limit from a lost connection: the library has waited for no less than the limit, or it has failed.
ViStatus receiveTcp(Instrument& instrument, ViUInt32, const Deadline& deadline) {
  ReceiveBuffer& buffer = instrument.received;
  const ViUInt32 chunk = buffer.capacity > kTcpChunk ? kTcpBulkChunk : kTcpChunk;
  if (!reserve(buffer, chunk)) return VI_ERROR_ALLOC;
  buffer.endsMessage = true;
  const ViUInt32 limit_ms = std::max<ViUInt32>(deadline.left(), 1);
  const Deadline attempt(limit_ms);
  ViUInt32 count = 0;
  const ViStatus status = readBelow(instrument, chunk, limit_ms, &count);
  if (status == kTcpFailure) return attempt.isOver() ? VI_ERROR_TMO : VI_ERROR_CONN_LOST;
  if (status != VI_SUCCESS) return standardStatus(status);
  if (count == 0) return VI_ERROR_CONN_LOST;
  if (count == chunk) {
    // The next one may be longer. What there is moves along.
    auto* grown = static_cast<ViByte*>(realloc(buffer.bytes, kTcpBulkChunk));
    if (grown) buffer.bytes = grown;
    if (grown) buffer.capacity = kTcpBulkChunk;
  }
  return VI_SUCCESS;
}

/// What a serial line has, up to the buffer's size. Only as much is asked for as there is: a read that runs into its
/// time limit doesn't tell how far it came. So the limit, whatever it is, doesn't matter.
ViStatus readWaiting(Instrument& instrument, const Deadline& deadline) {
  ViUInt32 waiting = 0;
  ViStatus status = QV_viGetAttribute(instrument.below, VI_ATTR_ASRL_AVAIL_NUM, &waiting);
  const ViUInt32 room = instrument.received.capacity - instrument.received.end;
  waiting = std::min(waiting, room);
  if (status == VI_SUCCESS && waiting > 0) status = readBelow(instrument, waiting, deadline.left());
  return status;
}

void dropNull(ReceiveBuffer& buffer) {
  const ViByte* kept = std::remove(buffer.bytes, buffer.bytes + buffer.end, ViByte{0});
  buffer.end = static_cast<ViUInt32>(kept - buffer.bytes);
}

/// A line that fails a call is gone; the library tells its time limit by a status.
ViStatus serialStatus(ViStatus status) {
  return status == VI_ERROR_SYSTEM_ERROR ? VI_ERROR_CONN_LOST : standardStatus(status);
}

ViStatus receiveSerial(Instrument& instrument, ViUInt32, const Deadline& deadline) {
  ReceiveBuffer& buffer = instrument.received;
  if (!reserve(buffer, kSerialChunk)) return VI_ERROR_ALLOC;
  buffer.endsMessage = false;
  ViStatus status = readWaiting(instrument, deadline);
  if (status == VI_SUCCESS && buffer.end == 0) {
    do status = readBelow(instrument, 1, deadline.left());
    while (status == VI_ERROR_TMO && deadline.isInfinite());
    if (status == VI_SUCCESS) status = readWaiting(instrument, deadline);
  }
  if (instrument.settings.discardNull) dropNull(buffer);
  return serialStatus(status);
}

/// Gets bytes into the empty buffer. Some may have come on failure too.
ViStatus receive(Instrument& instrument, ViUInt32 wanted, const Deadline& deadline) {
  instrument.received.begin = 0;
  instrument.received.end = 0;
  switch (instrument.name.bus) {
  case Bus::Usbtmc:
    return receiveUsbtmc(instrument, wanted, deadline);
  case Bus::UsbRaw:
    return receiveRaw(instrument, wanted, deadline);
  case Bus::Serial:
    return receiveSerial(instrument, wanted, deadline);
  case Bus::Tcp:
    break;
  }
  return receiveTcp(instrument, wanted, deadline);
}

/// What ends a read within the bytes of a buffer.
class Ends {
public:
  explicit Ends(const Instrument& instrument) : settings_(instrument.settings) {
    const bool isSerial = instrument.name.bus == Bus::Serial && !settings_.suppressEnd;
    hasEndChar_ = isSerial && settings_.serialEndIn == VI_ASRL_END_TERMCHAR;
    if (isSerial && settings_.serialEndIn == VI_ASRL_END_LAST_BIT) {
      endMask_ = static_cast<ViByte>(1U << (settings_.dataBits - 1));
    }
    termChar_ = static_cast<ViByte>(settings_.termChar);
    hasTermChar_ = settings_.termCharEnabled;
  }

  bool isEnd(ViByte byte) const { return (hasEndChar_ && byte == termChar_) || (byte & endMask_) != 0; }
  bool isTermChar(ViByte byte) const { return hasTermChar_ && byte == termChar_; }
  /// Whether the end of what the library delivered is the end of a message.
  bool endsMessage(const ReceiveBuffer& buffer) const { return buffer.endsMessage && !settings_.suppressEnd; }

  /// The number of bytes up to the first that ends the read, all of them if none does.
  ViUInt32 length(const ViByte* bytes, ViUInt32 count) const {
    const ViByte* end = bytes + count;
    const ViByte* found = end;
    if (endMask_ != 0) {
      found = std::find_if(bytes, end, [this](ViByte byte) { return isEnd(byte) || isTermChar(byte); });
    } else if (hasEndChar_ || hasTermChar_) {
      const void* at = memchr(bytes, termChar_, count);
      found = at ? static_cast<const ViByte*>(at) : end;
    }
    return static_cast<ViUInt32>(found - bytes) + (found == end ? 0 : 1);
  }

private:
  const Settings& settings_;
  bool hasEndChar_ = false;
  bool hasTermChar_ = false;
  ViByte endMask_ = 0;
  ViByte termChar_ = 0;
};

enum class Progress { More, End, TermChar, Full };

/// Moves bytes out of the buffer, up to the first that ends the read.
Progress deliver(ReceiveBuffer& buffer, const Ends& ends, ViPBuf buf, ViUInt32 cnt, ViUInt32& count) {
  const ViUInt32 most = std::min(available(buffer), cnt - count);
  if (most == 0) return count == cnt ? Progress::Full : Progress::More;
  const ViUInt32 taken = ends.length(buffer.bytes + buffer.begin, most);
  memcpy(buf + count, buffer.bytes + buffer.begin, taken);
  buffer.begin += taken;
  count += taken;
  const ViByte last = buf[count - 1];
  if (ends.isEnd(last) || (available(buffer) == 0 && ends.endsMessage(buffer))) return Progress::End;
  if (ends.isTermChar(last)) return Progress::TermChar;
  return count == cnt ? Progress::Full : Progress::More;
}

enum class Until { End, SomeBytes };

ViStatus read(Instrument& instrument, ViPBuf buf, ViUInt32 cnt, Until until, ViUInt32& count) {
  const Ends ends(instrument);
  const ViUInt32 limit_ms = instrument.settings.timeout_ms;
  const std::lock_guard lock(instrument.received.mutex);
  const Deadline deadline(limit_ms);
  count = 0;
  for (ViStatus status = VI_SUCCESS;;) {
    switch (deliver(instrument.received, ends, buf, cnt, count)) {
    case Progress::End:
      return VI_SUCCESS;
    case Progress::TermChar:
      return VI_SUCCESS_TERM_CHAR;
    case Progress::Full:
      return VI_SUCCESS_MAX_CNT;
    case Progress::More:
      break;
    }
    if (status != VI_SUCCESS) return status;
    if (count > 0 && until == Until::SomeBytes) return VI_SUCCESS_MAX_CNT;
    if (count > 0 && limit_ms != VI_TMO_IMMEDIATE && deadline.isOver()) return VI_ERROR_TMO;
    status = receive(instrument, cnt - count, deadline);
  }
}

}  // namespace

ViStatus readMessage(Instrument& instrument, ViPBuf buf, ViUInt32 cnt, ViUInt32& count) {
  return read(instrument, buf, cnt, Until::End, count);
}

ViStatus readSome(Instrument& instrument, ViPBuf buf, ViUInt32 cnt, ViUInt32& count) {
  return read(instrument, buf, cnt, Until::SomeBytes, count);
}

ViStatus discardReceived(Instrument& instrument) {
  const std::lock_guard lock(instrument.received.mutex);
  ReceiveBuffer& buffer = instrument.received;
  buffer.begin = 0;
  buffer.end = 0;
  if (instrument.name.interfaceType == VI_INTF_USB) return VI_SUCCESS;
  const Deadline immediate(VI_TMO_IMMEDIATE);
  ViStatus status = VI_SUCCESS;
  for (ViUInt32 discarded = 0; status == VI_SUCCESS && discarded < kMaxDiscarded; discarded += buffer.end) {
    status = receive(instrument, kTcpBulkChunk, immediate);
  }
  buffer.begin = 0;
  buffer.end = 0;
  return status == VI_ERROR_TMO ? VI_SUCCESS : status;
}

ViUInt32 receivedCount(Instrument& instrument) {
  const std::lock_guard lock(instrument.received.mutex);
  return available(instrument.received);
}

}  // namespace qvstd
