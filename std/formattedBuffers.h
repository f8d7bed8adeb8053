/// The buffers of formatted I/O: where printed text goes and scanned text comes from.
#pragma once

#include "session.h"

#include <cstring>

namespace qvstd {

/// Takes printed bytes.
class Output {
public:
  virtual ~Output() = default;
  virtual ViStatus put(const void* bytes, size_t count) = 0;
  /// The message ends here.
  virtual ViStatus end() = 0;
};

/// Gives the bytes of messages.
class Input {
public:
  static constexpr int kEnd = -1;

  virtual ~Input() = default;
  /// Goes on to the next message if this one is at its end.
  void startMessage() {
    if (begin_ == end_) hasEnded_ = false;
  }
  /// The next byte, which stays where it is; kEnd at the end of the message and after a failure.
  int peek() {
    while (begin_ == end_ && !hasEnded_ && status_ == VI_SUCCESS) refill();
    return begin_ == end_ ? kEnd : *begin_;
  }
  void take() { ++begin_; }
  /// Whether a byte can be had without a wait.
  bool isReady() const { return begin_ != end_; }
  /// Whether the message that was read from is used up.
  bool isAtEnd() const { return begin_ == end_ && hasEnded_; }
  /// Of the last refill.
  ViStatus status() const { return status_; }

protected:
  /// Gets the next bytes of the message, or its end, or a failure.
  virtual void refill() = 0;

  const ViByte* begin_ = nullptr;
  const ViByte* end_ = nullptr;
  bool hasEnded_ = false;
  ViStatus status_ = VI_SUCCESS;
};

/// A session's write buffer, under its mutex.
class SessionOutput : public Output {
public:
  explicit SessionOutput(Instrument& instrument) : instrument_(instrument), lock_(instrument.printed.mutex) {}
  ViStatus put(const void* bytes, size_t count) override;
  ViStatus end() override { return flush(true); }
  /// Sends what the buffer holds. What a failure left in it is dropped.
  ViStatus flush(bool isEnd);
  /// Ends an operation: VI_ATTR_WR_BUF_OPER_MODE may want its output sent.
  ViStatus finish(ViStatus status);
  void discard() { instrument_.printed.end = 0; }
  /// viSetBuf: false without memory.
  bool resize(ViUInt32 size);

private:
  Instrument& instrument_;
  const std::lock_guard<std::mutex> lock_;
};

/// Takes printed bytes into memory of unknown size.
class TextOutput : public Output {
public:
  explicit TextOutput(ViPBuf text) : next_(text) {}
  ~TextOutput() override { *next_ = '\0'; }
  TextOutput(const TextOutput&) = delete;
  TextOutput& operator=(const TextOutput&) = delete;
  ViStatus put(const void* bytes, size_t count) override {
    memcpy(next_, bytes, count);
    next_ += count;
    return VI_SUCCESS;
  }
  ViStatus end() override { return VI_SUCCESS; }

private:
  ViPBuf next_;
};

/// A session's read buffer, under its mutex.
class SessionInput : public Input {
public:
  explicit SessionInput(Instrument& instrument);
  ~SessionInput() override;
  SessionInput(const SessionInput&) = delete;
  SessionInput& operator=(const SessionInput&) = delete;
  void discard() { begin_ = end_; }
  /// Reads on to the end of the message that the buffer holds a part of, and drops it all.
  ViStatus discardMessage();
  /// The completion code that the end of the message had.
  ViStatus endStatus() const { return instrument_.scanned.endStatus; }
  bool resize(ViUInt32 size);

private:
  void refill() override;

  Instrument& instrument_;
  const std::lock_guard<std::mutex> lock_;
};

}  // namespace qvstd
