#include "formattedBuffers.h"

#include "reading.h"
#include "writing.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace qvstd {
namespace {

bool provide(FormatBuffer& buffer) {
  if (!buffer.bytes) buffer.bytes = static_cast<ViByte*>(malloc(buffer.size));
  return buffer.bytes != nullptr;
}

/// Takes a new size for an empty buffer.
bool provide(FormatBuffer& buffer, ViUInt32 size) {
  auto* bytes = static_cast<ViByte*>(malloc(size));
  if (!bytes) return false;
  free(buffer.bytes);
  buffer.bytes = bytes;
  buffer.size = size;
  return true;
}

}  // namespace

ViStatus SessionOutput::put(const void* bytes, size_t count) {
  FormatBuffer& buffer = instrument_.printed;
  if (!provide(buffer)) return VI_ERROR_ALLOC;
  const auto* next = static_cast<const ViByte*>(bytes);
  while (count > 0) {
    const size_t part = std::min<size_t>(count, buffer.size.load() - buffer.end);
    if (part == 0) {
      const ViStatus status = flush(false);
      if (status != VI_SUCCESS) return status;
      continue;
    }
    memcpy(buffer.bytes + buffer.end, next, part);
    buffer.end += static_cast<ViUInt32>(part);
    next += part;
    count -= part;
  }
  return VI_SUCCESS;
}

ViStatus SessionOutput::flush(bool isEnd) {
  FormatBuffer& buffer = instrument_.printed;
  const ViUInt32 length = buffer.end;
  buffer.end = 0;
  if (length == 0) return VI_SUCCESS;
  // A USBTMC message can't go in parts.
  if (!isEnd && instrument_.name.bus == Bus::Usbtmc) return VI_ERROR_INV_LENGTH;
  ViUInt32 count = 0;
  return writeMessage(instrument_, buffer.bytes, length, isEnd, count);
}

ViStatus SessionOutput::finish(ViStatus status) {
  return status == VI_SUCCESS && instrument_.settings.writeMode == VI_FLUSH_ON_ACCESS ? flush(true) : status;
}

bool SessionOutput::resize(ViUInt32 size) {
  return provide(instrument_.printed, size);
}

SessionInput::SessionInput(Instrument& instrument) : instrument_(instrument), lock_(instrument.scanned.mutex) {
  const FormatBuffer& buffer = instrument.scanned;
  begin_ = buffer.bytes + buffer.begin;
  end_ = buffer.bytes + buffer.end;
  hasEnded_ = buffer.hasEnded;
}

SessionInput::~SessionInput() {
  FormatBuffer& buffer = instrument_.scanned;
  if (instrument_.settings.readMode == VI_FLUSH_ON_ACCESS) discard();
  buffer.begin = static_cast<ViUInt32>(begin_ - buffer.bytes);
  buffer.end = static_cast<ViUInt32>(end_ - buffer.bytes);
  buffer.hasEnded = hasEnded_;
}

ViStatus SessionInput::discardMessage() {
  const Settings& settings = instrument_.settings;
  const bool canEnd = !settings.suppressEnd || settings.termCharEnabled;
  const bool hadBytes = begin_ != end_;
  discard();
  while (hadBytes && canEnd && peek() != kEnd) discard();
  return status_;
}

void SessionInput::refill() {
  FormatBuffer& buffer = instrument_.scanned;
  if (!provide(buffer)) {
    status_ = VI_ERROR_ALLOC;
    return;
  }
  ViUInt32 count = 0;
  const ViStatus status = readSome(instrument_, buffer.bytes, buffer.size, count);
  begin_ = buffer.bytes;
  end_ = begin_ + count;
  if (status < VI_SUCCESS) status_ = status;
  hasEnded_ = status == VI_SUCCESS || status == VI_SUCCESS_TERM_CHAR;
  buffer.endStatus = status;
}

bool SessionInput::resize(ViUInt32 size) {
  if (!provide(instrument_.scanned, size)) return false;
  begin_ = end_ = instrument_.scanned.bytes;
  return true;
}

}  // namespace qvstd
