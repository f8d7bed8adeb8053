// The communications calls on ptys, and on a simulated line where a pty can't show the case: the linker sends the calls
// of ioctl and fstat through the __wrap_ functions below.
#include "communications.h"
#include "osAbstraction.h"
#include "support/childProcess.h"
#include "support/serialPeer.h"
#include "support/signalStorm.h"
#include "support/testing.h"

#include <asm/termbits.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cstdarg>
#include <optional>

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// A UART with modem lines on top of a pty: it keeps what `supported` allows and rounds rates as a divider would.
struct SimulatedLine {
  tcflag_t supported = ~tcflag_t{0};
  unsigned rateStep = 1;
  unsigned maxRate = 4'000'000;
  int lines = TIOCM_DTR | TIOCM_RTS | TIOCM_CTS;
  int unsent = 0;
  bool crawls = false;                ///< a byte less is unsent each time that it is asked
  std::optional<int> isTransmitting;  ///< how often asked, where the driver tells
  int flushes = 0;
  bool breaking = false;
  bool refusesLines = false;
  bool isMarked = false;
  int failAt = -1;  ///< so many calls from now one fails
  std::optional<termios2> settings;

  void set(termios2 wanted) {
    const termios2 old = settings.value_or(wanted);
    wanted.c_cflag = (wanted.c_cflag & supported) | (old.c_cflag & ~supported);
    wanted.c_ospeed = wanted.c_ospeed <= maxRate ? wanted.c_ospeed / rateStep * rateStep : old.c_ospeed;
    settings = wanted;
  }
};
SimulatedLine* simulatedLine = nullptr;

extern "C" int __real_ioctl(int fd, unsigned long request, ...);
extern "C" int __real_fstat(int fd, struct stat* status);

extern "C" int __wrap_fstat(int fd, struct stat* status) {
  const int result = __real_fstat(fd, status);
  if (simulatedLine != nullptr) status->st_rdev = makedev(4, 64);
  return result;
}

extern "C" int __wrap_ioctl(int fd, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  SimulatedLine* line = simulatedLine;
  auto* number = static_cast<int*>(argument);
  auto* settings = static_cast<termios2*>(argument);
  if (line == nullptr) return __real_ioctl(fd, request, argument);
  errno = EIO;
  if (line->failAt >= 0 && line->failAt-- == 0) return -1;
  if (request == TCGETS2 && line->settings) return *settings = *line->settings, 0;
  if (request == TCSETS2 || request == TCSETSW2) return line->set(*settings), 0;
  if (request == TIOCMGET) return *number = line->lines, 0;
  if (request == TIOCMBIS) return line->lines |= *number, line->refusesLines ? -1 : 0;
  if (request == TIOCMBIC) return line->lines &= ~*number, line->refusesLines ? -1 : 0;
  if (request == TIOCSBRK || request == TIOCCBRK) return line->breaking = request == TIOCSBRK, 0;
  if (request == TIOCGEXCL) return *number = line->isMarked, 0;
  if (request == TIOCEXCL || request == TIOCNXCL) return line->isMarked = request == TIOCEXCL, 0;
  if (request == TIOCOUTQ) return *number = line->unsent, line->unsent -= line->crawls && line->unsent > 0, 0;
  if (request == TIOCSERGETLSR && line->isTransmitting)
    return *number = (*line->isTransmitting)-- > 0 ? 0 : TIOCSER_TEMT, 0;
  if (request == TCFLSH) return line->flushes++, 0;
  return __real_ioctl(fd, request, argument);
}

HANDLE openPort(const char* name = R"(\\.\COM7)") {
  return CreateFileA(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}
bool isBusy() {
  return openPort() == INVALID_HANDLE_VALUE && OS_getLastError() == EBUSY;
}

/// COM7 and, once opened, its handle.
class Communications : public testing::Test {
protected:
  void TearDown() override {
    closePort();
    simulatedLine = nullptr;
  }
  void open(SimulatedLine* line = nullptr) {
    simulatedLine = line;
    port_ = openPort();
    ASSERT_NE(port_, INVALID_HANDLE_VALUE) << OS_getLastError();
  }
  void closePort() {
    if (port_ != INVALID_HANDLE_VALUE) CloseHandle(port_);
    port_ = INVALID_HANDLE_VALUE;
  }
  void setLimits(COMMTIMEOUTS limits) { ASSERT_TRUE(SetCommTimeouts(port_, &limits)); }
  COMSTAT status() {
    COMSTAT status = {};
    EXPECT_TRUE(ClearCommError(port_, nullptr, &status));
    return status;
  }
  bool awaits(size_t count) {
    return eventually([&] { return status().cbInQue == count; });
  }
  std::string receive(DWORD size) {
    std::string bytes(size, '\0');
    DWORD count = ~DWORD{0};
    EXPECT_TRUE(ReadFile(port_, bytes.data(), size, &count, nullptr)) << OS_getLastError();
    bytes.resize(std::min(count, size));
    return bytes;
  }
  DWORD send(const std::string& bytes) {
    DWORD count = ~DWORD{0};
    EXPECT_TRUE(WriteFile(port_, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr));
    return count;
  }
  DCB state() {
    DCB dcb = {};
    EXPECT_TRUE(GetCommState(port_, &dcb));
    return dcb;
  }
  bool isState(const DCB& dcb) {
    const DCB now = state();
    return memcmp(&now, &dcb, sizeof dcb) == 0;
  }
  bool takes(DCB dcb) { return SetCommState(port_, &dcb) && isState(dcb); }
  /// Whether the change is refused as a wrong parameter and nothing changes.
  bool isRefused(const std::function<void(DCB&)>& change) {
    const DCB before = state();
    DCB wanted = before;
    change(wanted);
    OS_setLastError(0);
    return !SetCommState(port_, &wanted) && OS_getLastError() == ERROR_INVALID_PARAMETER && isState(before);
  }

  SerialPeer peer_;
  HANDLE port_ = INVALID_HANDLE_VALUE;
  SimulatedLine line_;
};

TEST_F(Communications, OpensByItsNameOnly) {
  for (const char* name : {"COM7", R"(\\.\COM)", R"(\\.\COM7x)", R"(\\.\COM999)", R"(\\.\COM99999999999)"}) {
    EXPECT_TRUE(openPort(name) == INVALID_HANDLE_VALUE && OS_getLastError() == ENOENT) << name;
  }
  const DWORD access = GENERIC_READ | GENERIC_WRITE;
  auto* const security = reinterpret_cast<SECURITY_ATTRIBUTES*>(this);
  const char* const port = R"(\\.\COM7)";
  for (const HANDLE opened : {CreateFileA(port, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr),
                              CreateFileA(port, access, 1, nullptr, OPEN_EXISTING, 0, nullptr),
                              CreateFileA(port, access, 0, security, OPEN_EXISTING, 0, nullptr),
                              CreateFileA(port, access, 0, nullptr, OPEN_EXISTING + 1, 0, nullptr),
                              CreateFileA(port, access, 0, nullptr, OPEN_EXISTING, 1, nullptr),
                              CreateFileA(port, access, 0, nullptr, OPEN_EXISTING, 0, port_)}) {
    EXPECT_EQ(opened, INVALID_HANDLE_VALUE);
    EXPECT_EQ(OS_getLastError(), EINVAL);
  }
  setenv("QVVISA_SERIAL_PORTS", "7=/dev/null", 1);
  EXPECT_TRUE(openPort() == INVALID_HANDLE_VALUE && OS_getLastError() == ENOTTY);
}

TEST_F(Communications, IsHeldExclusivelyAndKeepsTheSettingsOfTheLine) {
  const int other = ::open(peer_.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  termios2 before = {};
  termios2 after = {};
  ASSERT_EQ(__real_ioctl(other, TCGETS2, &before), 0);
  open();
  ASSERT_EQ(__real_ioctl(other, TCGETS2, &after), 0);
  EXPECT_EQ(after.c_cflag, before.c_cflag | CLOCAL | CREAD);
  EXPECT_EQ(after.c_ospeed, before.c_ospeed);
  EXPECT_EQ(after.c_cc[VSTART], before.c_cc[VSTART]);
  EXPECT_EQ(ChildProcess([] { _exit(isBusy() ? 0 : 1); }).exitCode(), 0);
  int mark = -1;
  ASSERT_EQ(__real_ioctl(other, TIOCGEXCL, &mark), 0);
  EXPECT_EQ(mark, 0) << "on a pty it would outlive a holder that dies";
  closePort();
  EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
  close(other);
  line_.isMarked = true;
  simulatedLine = &line_;
  EXPECT_TRUE(isBusy());
  line_.isMarked = false;
  open(&line_);
  EXPECT_TRUE(line_.isMarked);
  closePort();
  EXPECT_FALSE(line_.isMarked);
}

TEST_F(Communications, ALineWithoutBytesIsNotTakenForAVanishedOne) {
  open();
  termios2 line = {};
  const int other = ::open(peer_.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_EQ(__real_ioctl(other, TCGETS2, &line), 0);
  line.c_cc[VMIN] = 0;
  ASSERT_EQ(__real_ioctl(other, TCSETS2, &line), 0);
  setLimits({0, 0, 30, 0, 0});
  EXPECT_EQ(receive(1), "");
  ASSERT_TRUE(peer_.send("a"));
  EXPECT_EQ(receive(1), "a");
  close(other);
}

TEST_F(Communications, ReadsKeepTheirTimeLimits) {
  const struct {
    const char* what;
    const char* there;
    COMMTIMEOUTS limits;
    int atLeastMs;
  } cases[] = {
      {"immediate, nothing there", "", {MAXDWORD, 0, 0, 0, 0}, 0},
      {"immediate, some there", "ab", {MAXDWORD, 0, 0, 0, 0}, 0},
      {"constant", "ab", {0, 0, 60, 0, 0}, 60},
      {"multiplier", "", {0, 20, 0, 0, 0}, 80},
      {"multiplier and constant", "abc", {0, 10, 50, 0, 0}, 90},
      {"interval alone", "a", {60, 0, 0, 0, 0}, 60},
      {"interval doesn't run before the first byte", "", {1, 0, 70, 0, 0}, 70},
      {"interval before total", "a", {40, 0, 60'000, 0, 0}, 40},
      {"total before interval", "a", {60'000, 0, 40, 0, 0}, 40},
      {"first bytes, some there", "ab", {MAXDWORD, MAXDWORD, 60'000, 0, 0}, 0},
      {"first bytes, nothing there", "", {MAXDWORD, MAXDWORD, 50, 0, 0}, 50},
      {"an interval of MAXDWORD beside a total", "a", {MAXDWORD, 0, 50, 0, 0}, 50},
  };
  const SignalStorm signals;
  open();
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    setLimits(test.limits);
    ASSERT_TRUE(peer_.send(test.there) && awaits(strlen(test.there)));
    const auto start = Clock::now();
    EXPECT_EQ(receive(4), test.there);
    const auto elapsed = Clock::now() - start;
    EXPECT_GE(elapsed, milliseconds(test.atLeastMs));
    EXPECT_LT(elapsed, milliseconds(20'000));
  }
}

TEST_F(Communications, StreamsArriveWholeByReadsOfAnySize) {
  open();
  EXPECT_EQ(receive(0), "");
  std::string stream;
  for (unsigned i = 0; i < 1 << 20; i++) stream += static_cast<char>(i * 2654435761U >> 24);
  std::thread other([&] { EXPECT_TRUE(peer_.send(stream + "ab")); });
  std::string received;
  for (const DWORD size : {1U, 1000U, 4096U, 1U, (1U << 20) - 5098U}) received += receive(size);
  EXPECT_TRUE(received == stream);
  other.join();
  ASSERT_TRUE(awaits(2));
  EXPECT_EQ(receive(1), "a");
  // The byte that is left is in the handle, this one in the kernel.
  ASSERT_TRUE(peer_.send("c") && awaits(2));
  EXPECT_EQ(receive(2), "bc");
}

TEST_F(Communications, WriteEndsAtItsLimitWithASmallerCount) {
  const SignalStorm signals;
  open();
  setLimits({0, 0, 0, 0, 80});
  DWORD sent = 0;
  expectNotShorter(80, [&] { sent = send(std::string(1 << 20, 'x')); });
  EXPECT_GT(sent, 0U);
  setLimits({0, 0, 0, 2, 20});
  expectNotShorter(80, [&] { EXPECT_EQ(send(std::string(30, 'x')), 0U); });
  EXPECT_EQ(peer_.receive(sent).size(), sent);
}

TEST_F(Communications, VanishedLineFailsEveryCall) {
  open();
  std::thread other([this] {
    std::this_thread::sleep_for(milliseconds(20));
    peer_.hangUp();
  });
  char bytes[4];
  DWORD count = 1;
  DCB dcb = {};
  COMMPROP properties = {};
  COMMTIMEOUTS limits = {};
  COMSTAT status = {};
  const std::function<BOOL()> calls[] = {
      [&] { return ReadFile(port_, bytes, sizeof bytes, &count, nullptr); },
      [&] { return WriteFile(port_, "abc", 3, &count, nullptr); },
      [&] { return GetCommState(port_, &dcb); },
      [&] { return SetCommState(port_, &dcb); },
      [&] { return GetCommProperties(port_, &properties); },
      [&] { return GetCommTimeouts(port_, &limits); },
      [&] { return SetCommTimeouts(port_, &limits); },
      [&] { return GetCommModemStatus(port_, &count); },
      [&] { return ClearCommError(port_, nullptr, &status); },
      [&] { return EscapeCommFunction(port_, SETXON); },
  };
  // The first call waits for the end.
  for (const auto& call : calls) {
    OS_setLastError(0);
    EXPECT_FALSE(call()) << &call - calls;
    EXPECT_EQ(OS_getLastError(), EIO) << &call - calls;
  }
  EXPECT_EQ(count, 0U);
  other.join();
}

TEST_F(Communications, HeldOutputWaitsForItsRelease) {
  open();
  setLimits({0, 0, 0, 0, 30});
  ASSERT_TRUE(EscapeCommFunction(port_, SETXOFF));
  EXPECT_TRUE(status().fXoffHold);
  EXPECT_EQ(send("abc"), 0U);
  ASSERT_TRUE(EscapeCommFunction(port_, SETXON));
  EXPECT_FALSE(status().fXoffHold);
  // A handle that is closed while it holds the output doesn't leave it so.
  ASSERT_TRUE(EscapeCommFunction(port_, SETXOFF));
  closePort();
  open();
  EXPECT_EQ(send("abc"), 3U);
  EXPECT_EQ(peer_.receive(3), "abc");
}

TEST_F(Communications, PtyTakesWhatAPtyCan) {
  open();
  DCB dcb = state();
  dcb.StopBits = TWOSTOPBITS;
  dcb.fOutxCtsFlow = 1;
  dcb.fRtsControl = RTS_CONTROL_HANDSHAKE;
  dcb.XonChar = '\x81';
  for (const DWORD rate : {300U, 12345U, 3'000'000U}) {
    dcb.BaudRate = rate;
    EXPECT_TRUE(takes(dcb)) << rate;
  }
  EXPECT_TRUE(isRefused([](DCB& change) { change.ByteSize = 7; }));
  EXPECT_TRUE(isRefused([](DCB& change) { change.Parity = EVENPARITY; }));
  EXPECT_TRUE(isRefused([](DCB& change) { change.fDtrControl = DTR_CONTROL_ENABLE; }));
  DWORD lines = 0;
  EXPECT_FALSE(GetCommModemStatus(port_, &lines));
  EXPECT_EQ(OS_getLastError(), ENOTTY);
}

TEST_F(Communications, FramingReachesTheLine) {
  open(&line_);
  for (const auto& [size, parity, stopBits, flags] : {std::tuple{7, EVENPARITY, ONESTOPBIT, CS7 | PARENB},
                                                      {7, ODDPARITY, TWOSTOPBITS, CS7 | PARENB | PARODD | CSTOPB},
                                                      {8, MARKPARITY, ONESTOPBIT, CS8 | PARENB | PARODD | CMSPAR},
                                                      {6, SPACEPARITY, TWOSTOPBITS, CS6 | PARENB | CMSPAR | CSTOPB},
                                                      {5, NOPARITY, ONE5STOPBITS, CS5 | CSTOPB}}) {
    DCB dcb = state();
    dcb.ByteSize = static_cast<BYTE>(size);
    dcb.Parity = parity;
    dcb.StopBits = stopBits;
    ASSERT_TRUE(takes(dcb)) << size << " " << int{parity};
    EXPECT_EQ(line_.settings->c_cflag & (CSIZE | PARENB | PARODD | CMSPAR | CSTOPB), static_cast<tcflag_t>(flags));
  }
}

TEST_F(Communications, ImpossibleSettingsAreRefused) {
  const std::function<void(DCB&)> changes[] = {
      [](DCB& dcb) { dcb.ByteSize = 4; },
      [](DCB& dcb) { dcb.ByteSize = 9; },
      [](DCB& dcb) { dcb.Parity = 5; },
      [](DCB& dcb) { dcb.StopBits = 3; },
      [](DCB& dcb) { dcb.StopBits = ONE5STOPBITS; },
      [](DCB& dcb) { dcb.ByteSize = 5, dcb.StopBits = TWOSTOPBITS; },
      [](DCB& dcb) { dcb.BaudRate = 0; },
      [](DCB& dcb) { dcb.fOutxDsrFlow = 1; },
      [](DCB& dcb) { dcb.fDtrControl = DTR_CONTROL_HANDSHAKE; },
      [](DCB& dcb) { dcb.fRtsControl = RTS_CONTROL_TOGGLE; },
      [](DCB& dcb) { dcb.fRtsControl = RTS_CONTROL_HANDSHAKE; },
      [](DCB& dcb) { dcb.fOutxCtsFlow = 1; },
      [](DCB& dcb) { dcb.fNull = 1; },
      [](DCB& dcb) { dcb.fBinary = 0; },
      [](DCB& dcb) { dcb.fDsrSensitivity = 1; },
      [](DCB& dcb) { dcb.fErrorChar = 1; },
      [](DCB& dcb) { dcb.fAbortOnError = 1; },
  };
  open(&line_);
  for (const auto& change : changes) EXPECT_TRUE(isRefused(change)) << &change - changes;
}

TEST_F(Communications, WhatTheLineIgnoresIsRefusedAndUndone) {
  open(&line_);
  line_.maxRate = 115'200;
  line_.rateStep = 100;
  line_.supported = ~(CSIZE | CMSPAR | CRTSCTS);
  EXPECT_TRUE(isRefused([](DCB& dcb) { dcb.BaudRate = 250'000; }));
  EXPECT_TRUE(isRefused([](DCB& dcb) { dcb.BaudRate = 199, dcb.StopBits = TWOSTOPBITS; }));
  EXPECT_TRUE(isRefused([](DCB& dcb) { dcb.ByteSize = 6, dcb.BaudRate = 9600; }));
  EXPECT_TRUE(isRefused([](DCB& dcb) { dcb.Parity = MARKPARITY; }));
  EXPECT_TRUE(isRefused([](DCB& dcb) { dcb.fOutxCtsFlow = 1, dcb.fRtsControl = RTS_CONTROL_HANDSHAKE; }));
  // Within 2 % a rate is what the line makes of it.
  DCB dcb = state();
  dcb.BaudRate = 12'345;
  ASSERT_TRUE(SetCommState(port_, &dcb));
  EXPECT_EQ(state().BaudRate, 12'300U);
  line_.refusesLines = true;
  dcb.StopBits = TWOSTOPBITS;
  dcb.fDtrControl = DTR_CONTROL_DISABLE;
  EXPECT_FALSE(SetCommState(port_, &dcb));
  EXPECT_EQ(OS_getLastError(), EIO);
  EXPECT_EQ(state().StopBits, ONESTOPBIT);
}

TEST_F(Communications, ARateIsSetForBothDirections) {
  open(&line_);
  for (const DWORD rate : {9600U, 19'200U}) {
    line_.settings->c_ospeed = 9600;
    line_.settings->c_ispeed = 300;
    DCB dcb = state();
    dcb.BaudRate = rate;
    EXPECT_TRUE(SetCommState(port_, &dcb));
    EXPECT_EQ(line_.settings->c_ispeed, rate);
  }
}

TEST_F(Communications, EachCallOfTheSystemThatFailsFailsItsOwnAndLeavesTheSettings) {
  DCB before = {};
  DWORD lines = 0;
  const auto escape = [this](DWORD function) {
    return [this, function] { return EscapeCommFunction(port_, function); };
  };
  const std::function<BOOL()> calls[] = {
      [&] { return (port_ = openPort()) != INVALID_HANDLE_VALUE; },
      [&] { return GetCommState(port_, &before); },
      [&] {
        DCB wanted = before;
        wanted.BaudRate = 19'200;
        wanted.fRtsControl = RTS_CONTROL_DISABLE;
        const BOOL isSet = SetCommState(port_, &wanted);
        const int error = OS_getLastError(), failAt = std::exchange(line_.failAt, -1);
        EXPECT_TRUE(isState(isSet ? wanted : before));
        line_.failAt = failAt;
        OS_setLastError(error);
        return isSet;
      },
      [&] { return GetCommModemStatus(port_, &lines); },
      [&] { return ClearCommError(port_, nullptr, nullptr); },
      escape(SETXOFF),
      escape(SETXON),
      escape(SETRTS),
      escape(CLRDTR),
      escape(SETBREAK),
      escape(CLRBREAK),
  };
  int failures = 0;
  for (int place = 0; line_.failAt < 0; ++place) {
    line_ = {};
    line_.failAt = place;
    simulatedLine = &line_;
    const auto* failed = std::ranges::find_if(calls, [](const auto& call) { return !call(); });
    if (failed != std::end(calls)) {
      // A line whose modem lines can't be asked counts as one without.
      const int error = OS_getLastError();
      EXPECT_TRUE(error == EIO || error == ERROR_INVALID_PARAMETER) << failed - calls << ' ' << place << ' ' << error;
      ++failures;
    }
    closePort();
  }
  EXPECT_GE(failures, 15);
}

TEST_F(Communications, ControlsSwitchTheirLines) {
  open(&line_);
  DCB dcb = state();
  EXPECT_EQ(dcb.fDtrControl, DTR_CONTROL_ENABLE);
  EXPECT_EQ(dcb.fRtsControl, RTS_CONTROL_ENABLE);
  // Lines moved by hand are neither the settings nor moved back by a change of something else.
  EXPECT_TRUE(EscapeCommFunction(port_, CLRDTR) && EscapeCommFunction(port_, CLRRTS));
  dcb.BaudRate = 19'200;
  EXPECT_TRUE(takes(dcb));
  EXPECT_EQ(line_.lines, TIOCM_CTS);
  for (const auto& [dtr, rts, lines] : {std::tuple{DTR_CONTROL_DISABLE, RTS_CONTROL_HANDSHAKE, TIOCM_RTS},
                                        {DTR_CONTROL_ENABLE, RTS_CONTROL_DISABLE, TIOCM_DTR},
                                        {DTR_CONTROL_ENABLE, RTS_CONTROL_ENABLE, TIOCM_DTR | TIOCM_RTS},
                                        {DTR_CONTROL_DISABLE, RTS_CONTROL_DISABLE, 0}}) {
    const bool isMovable = rts != RTS_CONTROL_HANDSHAKE;
    dcb.fDtrControl = dtr & 3U;
    dcb.fRtsControl = rts & 3U;
    dcb.fOutxCtsFlow = !isMovable;
    EXPECT_TRUE(takes(dcb));
    EXPECT_EQ(line_.lines, lines | TIOCM_CTS);
    EXPECT_EQ(EscapeCommFunction(port_, lines & TIOCM_RTS ? SETRTS : CLRRTS), isMovable);
    EXPECT_TRUE(isMovable || OS_getLastError() == ERROR_INVALID_PARAMETER);
  }
  DWORD status = 0;
  line_.lines = TIOCM_DTR | TIOCM_CTS | TIOCM_RI;
  EXPECT_TRUE(GetCommModemStatus(port_, &status) && status == (MS_CTS_ON | MS_RING_ON)) << status;
  line_.lines = TIOCM_RTS | TIOCM_DSR | TIOCM_CD;
  EXPECT_TRUE(GetCommModemStatus(port_, &status) && status == (MS_DSR_ON | MS_RLSD_ON)) << status;
}

TEST_F(Communications, CloseLeavesNothingBehindThatTheKernelWouldWaitFor) {
  const struct {
    const char* what;
    int unsent;
    bool crawls;
    std::optional<int> isTransmitting;
    bool isCtsOn;
    bool isDropped;
    bool keepsHandshake;
  } cases[] = {
      {"nothing on its way", 0, false, {}, true, false, true},
      {"standing still", 5, false, {}, false, true, false},
      {"crawling", 100'000, true, {}, true, true, false},
      {"bytes leaving the adapter", 0, false, 3, false, false, true},
      {"bytes held in the adapter", 0, false, INT_MAX, false, true, false},
      {"no bytes in the adapter", 0, false, 0, false, false, true},
      {"who knows, with the peer not ready", 0, false, {}, false, false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    line_ = {};
    open(&line_);
    DCB dcb = state();
    dcb.fOutxCtsFlow = 1;
    dcb.fRtsControl = RTS_CONTROL_HANDSHAKE;
    ASSERT_TRUE(SetCommState(port_, &dcb) && EscapeCommFunction(port_, SETBREAK));
    EXPECT_TRUE(line_.breaking);
    line_.unsent = c.unsent;
    line_.crawls = c.crawls;
    line_.isTransmitting = c.isTransmitting;
    line_.lines = c.isCtsOn ? TIOCM_CTS : 0;
    closePort();
    EXPECT_FALSE(line_.breaking);
    EXPECT_EQ(line_.flushes, c.isDropped ? 1 : 0);
    EXPECT_EQ(line_.unsent > 0, c.unsent > 0) << "waited for to the end";
    EXPECT_EQ((line_.settings->c_cflag & CRTSCTS) != 0, c.keepsHandshake);
  }
}

}  // namespace
