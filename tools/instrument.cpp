#include "instrument.h"

#include "diagnosis.h"
#include "errors.h"
#include "watchdog.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <limits>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// The largest USBTMC response that the library takes; a device that is asked for less may fail the read.
constexpr ViUInt32 kUsbtmcReadSize = 3060;
/// A serial read that runs into its time limit doesn't tell how much it read, so bytes are taken one by one.
constexpr ViUInt32 kSerialReadSize = 1;
/// Whole USB packets, whatever their size.
constexpr ViUInt32 kOtherReadSize = 65536;
/// What a TCP/IP session answers for any failed transfer, the time limit included.
constexpr ViStatus kTcpFailure = -1;
/// How long the terminator behind a block may take: some instruments send none.
constexpr ViUInt32 kTerminatorLimit_ms = 500;
/// How long a line has to be silent to be taken for empty. An answer on its way over TCP shows sooner than one from a
/// USB serial adapter, which collects bytes for 16 ms.
constexpr milliseconds kTcpQuiet{20};
constexpr milliseconds kSerialQuiet{50};
constexpr milliseconds kQuietAfterClear{200};
/// How long an instrument may go on sending while its line is emptied.
constexpr milliseconds kLongestDrop{5000};
constexpr milliseconds kClearPause{100};

ViBuf bytesOf(std::string& text) {
  return reinterpret_cast<ViBuf>(text.data());
}

}  // namespace

Instrument::Instrument(std::string resource, const Options& options)
    : resource_(std::move(resource)), termination_(options.termination), timeout_ms_(options.timeout_ms),
      settle_ms_(options.settle_ms) {
  std::vector<Setting> settings;
  for (const std::string& text : options.settings) settings.push_back(parseSetting(text));
  const ResourceName name = parseResourceName(resource_);
  if (name.bus == Bus::Usb) interruption_.emplace();
  manager_.emplace();
  open(name, options);
  try {
    check(QV_viGetAttribute(handle_, VI_ATTR_INTF_TYPE, &interface_), "asking for the interface of");
    // A TCP/IP session has no time limit of its own, and a serial one has another than it says, until it is set.
    limit(timeout_ms_);
    for (const Setting& setting : settings) set(setting);
    check(QV_viGetAttribute(handle_, VI_ATTR_TMO_VALUE, &timeout_ms_), "asking for the time limit of");
    limit_ms_ = timeout_ms_;
    if (interruption_) interruption_->watch(handle_, timeout_ms_);
  } catch (...) {
    QV_viClose(handle_);
    throw;
  }
}

Instrument::~Instrument() {
  QV_viClose(handle_);
}

void Instrument::open(const ResourceName& name, const Options& options) {
  isRawUsb_ = name.isRaw;
  std::optional<Watchdog> watchdog;
  if (name.bus == Bus::Tcp && options.connectTimeout_ms != 0) {
    const milliseconds limit(options.connectTimeout_ms);
    watchdog.emplace(limit, noConnection(resource_, name, limit));
  }
  const ViStatus status = QV_viOpen(manager_->handle(), resource_.data(), VI_NO_LOCK, 0, &handle_);
  if (status != VI_SUCCESS) throw Failure(whyNotOpened(resource_, status));
}

void Instrument::check(ViStatus status, const std::string& action) const {
  if (interruption_) interruption_->check();
  ::check(status, action + " " + resource_);
}

void Instrument::limit(ViUInt32 limit_ms) {
  if (limit_ms == limit_ms_) return;
  check(QV_viSetAttribute(handle_, VI_ATTR_TMO_VALUE, limit_ms), "setting the time limit of");
  limit_ms_ = limit_ms;
}

void Instrument::write(std::string message) {
  message += termination_;
  for (size_t sent = 0; sent < message.size();) {
    const size_t left = std::min<size_t>(message.size() - sent, std::numeric_limits<ViUInt32>::max());
    ViUInt32 count = 0;
    check(QV_viWrite(handle_, bytesOf(message) + sent, static_cast<ViUInt32>(left), &count), "writing to");
    if (count == 0) {
      throw Failure("writing to " + resource_ + ": only " + std::to_string(sent) + " of " +
                    std::to_string(message.size()) + " bytes were taken");
    }
    sent += count;
  }
}

Response Instrument::query(const std::string& message, const Reading& reading) {
  if (interface_ != VI_INTF_USB && settle_ms_ != 0U) {
    // A line is listened to once. Later in a session only what lies there already can be old.
    drop(std::exchange(hasListened_, true) ? milliseconds(1) : quietTime());
  }
  write(message);
  Reading how = reading;
  how.hasParts = message.find(';') != std::string::npos;
  return read(how);
}

milliseconds Instrument::quietTime() const {
  if (settle_ms_) return milliseconds(*settle_ms_);
  if (interface_ != VI_INTF_ASRL) return kTcpQuiet;
  ViUInt32 baud = 0;
  if (QV_viGetAttribute(handle_, VI_ATTR_ASRL_BAUD, &baud) != VI_SUCCESS || baud == 0) return kSerialQuiet;
  // Two characters of ten bits.
  return std::max(kSerialQuiet, milliseconds(20'000 / baud));
}

/// Takes what comes until nothing has come for so long.
void Instrument::drop(milliseconds quiet) {
  const Clock::time_point end = Clock::now() + kLongestDrop;
  limit(static_cast<ViUInt32>(quiet.count()));
  std::string dropped;
  while (receive(dropped, sizeOfNextRead(0, {})).ended == Ended::AsWanted) {
    if (Clock::now() > end) throw Failure(resource_ + " doesn't stop sending: nothing could be asked");
  }
  limit(timeout_ms_);
  if (dropped.empty()) return;
  std::cerr << "qvvisa: dropped " << dropped.size() << (dropped.size() == 1 ? " byte" : " bytes") << " that "
            << resource_ << " had sent before\n";
}

void Instrument::clear() {
  if (interface_ != VI_INTF_USB) return drop(std::max(kQuietAfterClear, quietTime()));
  const Clock::time_point end = Clock::now() + milliseconds(timeout_ms_);
  ViStatus status = clearInstrument(handle_);
  // The device isn't done yet.
  while (status == QVVI_NEEDS_EQUIVALENT && Clock::now() < end) {
    std::this_thread::sleep_for(kClearPause);
    status = clearInstrument(handle_);
  }
  check(status, "clearing");
}

/// Reads once and appends what came.
Instrument::Part Instrument::receive(std::string& bytes, ViUInt32 cnt) {
  const Clock::time_point start = Clock::now();
  const size_t before = bytes.size();
  ViUInt32 count = 0;
  bytes.resize(before + cnt);
  const ViStatus status = QV_viRead(handle_, bytesOf(bytes) + before, cnt, &count);
  // A raw USB read that runs into its time limit delivers what came until then.
  bytes.resize(before + (status == VI_SUCCESS || status == VI_ERROR_TMO ? count : 0));
  if (interruption_) interruption_->check();

  const ViUInt32 limit_ms = limit_ms_.value_or(0);
  const bool limitIsOver = limit_ms != 0 && Clock::now() - start >= milliseconds(limit_ms);
  if (status == VI_ERROR_TMO || (status == kTcpFailure && limitIsOver)) return {Ended::ByTimeLimit, VI_ERROR_TMO};
  if (status != VI_SUCCESS) return {Ended::ByFailure, status};
  return {bytes.size() > before ? Ended::AsWanted : Ended::ByPeer, status};
}

ViUInt32 Instrument::sizeOfNextRead(size_t received, const Reading& reading) const {
  if (interface_ == VI_INTF_ASRL) return kSerialReadSize;
  if (interface_ == VI_INTF_USB) return isRawUsb_ ? kOtherReadSize : kUsbtmcReadSize;
  return static_cast<ViUInt32>(std::min<size_t>(kOtherReadSize, reading.count.value_or(SIZE_MAX) - received));
}

Response Instrument::read(const Reading& reading) {
  Response response;
  ResponseScanner scanner(termination_);
  Part last{};
  for (bool more = true; more;) {
    const size_t before = response.bytes.size();
    const bool mayBeAll = isStream(reading) && !reading.hasParts && scanner.atBlockEnd();
    limit(mayBeAll && (timeout_ms_ == 0 || timeout_ms_ > kTerminatorLimit_ms) ? kTerminatorLimit_ms : timeout_ms_);
    last = receive(response.bytes, sizeOfNextRead(before, reading));
    if (mayBeAll && last.ended == Ended::ByTimeLimit) last.ended = Ended::AsWanted;
    more = last.ended == Ended::AsWanted && response.bytes.size() > before;
    scanner.feed(std::string_view(response.bytes).substr(before));
    if (reading.progress) reading.progress(response.bytes.size());
    more = more && !isWhole(response.bytes, scanner, reading);
  }
  limit(timeout_ms_);
  if (response.bytes.empty() && last.ended == Ended::ByFailure) {
    throw Failure("reading from " + resource_ + ": " + describe(last.status) + adviceOnRead(resource_, last.status));
  }
  if (reading.count && response.bytes.size() > *reading.count) response.bytes.resize(*reading.count);
  response.presentable = reading.count ? response.bytes : scanner.presentable(response.bytes);
  response.isBinary = scanner.isBinary();
  response.flaw = flawOf(response.bytes, scanner, reading, last);
  return response;
}

/// Whether the bytes alone tell where the response ends.
bool Instrument::isStream(const Reading& reading) const {
  return !reading.count && !reading.untilTimeout && interface_ != VI_INTF_USB;
}

bool Instrument::isWhole(const std::string& bytes, const ResponseScanner& scanner, const Reading& reading) const {
  if (interface_ == VI_INTF_USB && !isRawUsb_) return true;
  if (reading.count) return bytes.size() >= *reading.count;
  if (reading.untilTimeout) return false;
  // A transfer on a raw interface is a response, unless it ends inside a block.
  return isStream(reading) ? scanner.ended() : !scanner.inBlock();
}

/// Why the response isn't whole; empty if it is.
std::string Instrument::flawOf(const std::string& bytes, const ResponseScanner& scanner, const Reading& reading,
                               const Part& last) const {
  const std::string came = std::to_string(bytes.size()) + (bytes.size() == 1 ? " byte" : " bytes");
  const bool isLate = last.ended == Ended::ByTimeLimit && !reading.untilTimeout;
  std::string flaw;
  std::string advice;
  if (bytes.empty()) {
    flaw = "no answer came";
    advice = adviceOnRead(resource_, last.status);
  } else if (reading.count) {
    if (bytes.size() == *reading.count) return {};
    flaw = std::to_string(bytes.size()) + " of " + std::to_string(*reading.count) + " bytes came";
  } else if (scanner.inBlock()) {
    flaw = "only part of a block came";
    if (scanner.missing() > 0) flaw += ", " + std::to_string(scanner.missing()) + " bytes less than it announced,";
  } else if (isLate || last.ended == Ended::ByFailure) {
    flaw = came + " came, but no end of the answer";
    advice = "\n  -T sets what ends an answer; --until-timeout lets the time limit end it";
  } else {
    return {};
  }
  return "reading from " + resource_ + ": " + flaw + howItEnded(last) + (isLate ? advice : "");
}

std::string Instrument::howItEnded(const Part& last) const {
  switch (last.ended) {
  case Ended::ByTimeLimit:
    return " within " + std::to_string(timeout_ms_) + " ms: " + describe(last.status);
  case Ended::ByPeer:
    return interface_ == VI_INTF_TCPIP ? " before the connection was closed" : "";
  case Ended::ByFailure:
    return " before " + describe(last.status);
  case Ended::AsWanted:
    break;
  }
  return {};
}

ViStatus Instrument::get(const Attribute& attribute, AttributeValue& value) const {
  return QV_viGetAttribute(handle_, attribute.code, value.bytes);
}

void Instrument::set(const Setting& setting) {
  const std::string name = setting.attribute->name;
  const ViStatus status = QV_viSetAttribute(handle_, setting.attribute->code, setting.value);
  if (status == VI_ERROR_NSUP_ATTR_STATE || status == VI_ERROR_NSUP_MODE) {
    throw Failure("setting " + name + " of " + resource_ + ": " + describe(status) + "\n  it takes " +
                  valuesOf(*setting.attribute));
  }
  check(status, "setting " + name + " of");
  // A time limit holds for what follows.
  if (setting.attribute->code != VI_ATTR_TMO_VALUE) return;
  timeout_ms_ = static_cast<ViUInt32>(setting.value);
  limit_ms_ = timeout_ms_;
}
