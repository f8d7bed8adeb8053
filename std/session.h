/// Sessions: a resource manager's, a find list's, and an instrument's with all that the standard keeps for it.
#pragma once

#include "library.h"
#include "locks.h"
#include "object.h"

#include <mutex>

namespace qvstd {

struct Manager : Object {
  static constexpr Kind kKind = Kind::Manager;
  Manager() : Object(kKind, VI_NULL) {}
  std::atomic<ViUInt64> userData = 0;
};

struct FindList : Object {
  static constexpr Kind kKind = Kind::FindList;
  FindList(ViSession manager, FoundNames names) : Object(kKind, manager), found(names) {}
  ~FindList() override;

  const FoundNames found;
  std::atomic<ViUInt32> next = 1;  ///< the first name was delivered by the search
};

/// The attributes that are kept here: the standard's defaults, which differ from the library's. A thread may set one
/// while another reads.
struct Settings {
  std::atomic<ViUInt32> timeout_ms = 2000;
  std::atomic<ViUInt32> termChar = '\n';
  std::atomic<ViUInt32> termCharEnabled = VI_FALSE;
  std::atomic<ViUInt32> sendEnd = VI_TRUE;
  std::atomic<ViUInt32> suppressEnd = VI_FALSE;
  std::atomic<ViUInt32> protocol = VI_PROT_NORMAL;
  std::atomic<ViUInt32> fileAppend = VI_FALSE;
  std::atomic<ViUInt32> dmaAllowed = VI_FALSE;
  std::atomic<ViUInt32> maxQueueLength = 50;
  std::atomic<ViUInt32> readMode = VI_FLUSH_DISABLE;
  std::atomic<ViUInt32> writeMode = VI_FLUSH_WHEN_FULL;
  std::atomic<ViUInt32> serialEndIn = VI_ASRL_END_TERMCHAR;
  std::atomic<ViUInt32> serialEndOut = VI_ASRL_END_NONE;
  std::atomic<ViUInt32> discardNull = VI_FALSE;
  std::atomic<ViUInt32> dataBits = 8;
  std::atomic<ViUInt64> userData = 0;
};

/// Bytes that came from the library and that no read has asked for yet.
struct ReceiveBuffer {
  ~ReceiveBuffer();

  std::mutex mutex;
  ViByte* bytes = nullptr;
  ViUInt32 capacity = 0;
  ViUInt32 begin = 0;
  ViUInt32 end = 0;
  bool endsMessage = false;  ///< the last byte is the end of a USB message or of what a connection had
};

/// A buffer of formatted I/O. A message may be in it in part.
struct FormatBuffer {
  ~FormatBuffer();

  std::mutex mutex;  ///< held for the length of a formatted operation
  ViByte* bytes = nullptr;
  std::atomic<ViUInt32> size = 4084;  ///< the longest USBTMC message
  ViUInt32 begin = 0;
  ViUInt32 end = 0;
  bool hasEnded = true;             ///< a message that was read ends with the buffer
  ViStatus endStatus = VI_SUCCESS;  ///< how the last read ended
};

struct Instrument : Object {
  static constexpr Kind kKind = Kind::Instrument;
  explicit Instrument(ViSession rm) : Object(kKind, rm), locks(name.text) {}

  ResourceName name;
  ViSession below = VI_NULL;  ///< the library's handle
  LockHolder locks;
  Settings settings;
  ReceiveBuffer received;  ///< its mutex is held for the length of a read
  std::mutex writing;      ///< held for the length of a write
  FormatBuffer printed;
  FormatBuffer scanned;

  std::mutex limitMutex;
  bool isLimitKnown = false;
  ViUInt32 limitBelow = 0;  ///< the library's time limit, once it is known
};

/// Makes the library keep a time limit from the next transfer on.
ViStatus setLimitBelow(Instrument& instrument, ViUInt32 limit_ms);

ViStatus openManager(ViPSession vi);
ViStatus openInstrument(ViSession manager, ViConstRsrc name, ViAccessMode mode, const Deadline& deadline,
                        ViPSession vi);
ViStatus openFindList(ViSession manager, ViConstString expression, ViPFindList vi, ViPUInt32 count, ViChar* desc);
/// Closes whatever the handle is; a manager with all that was opened through it.
ViStatus closeObject(ViObject vi);

/// Runs an operation on an instrument that no other session has locked.
template <typename Operation>
ViStatus onInstrument(ViSession vi, Operation operation) {
  const Ref<Instrument> instrument = find<Instrument>(vi);
  if (!instrument) return VI_ERROR_INV_OBJECT;
  const ViStatus status = checkAccess(instrument->locks);
  return status == VI_SUCCESS ? operation(*instrument) : status;
}

/// The same for a transfer, whose count reaches the caller however it ends.
/// @param retCnt  may be null
template <typename Operation>
ViStatus onTransfer(ViSession vi, ViPUInt32 retCnt, Operation operation) {
  ViUInt32 count = 0;
  const ViStatus status = onInstrument(vi, [&](Instrument& instrument) { return operation(instrument, count); });
  if (retCnt) *retCnt = count;
  return status;
}

}  // namespace qvstd
