// Transfers between an instrument and a file; contracts in QVvisa_std.h.

#include "reading.h"
#include "writing.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

using namespace qvstd;

namespace {

constexpr ViUInt32 kPart = 65536;

// A program that the host process starts doesn't get the file.
#if defined(_WIN32)
constexpr const char* kRead = "rbN";
constexpr const char* kReplace = "wbN";
constexpr const char* kAppend = "abN";
#else
constexpr const char* kRead = "rbe";
constexpr const char* kReplace = "wbe";
constexpr const char* kAppend = "abe";
#endif

/// An open file and memory for a part of it.
class FileTransfer {
public:
  FileTransfer(ViConstString name, const char* mode)
      : file_(name ? fopen(name, mode) : nullptr), part_(static_cast<ViByte*>(malloc(kPart))) {}
  ~FileTransfer() {
    free(part_);
    close();
  }
  FileTransfer(const FileTransfer&) = delete;
  FileTransfer& operator=(const FileTransfer&) = delete;

  ViStatus status() const { return !file_ ? VI_ERROR_FILE_ACCESS : !part_ ? VI_ERROR_ALLOC : VI_SUCCESS; }
  FILE* file() const { return file_; }
  ViByte* part() const { return part_; }
  bool close() {
    const bool isWhole = !file_ || fclose(file_) == 0;
    file_ = nullptr;
    return isWhole;
  }
  /// Whether nothing follows.
  bool isAtEnd() const {
    const int next = getc(file_);
    if (next != EOF) ungetc(next, file_);
    return next == EOF;
  }

private:
  FILE* file_;
  ViByte* part_;
};

ViStatus readToFile(Instrument& instrument, ViConstString filename, ViUInt32 cnt, ViUInt32& count) {
  FileTransfer transfer(filename, instrument.settings.fileAppend ? kAppend : kReplace);
  ViStatus status = transfer.status();
  if (status != VI_SUCCESS) return status;
  do {
    ViUInt32 received = 0;
    status = readMessage(instrument, transfer.part(), std::min(kPart, cnt - count), received);
    if (fwrite(transfer.part(), 1, received, transfer.file()) != received) return VI_ERROR_FILE_IO;
    count += received;
  } while (status == VI_SUCCESS_MAX_CNT && count < cnt);
  return transfer.close() ? status : VI_ERROR_FILE_IO;
}

/// The end of the file, or cnt bytes of it, is the end of the message.
ViStatus writeFromFile(Instrument& instrument, ViConstString filename, ViUInt32 cnt, ViUInt32& count) {
  const FileTransfer transfer(filename, kRead);
  ViStatus status = transfer.status();
  for (bool isEnd = false; status == VI_SUCCESS && !isEnd;) {
    const ViUInt32 wanted = std::min(kPart, cnt - count);
    const auto length = static_cast<ViUInt32>(fread(transfer.part(), 1, wanted, transfer.file()));
    isEnd = count + length == cnt || transfer.isAtEnd();
    if (ferror(transfer.file())) return VI_ERROR_FILE_IO;
    ViUInt32 sent = 0;
    status = writeMessage(instrument, transfer.part(), length, isEnd, sent);
    count += sent;
  }
  return status;
}

}  // namespace

ViStatus _VI_FUNC viReadToFile(ViSession vi, ViConstString filename, ViUInt32 cnt, ViPUInt32 retCnt) {
  return onTransfer(vi, retCnt, [&](Instrument& instrument, ViUInt32& count) {
    return readToFile(instrument, filename, cnt, count);
  });
}

ViStatus _VI_FUNC viWriteFromFile(ViSession vi, ViConstString filename, ViUInt32 cnt, ViPUInt32 retCnt) {
  return onTransfer(vi, retCnt, [&](Instrument& instrument, ViUInt32& count) {
    return writeFromFile(instrument, filename, cnt, count);
  });
}
