#include "communications.h"

#include "DebugMalloc.h"
#include "descriptor.h"
#include "deviceDatabase.h"
#include "fastLock.h"

// Not <termios.h>: only the kernel's own header has termios2, and the two don't go together.
#include <asm/termbits.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string_view>

namespace {

/// An open port.
struct Port {
  int descriptor = -1;
  bool hasModemLines = false;
  std::atomic<bool> isHeld;  ///< by SETXOFF
  std::atomic<bool> isBreaking;
  std::atomic<bool> dtrOn;  ///< the settings; EscapeCommFunction moves the lines without them
  std::atomic<bool> rtsOn;  ///< counts without CTS handshake only

  os_fastlock_t lock;  ///< guards what follows; not held while anything is waited for
  COMMTIMEOUTS limits = {};
  int readers = 0;  ///< threads that receive
  size_t queueBegin = 0;
  size_t queueEnd = 0;
  BYTE queue[4096];  ///< received beyond a request; as much as the kernel delivers at once

  Port() { OS_initFastLock(&lock); }
  ~Port() { OS_deleteFastLock(&lock); }
  Port(const Port&) = delete;
  Port& operator=(const Port&) = delete;
};

Port& portOf(HANDLE handle) {
  return *static_cast<Port*>(handle);
}

bool fail(int error) {
  OS_setLastError(error);
  return false;
}

COMMTIMEOUTS limitsOf(Port& port) {
  const FastLockGuard guard(port.lock);
  return port.limits;
}

/// An ioctl, with a number or a record as its argument. False leaves the reason in the thread's last error.
template <typename Argument>
bool control(int descriptor, unsigned long request, Argument argument) {
  int result = 0;
  do {
    result = ioctl(descriptor, request, argument);
  } while (result != 0 && errno == EINTR);
  return result == 0 || fail(errno);
}

/// Whether the line is still there. What is kept on this side is refused too once the line is gone.
bool isAlive(const Port& port) {
  termios2 line = {};
  return control(port.descriptor, TCGETS2, &line);
}

// --- Time ---

/// A point of the monotonic clock, in ns.
using Time = int64_t;
constexpr Time kNever = std::numeric_limits<Time>::max();
constexpr Time kNsPerMs = 1'000'000;

Time now() {
  timespec time = {};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return Time{time.tv_sec} * 1000 * kNsPerMs + time.tv_nsec;
}

Time msAfter(Time start, uint64_t ms) {
  return ms < static_cast<uint64_t>((kNever - start) / kNsPerMs) ? start + static_cast<Time>(ms) * kNsPerMs : kNever;
}

timespec spanUntil(Time deadline) {
  const Time rest = std::max<Time>(deadline - now(), 0);
  return {rest / (1000 * kNsPerMs), rest % (1000 * kNsPerMs)};
}

/// A total time limit: 0 for both parts means that there is none.
class TotalLimit {
public:
  TotalLimit(DWORD multiplier, DWORD size, DWORD constant)
      : isSet_(multiplier != 0 || constant != 0), ms_(uint64_t{multiplier} * size + constant) {}
  /// The clock is first read when there is something to wait for.
  Time deadline() {
    if (deadline_ == 0) deadline_ = isSet_ ? msAfter(now(), ms_) : kNever;
    return deadline_;
  }

private:
  bool isSet_;
  uint64_t ms_;
  Time deadline_ = 0;
};

enum class Wait { Ready, Expired, Broken };

/// Waits until the line has room for, or bytes of, the wanted direction. Broken: it never will.
Wait waitFor(const Port& port, short events, Time deadline) {
  pollfd line = {port.descriptor, events, 0};
  int count = 0;
  do {
    const timespec rest = spanUntil(deadline);
    count = ppoll(&line, 1, deadline == kNever ? nullptr : &rest, nullptr);
  } while (count < 0 && errno == EINTR);
  if (count == 0) return Wait::Expired;
  return count > 0 && (line.revents & events) != 0 ? Wait::Ready : Wait::Broken;
}

// --- Opening ---

bool isPty(const struct stat& node) {
  constexpr unsigned firstPtyMajor = 136;
  constexpr unsigned lastPtyMajor = 143;
  return major(node.st_rdev) >= firstPtyMajor && major(node.st_rdev) <= lastPtyMajor;
}

struct Release {
  /// Gives back what makes the port exclusive.
  void operator()(Port* port) const {
    if (port->descriptor >= 0) {
      struct stat node = {};
      if (fstat(port->descriptor, &node) != 0 || !isPty(node)) ioctl(port->descriptor, TIOCNXCL);
      flock(port->descriptor, LOCK_UN);
      close(port->descriptor);
    }
    port->~Port();
    DEBUG_FREE(port);
  }
};
using PortOwner = std::unique_ptr<Port, Release>;

/// The number in `\\.\COM<n>`, or 0.
int comPortOf(std::string_view name) {
  constexpr std::string_view prefix = R"(\\.\COM)";
  if (!name.starts_with(prefix)) return 0;
  int number = 0;
  const auto [end, error] = std::from_chars(name.begin() + prefix.size(), name.end(), number);
  return error == std::errc{} && end == name.end() ? number : 0;
}

/// Takes the lock that keeps out other users of this library, root included, and sets the mark that keeps out the rest.
/// A pty goes without the mark: there it would outlive a holder that dies, for as long as the other end is open.
bool makeExclusive(int descriptor) {
  int result = 0;
  do {
    result = flock(descriptor, LOCK_EX | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  if (result != 0) return fail(errno == EWOULDBLOCK ? EBUSY : errno);
  // A mark on a line whose kind isn't known might stay for ever.
  struct stat node = {};
  if (fstat(descriptor, &node) != 0) return fail(errno);
  if (isPty(node)) return true;
  int mark = 0;
  // Another program's mark doesn't keep root out by itself.
  if (ioctl(descriptor, TIOCGEXCL, &mark) == 0 && mark != 0) return fail(EBUSY);
  return control(descriptor, TIOCEXCL, 0);
}

/// A descriptor of the device, held exclusively, or -1.
int openExclusively(const char* path) {
  int descriptor = -1;
  do {
    descriptor = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  } while (descriptor < 0 && errno == EINTR);
  descriptor = awayFromStandardStreams(descriptor);
  if (descriptor < 0) {
    fail(errno);
    return -1;
  }
  if (makeExclusive(descriptor)) return descriptor;
  close(descriptor);
  return -1;
}

/// Switches off all that keeps bytes from arriving as they were sent, and only that. CLOCAL: without it the loss of the
/// carrier hangs the line up.
bool makeRaw(int descriptor) {
  termios2 line = {};
  if (!control(descriptor, TCGETS2, &line)) return false;
  constexpr tcflag_t translations = IGNBRK | BRKINT | PARMRK | ISTRIP | INLCR | IGNCR | ICRNL | IUCLC | IXON;
  line.c_iflag &= ~translations;
  line.c_oflag &= ~tcflag_t{OPOST};
  line.c_lflag &= ~tcflag_t{ECHO | ECHONL | ICANON | ISIG | IEXTEN};
  line.c_cflag |= CREAD | CLOCAL;
  // With VMIN 0 a line without bytes would read like one that is hung up.
  line.c_cc[VMIN] = 1;
  line.c_cc[VTIME] = 0;
  return control(descriptor, TCSETS2, &line);
}

void noteModemLines(Port& port) {
  int lines = 0;
  port.hasModemLines = ioctl(port.descriptor, TIOCMGET, &lines) == 0;
  port.dtrOn = port.hasModemLines && (lines & TIOCM_DTR) != 0;
  port.rtsOn = port.hasModemLines && (lines & TIOCM_RTS) != 0;
}

PortOwner openPort(const char* path) {
  void* const memory = DEBUG_MALLOC(sizeof(Port));
  if (memory == nullptr) {
    fail(ENOMEM);
    return nullptr;
  }
  PortOwner port(new (memory) Port);
  port->descriptor = openExclusively(path);
  if (port->descriptor < 0 || !makeRaw(port->descriptor)) return nullptr;
  noteModemLines(*port);
  return port;
}

// --- Settings ---

constexpr tcflag_t kParityFlags[] = {0, PARENB | PARODD, PARENB, PARENB | PARODD | CMSPAR, PARENB | CMSPAR};
constexpr tcflag_t kSizeFlags[] = {CS5, CS6, CS7, CS8};
constexpr BYTE kSmallestByteSize = 5;

template <size_t Count>
BYTE indexOf(const tcflag_t (&flags)[Count], tcflag_t flag) {
  return static_cast<BYTE>(std::find(flags, flags + Count, flag) - flags);
}

bool hasCtsHandshake(const termios2& line) {
  return (line.c_cflag & CRTSCTS) != 0;
}

void readLine(const termios2& line, DCB& dcb) {
  dcb.BaudRate = line.c_ospeed;
  dcb.ByteSize = static_cast<BYTE>(kSmallestByteSize + indexOf(kSizeFlags, line.c_cflag & CSIZE));
  const bool hasParity = (line.c_cflag & PARENB) != 0;
  dcb.Parity = hasParity ? indexOf(kParityFlags, line.c_cflag & (PARENB | PARODD | CMSPAR)) : NOPARITY;
  // Two stop bits are one and a half with 5 data bits: that is how the chips do it.
  const BYTE longStop = dcb.ByteSize == kSmallestByteSize ? ONE5STOPBITS : TWOSTOPBITS;
  dcb.StopBits = (line.c_cflag & CSTOPB) != 0 ? longStop : ONESTOPBIT;
  dcb.fOutxCtsFlow = hasCtsHandshake(line);
  dcb.fParity = (line.c_iflag & INPCK) != 0;
  dcb.fOutX = (line.c_iflag & IXON) != 0;
  dcb.fInX = (line.c_iflag & IXOFF) != 0;
  dcb.XonChar = static_cast<char>(line.c_cc[VSTART]);
  dcb.XoffChar = static_cast<char>(line.c_cc[VSTOP]);
}

void setFlag(tcflag_t& flags, tcflag_t flag, bool on) {
  flags = on ? flags | flag : flags & ~flag;
}

void writeLine(const DCB& dcb, termios2& line) {
  // A line may have been left with another rate for its input.
  if (dcb.BaudRate != line.c_ospeed || dcb.BaudRate != line.c_ispeed) {
    setFlag(line.c_cflag, CBAUD | CIBAUD, false);
    setFlag(line.c_cflag, BOTHER, true);
    line.c_ospeed = dcb.BaudRate;
    line.c_ispeed = dcb.BaudRate;
  }
  setFlag(line.c_cflag, CSIZE | PARENB | PARODD | CMSPAR, false);
  line.c_cflag |= kSizeFlags[dcb.ByteSize - kSmallestByteSize] | kParityFlags[dcb.Parity];
  setFlag(line.c_cflag, CSTOPB, dcb.StopBits != ONESTOPBIT);
  setFlag(line.c_cflag, CRTSCTS, dcb.fOutxCtsFlow);
  setFlag(line.c_iflag, INPCK, dcb.fParity);
  setFlag(line.c_iflag, IXON, dcb.fOutX);
  setFlag(line.c_iflag, IXOFF, dcb.fInX);
  line.c_cc[VSTART] = static_cast<cc_t>(dcb.XonChar);
  line.c_cc[VSTOP] = static_cast<cc_t>(dcb.XoffChar);
}

/// Whether a terminal line has these settings at all.
bool isPossible(const Port& port, const DCB& dcb, const termios2& line) {
  const bool isFive = dcb.ByteSize == kSmallestByteSize;
  const bool framing = dcb.ByteSize >= kSmallestByteSize && dcb.ByteSize <= 8 && dcb.Parity <= SPACEPARITY &&
                       dcb.StopBits <= TWOSTOPBITS && dcb.StopBits != (isFive ? TWOSTOPBITS : ONE5STOPBITS);
  const bool speed = dcb.BaudRate != 0 || line.c_ospeed == 0;
  // Linux has one switch for both directions of the RTS/CTS handshake, and none for DTR/DSR.
  const bool wantsHandshake = dcb.fRtsControl == RTS_CONTROL_HANDSHAKE;
  const bool handshake = (dcb.fOutxCtsFlow != 0) == wantsHandshake && dcb.fRtsControl != RTS_CONTROL_TOGGLE &&
                         dcb.fOutxDsrFlow == 0 && dcb.fDtrControl <= DTR_CONTROL_ENABLE;
  const bool lines =
      port.hasModemLines || (dcb.fDtrControl == DTR_CONTROL_DISABLE && dcb.fRtsControl != RTS_CONTROL_ENABLE);
  const bool unknown = dcb.fBinary == 0 || dcb.fDsrSensitivity || dcb.fErrorChar || dcb.fNull || dcb.fAbortOnError;
  return framing && speed && handshake && lines && !unknown;
}

/// Whether the line took what it was given. Many drivers accept a setting that they can't do and keep the old one; a
/// rate comes back as near as the chip's divider allows.
bool isSameLine(const termios2& wanted, const termios2& actual) {
  constexpr tcflag_t cflags = CSIZE | PARENB | PARODD | CMSPAR | CSTOPB | CRTSCTS;
  constexpr tcflag_t iflags = INPCK | IXON | IXOFF;
  constexpr int64_t tolerance = 50;  // 1/50 is 2 %
  const int64_t difference = int64_t{wanted.c_ospeed} - actual.c_ospeed;
  return ((wanted.c_cflag ^ actual.c_cflag) & cflags) == 0 && ((wanted.c_iflag ^ actual.c_iflag) & iflags) == 0 &&
         wanted.c_cc[VSTART] == actual.c_cc[VSTART] && wanted.c_cc[VSTOP] == actual.c_cc[VSTOP] &&
         std::max(difference, -difference) * tolerance <= wanted.c_ospeed;
}

/// Whether the chip or adapter still has bytes to send, to the system sent already. Nothing where the driver can't
/// tell.
std::optional<bool> isTransmitting(const Port& port) {
  unsigned transmitter = 0;
  if (ioctl(port.descriptor, TIOCSERGETLSR, &transmitter) != 0) return std::nullopt;
  return (transmitter & TIOCSER_TEMT) == 0;
}

/// Waits until what the system took over is sent, as far as drivers tell. False: the line stands still, as a peer's
/// handshake may have it do for ever, or the deadline is over.
bool waitForOutput(const Port& port, Time deadline) {
  constexpr uint64_t patienceMs = 1000;
  int last = 0;
  Time standstill = 0;
  for (;;) {
    int count = 0;
    if (ioctl(port.descriptor, TIOCOUTQ, &count) != 0) return true;
    if (count == 0 && !isTransmitting(port).value_or(false)) return true;
    if (count != last || standstill == 0) standstill = msAfter(now(), patienceMs);
    if (port.isHeld || now() >= std::min(standstill, deadline)) return false;
    last = count;
    constexpr timespec pause = {0, kNsPerMs};
    nanosleep(&pause, nullptr);
  }
}

/// Gives the line its new settings, or leaves it the old ones.
bool applyLine(const Port& port, const termios2& old, const termios2& wanted) {
  // What is still on its way goes out as it was meant. The kernel's own wait has an end only without handshake.
  const bool isSent = waitForOutput(port, kNever) && !hasCtsHandshake(old);
  termios2 actual = wanted;
  const bool isTaken = control(port.descriptor, isSent ? TCSETSW2 : TCSETS2, &actual);
  if (!isTaken && OS_getLastError() != EINVAL) return false;
  const bool isRead = control(port.descriptor, TCGETS2, &actual);
  if (isTaken && isRead && isSameLine(wanted, actual)) return true;
  const int reason = isRead ? ERROR_INVALID_PARAMETER : OS_getLastError();
  actual = old;
  return control(port.descriptor, TCSETS2, &actual) && fail(reason);
}

bool switchModemLines(const Port& port, int lines, bool on) {
  return lines == 0 || control(port.descriptor, on ? TIOCMBIS : TIOCMBIC, &lines);
}

/// Switches the lines whose control changes. The RTS handshake starts from a line that is on.
bool applyModemLines(const Port& port, const DCB& dcb, bool hadHandshake) {
  if (!port.hasModemLines) return true;
  const bool hasHandshake = dcb.fRtsControl == RTS_CONTROL_HANDSHAKE;
  const bool dtrOn = dcb.fDtrControl == DTR_CONTROL_ENABLE;
  const bool rtsOn = dcb.fRtsControl != RTS_CONTROL_DISABLE;
  const int dtr = dtrOn != port.dtrOn ? TIOCM_DTR : 0;
  const int rts = hasHandshake != hadHandshake || (!hasHandshake && rtsOn != port.rtsOn) ? TIOCM_RTS : 0;
  return switchModemLines(port, (dtrOn ? dtr : 0) | (rtsOn ? rts : 0), true) &&
         switchModemLines(port, (dtrOn ? 0 : dtr) | (rtsOn ? 0 : rts), false);
}

bool holdOutput(Port& port, bool hold) {
  if (!control(port.descriptor, TCXONC, hold ? TCOOFF : TCOON)) return false;
  port.isHeld = hold;
  return true;
}

bool setBreak(Port& port, bool on) {
  if (!control(port.descriptor, on ? TIOCSBRK : TIOCCBRK, 0)) return false;
  port.isBreaking = on;
  return true;
}

bool setRts(const Port& port, bool on) {
  termios2 line = {};
  if (!control(port.descriptor, TCGETS2, &line)) return false;
  return hasCtsHandshake(line) ? fail(ERROR_INVALID_PARAMETER) : switchModemLines(port, TIOCM_RTS, on);
}

/// Whether an adapter may hold bytes back for its peer's CTS, without telling.
bool mayHoldBytes(const Port& port) {
  int lines = 0;
  return !isTransmitting(port) && ioctl(port.descriptor, TIOCMGET, &lines) == 0 && (lines & TIOCM_CTS) == 0;
}

/// Lets what was written leave before the close, for a while: the kernel's close would wait half a minute for a line
/// that stands still.
void endOutput(const Port& port) {
  constexpr uint64_t longestMs = 1500;
  const bool isSent = waitForOutput(port, msAfter(now(), longestMs));
  if (!isSent) ioctl(port.descriptor, TCFLSH, TCOFLUSH);
  termios2 line = {};
  const bool hasLine = ioctl(port.descriptor, TCGETS2, &line) == 0;
  if (hasLine && (!isSent || (hasCtsHandshake(line) && mayHoldBytes(port)))) {
    // Adapters that can't drop their bytes send them at once when no handshake keeps them.
    setFlag(line.c_cflag, CRTSCTS, false);
    setFlag(line.c_iflag, IXON, false);
    ioctl(port.descriptor, TCSETS2, &line);
  }
  if (port.isHeld) ioctl(port.descriptor, TCXONC, TCOON);
}

// --- Transfer ---

/// The lock is held.
size_t takeQueued(Port& port, std::span<BYTE> room) {
  const size_t count = std::min(room.size(), port.queueEnd - port.queueBegin);
  std::copy_n(port.queue + port.queueBegin, count, room.data());
  port.queueBegin += count;
  return count;
}

/// Takes bytes from the queue or, when that is empty, from the kernel, those beyond `room` into the queue.
/// @param isBroken  the line has nothing to wait for, so that no byte is a failure
/// @return the count for `room`, 0 if there is nothing now, -1 if the line failed
ssize_t fetch(Port& port, std::span<BYTE> room, bool isBroken) {
  const FastLockGuard guard(port.lock);
  if (const size_t queued = takeQueued(port, room); queued > 0) return static_cast<ssize_t>(queued);
  // Another thread that waits for bytes is woken by those in the kernel only.
  const bool isDirect = room.size() >= sizeof port.queue || port.readers > 1;
  ssize_t count = 0;
  do {
    count = isDirect ? read(port.descriptor, room.data(), room.size())
                     : read(port.descriptor, port.queue, sizeof port.queue);
  } while (count < 0 && errno == EINTR);
  // A line that was hung up reads like the end of a file, and so does one without bytes whose VMIN somebody set to 0.
  const bool isEmpty = count == 0 ? isAlive(port) : count < 0 && errno == EAGAIN;
  if (isEmpty && !isBroken) return 0;
  if (count <= 0) {
    fail(count == 0 || isEmpty ? EIO : errno);
    return -1;
  }
  if (isDirect) return count;
  port.queueBegin = 0;
  port.queueEnd = static_cast<size_t>(count);
  return static_cast<ssize_t>(takeQueued(port, room));
}

/// How long a read waits, by the rules of COMMTIMEOUTS.
struct ReadRule {
  bool takesWhatIsThere;
  bool endsWithFirstBytes;
  DWORD intervalMs;  ///< 0: none
  TotalLimit total;

  ReadRule(const COMMTIMEOUTS& limits, DWORD size)
      : takesWhatIsThere(limits.ReadIntervalTimeout == MAXDWORD && limits.ReadTotalTimeoutMultiplier == 0 &&
                         limits.ReadTotalTimeoutConstant == 0),
        endsWithFirstBytes(limits.ReadIntervalTimeout == MAXDWORD && limits.ReadTotalTimeoutMultiplier == MAXDWORD &&
                           limits.ReadTotalTimeoutConstant != 0 && limits.ReadTotalTimeoutConstant != MAXDWORD),
        intervalMs(limits.ReadIntervalTimeout),
        total(endsWithFirstBytes ? 0 : limits.ReadTotalTimeoutMultiplier, size, limits.ReadTotalTimeoutConstant) {}

  Time deadline(bool hasBytes) {
    const Time end = total.deadline();
    return hasBytes && intervalMs != 0 ? std::min(end, msAfter(now(), intervalMs)) : end;
  }
};

/// Counts a thread among those that receive.
class Receiving {
public:
  explicit Receiving(Port& port) : port_(port) { count(1); }
  ~Receiving() { count(-1); }
  Receiving(const Receiving&) = delete;
  Receiving& operator=(const Receiving&) = delete;

private:
  void count(int change) {
    const FastLockGuard guard(port_.lock);
    port_.readers += change;
  }

  Port& port_;
};

/// Fills `room`, as long as the rule allows.
/// @return the count, or -1 if the line failed before any byte came
ssize_t receive(Port& port, std::span<BYTE> room, ReadRule rule) {
  const Receiving receiving(port);
  size_t count = 0;
  Wait wait = Wait::Ready;
  while (count < room.size()) {
    const ssize_t fetched = fetch(port, room.subspan(count), wait == Wait::Broken);
    // What came before the failure is delivered; the next call fails by itself.
    if (fetched < 0) return count > 0 ? static_cast<ssize_t>(count) : -1;
    count += static_cast<size_t>(fetched);
    if (fetched > 0) continue;
    if (rule.takesWhatIsThere || (rule.endsWithFirstBytes && count > 0)) break;
    wait = waitFor(port, POLLIN, rule.deadline(count > 0));
    if (wait == Wait::Expired) break;
  }
  return static_cast<ssize_t>(count);
}

/// Sends the bytes, as long as the limit allows. `*sent` counts them, also on a failure.
bool transmit(const Port& port, std::span<const BYTE> bytes, TotalLimit limit, DWORD* sent) {
  Wait wait = Wait::Ready;
  while (*sent < bytes.size() && wait != Wait::Expired) {
    const auto rest = bytes.subspan(*sent);
    const ssize_t count = write(port.descriptor, rest.data(), rest.size());
    if (count > 0) {
      *sent += static_cast<DWORD>(count);
      continue;
    }
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno != EAGAIN) return fail(errno);
    if (wait == Wait::Broken) return fail(EIO);
    wait = waitFor(port, POLLOUT, limit.deadline());
  }
  return true;
}

}  // namespace

HANDLE CreateFileA(const char* name, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES* security, DWORD disposition,
                   DWORD flags, HANDLE templateFile) {
  const bool isSupported = access == (GENERIC_READ | GENERIC_WRITE) && shareMode == 0 && security == nullptr &&
                           disposition == OPEN_EXISTING && flags == 0 && templateFile == nullptr;
  if (!isSupported) {
    fail(EINVAL);
    return INVALID_HANDLE_VALUE;
  }
  char path[256];
  if (!findComPortPath(comPortOf(name), path, sizeof path)) return INVALID_HANDLE_VALUE;
  PortOwner port = openPort(path);
  return port != nullptr ? port.release() : INVALID_HANDLE_VALUE;
}

BOOL CloseHandle(HANDLE handle) {
  const PortOwner port(&portOf(handle));
  if (port->isBreaking) ioctl(port->descriptor, TIOCCBRK);
  endOutput(*port);
  return TRUE;
}

BOOL GetCommState(HANDLE handle, DCB* dcb) {
  const Port& port = portOf(handle);
  termios2 line = {};
  if (!control(port.descriptor, TCGETS2, &line)) return FALSE;
  *dcb = {};
  dcb->DCBlength = sizeof *dcb;
  dcb->fBinary = TRUE;
  dcb->fTXContinueOnXoff = TRUE;
  readLine(line, *dcb);
  dcb->fDtrControl = port.dtrOn ? DTR_CONTROL_ENABLE : DTR_CONTROL_DISABLE;
  dcb->fRtsControl = port.rtsOn ? RTS_CONTROL_ENABLE : RTS_CONTROL_DISABLE;
  if (hasCtsHandshake(line)) dcb->fRtsControl = RTS_CONTROL_HANDSHAKE;
  return TRUE;
}

BOOL SetCommState(HANDLE handle, DCB* dcb) {
  Port& port = portOf(handle);
  termios2 old = {};
  if (!control(port.descriptor, TCGETS2, &old)) return FALSE;
  if (!isPossible(port, *dcb, old)) return fail(ERROR_INVALID_PARAMETER);
  termios2 wanted = old;
  writeLine(*dcb, wanted);
  if (!applyLine(port, old, wanted)) return FALSE;
  if (!applyModemLines(port, *dcb, hasCtsHandshake(old))) {
    const int error = OS_getLastError();
    ioctl(port.descriptor, TCSETS2, &old);
    return fail(error);
  }
  port.dtrOn = dcb->fDtrControl == DTR_CONTROL_ENABLE;
  port.rtsOn = dcb->fRtsControl == RTS_CONTROL_ENABLE;
  return TRUE;
}

BOOL GetCommProperties(HANDLE handle, COMMPROP* properties) {
  const Port& port = portOf(handle);
  if (!isAlive(port)) return FALSE;
  *properties = {};
  properties->wPacketLength = sizeof *properties;
  properties->wPacketVersion = 2;
  properties->dwServiceMask = 1;       // serial
  properties->dwMaxBaud = 0x10000000;  // any rate
  properties->dwSettableBaud = 0x10000000;
  properties->dwProvSubType = 1;             // RS-232
  properties->dwProvCapabilities = 0xFA;     // RTS/CTS, parity check, XON/XOFF and its characters, both time limits
  properties->dwSettableParams = 0x3F;       // all but the carrier
  properties->wSettableData = 0x0F;          // 5 to 8 bits
  properties->wSettableStopParity = 0x1F07;  // 1, 1.5 and 2 stop bits; the five parities
  properties->dwCurrentRxQueue = sizeof port.queue;
  return TRUE;
}

BOOL GetCommTimeouts(HANDLE handle, COMMTIMEOUTS* timeouts) {
  Port& port = portOf(handle);
  if (!isAlive(port)) return FALSE;
  *timeouts = limitsOf(port);
  return TRUE;
}

BOOL SetCommTimeouts(HANDLE handle, COMMTIMEOUTS* timeouts) {
  Port& port = portOf(handle);
  if (!isAlive(port)) return FALSE;
  const FastLockGuard guard(port.lock);
  port.limits = *timeouts;
  return TRUE;
}

BOOL GetCommModemStatus(HANDLE handle, DWORD* status) {
  int lines = 0;
  if (!control(portOf(handle).descriptor, TIOCMGET, &lines)) return FALSE;
  *status = ((lines & TIOCM_CTS) != 0 ? MS_CTS_ON : 0) | ((lines & TIOCM_DSR) != 0 ? MS_DSR_ON : 0) |
            ((lines & TIOCM_RI) != 0 ? MS_RING_ON : 0) | ((lines & TIOCM_CD) != 0 ? MS_RLSD_ON : 0);
  return TRUE;
}

BOOL ClearCommError(HANDLE handle, DWORD* errors, COMSTAT* status) {
  Port& port = portOf(handle);
  int waiting = 0;
  int unsent = 0;
  const FastLockGuard guard(port.lock);
  if (!control(port.descriptor, FIONREAD, &waiting) || !control(port.descriptor, TIOCOUTQ, &unsent)) return FALSE;
  if (errors != nullptr) *errors = 0;
  if (status == nullptr) return TRUE;
  *status = {};
  status->fXoffHold = port.isHeld;
  status->cbInQue = static_cast<DWORD>(waiting) + static_cast<DWORD>(port.queueEnd - port.queueBegin);
  status->cbOutQue = static_cast<DWORD>(unsent);
  return TRUE;
}

BOOL EscapeCommFunction(HANDLE handle, DWORD function) {
  Port& port = portOf(handle);
  switch (function) {
  case SETXOFF:
  case SETXON:
    return holdOutput(port, function == SETXOFF);
  case SETRTS:
  case CLRRTS:
    return setRts(port, function == SETRTS);
  case SETDTR:
  case CLRDTR:
    return switchModemLines(port, TIOCM_DTR, function == SETDTR);
  case SETBREAK:
  case CLRBREAK:
    return setBreak(port, function == SETBREAK);
  default:
    return fail(ERROR_INVALID_PARAMETER);
  }
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD size, DWORD* received, OVERLAPPED*) {
  Port& port = portOf(handle);
  const ssize_t count = receive(port, {static_cast<BYTE*>(buffer), size}, ReadRule(limitsOf(port), size));
  *received = count > 0 ? static_cast<DWORD>(count) : 0;
  return count >= 0;
}

DWORD TakeReceived(HANDLE handle, void* buffer, DWORD size, const bool (&isWanted)[256]) {
  Port& port = portOf(handle);
  const FastLockGuard guard(port.lock);
  auto* room = static_cast<BYTE*>(buffer);
  const BYTE* next = port.queue + port.queueBegin;
  const BYTE* end = next + std::min<size_t>(size, port.queueEnd - port.queueBegin);
  while (next < end && isWanted[*next]) *room++ = *next++;
  port.queueBegin = static_cast<size_t>(next - port.queue);
  return static_cast<DWORD>(room - static_cast<BYTE*>(buffer));
}

BOOL WriteFile(HANDLE handle, const void* buffer, DWORD size, DWORD* sent, OVERLAPPED*) {
  Port& port = portOf(handle);
  const COMMTIMEOUTS limits = limitsOf(port);
  const TotalLimit limit(limits.WriteTotalTimeoutMultiplier, size, limits.WriteTotalTimeoutConstant);
  *sent = 0;
  return transmit(port, {static_cast<const BYTE*>(buffer), size}, limit, sent);
}
