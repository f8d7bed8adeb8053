#include "usbtmcFunction.h"

#include <algorithm>

namespace qvsim {
namespace {

constexpr size_t headerSize = 12;

namespace message {
constexpr uint8_t toDevice = 1, request = 2, fromDevice = 2, trigger = 128;
}

namespace status {
constexpr uint8_t success = 0x01, pending = 0x02, interruptBusy = 0x20, failed = 0x80, notInProgress = 0x81;
}

// bRequest of the class requests of USBTMC 1.0, and from 128 on of USB488 1.0.
enum class Request : uint8_t {
  initiateAbortBulkOut = 1,
  checkAbortBulkOut = 2,
  initiateAbortBulkIn = 3,
  checkAbortBulkIn = 4,
  initiateClear = 5,
  checkClear = 6,
  getCapabilities = 7,
  indicatorPulse = 64,
  readStatusByte = 128,
  remoteEnable = 160,
  goToLocal = 161,
  localLockout = 162,
};

constexpr uint8_t toInterface = 0xA1, toEndpoint = 0xA2;

constexpr uint8_t byteOf(size_t value, unsigned index) {
  return static_cast<uint8_t>(value >> 8 * index & 0xFF);
}

uint32_t transferSize(const Bytes& header) {
  uint32_t size = 0;
  for (size_t i = 4; i-- > 0;) size = size << 8 | header[4 + i];
  return size;
}

constexpr uint8_t complement(uint8_t value) {
  return static_cast<uint8_t>(~value);
}

}  // namespace

UsbtmcFunction::UsbtmcFunction(UsbPipes& pipes, ScpiInstrument& instrument, const Layout& layout)
    : pipes_(pipes), layout_(layout), session_(instrument, ScpiSession::Link::message) {}

std::optional<Bytes> UsbtmcFunction::control(const UsbSetup& setup) {
  const auto request = static_cast<Request>(setup.request);
  const uint8_t tag = byteOf(setup.value, 0);
  if (setup.requestType == toEndpoint) {
    const bool bulkIn = setup.index == layout_.bulkIn;
    const bool bulkOut = setup.index == layout_.bulkOut;
    if (bulkOut && request == Request::initiateAbortBulkOut) return initiateAbortBulkOut(tag);
    if (bulkOut && request == Request::checkAbortBulkOut) return checkAbortBulkOut();
    if (bulkIn && request == Request::initiateAbortBulkIn) return initiateAbortBulkIn(tag);
    if (bulkIn && request == Request::checkAbortBulkIn) return checkAbortBulkIn();
    return std::nullopt;
  }
  if (setup.requestType != toInterface) return std::nullopt;
  switch (request) {
  case Request::initiateClear:
    return initiateClear();
  case Request::checkClear:
    return checkClear();
  case Request::getCapabilities:
    return capabilities();
  case Request::indicatorPulse:
    return Bytes{status::success};
  case Request::readStatusByte:
    return readStatusByte(tag);
  case Request::remoteEnable:
    return remoteEnable(tag != 0);
  case Request::goToLocal:
    return goToLocal();
  case Request::localLockout:
    return localLockout();
  default:
    return std::nullopt;
  }
}

void UsbtmcFunction::received(const Bytes& bytes, bool ended) {
  size_t position = 0;
  if (!out_.missing) {
    if (bytes.size() < headerSize || !begin(bytes)) {
      if (ended) pipes_.halt(layout_.bulkOut);
      return;
    }
    position = headerSize;
  }
  const size_t part = std::min(out_.missing, bytes.size() - position);
  out_.missing -= part;
  out_.moved += part;
  if (part) takeMessage({reinterpret_cast<const char*>(bytes.data()) + position, part});
  if (out_.missing && ended) {
    out_.missing = 0;
    pipes_.halt(layout_.bulkOut);
  }
}

// Reads a header; false if it breaks the protocol.
bool UsbtmcFunction::begin(const Bytes& header) {
  const uint8_t tag = header[1];
  if (tag == 0 || header[2] != complement(tag)) return false;
  switch (header[0]) {
  case message::toDevice:
    out_ = {.tag = tag, .missing = transferSize(header), .moved = 0, .endOfMessage = (header[8] & 1) != 0};
    remote_.remote = remote_.remote || remote_.enabled;
    if (!out_.missing) takeMessage({});
    return true;
  case message::request:
    respond(header);
    return true;
  case message::trigger:
    return true;
  default:
    return false;
  }
}

void UsbtmcFunction::takeMessage(std::string_view part) {
  session_.feed(part, out_.endOfMessage && out_.missing == 0);
  const bool wanted = (session_.statusByte() & stb::masterSummary) != 0;
  if (wanted && !serviceRequested_) requestService();
  serviceRequested_ = wanted;
}

void UsbtmcFunction::respond(const Bytes& request) {
  in_ = {.tag = request[1], .requested = true, .answered = false, .moved = 0};
  if (!session_.available()) return session_.instrument().reportError(-420);
  constexpr uint8_t endOfMessage = 1, terminated = 2;
  const bool terminates = request[8] & terminated;
  std::string_view waiting = session_.waiting().substr(0, transferSize(request));
  if (const size_t at = waiting.find(static_cast<char>(request[9])); terminates && at != std::string_view::npos) {
    waiting = waiting.substr(0, at + 1);
  }
  Bytes transfer(headerSize);
  transfer.insert(transfer.end(), waiting.begin(), waiting.end());
  in_.moved = waiting.size();
  session_.drop(waiting.size());
  transfer[0] = message::fromDevice;
  transfer[1] = in_.tag;
  transfer[2] = complement(in_.tag);
  for (unsigned i = 0; i < 4; ++i) transfer[4 + i] = byteOf(in_.moved, i);
  if (!session_.available()) transfer[8] |= endOfMessage;
  if (terminates && transfer.back() == request[9]) transfer[8] |= terminated;
  transfer.resize((transfer.size() + 3) / 4 * 4);
  std::vector<Bytes> transfers = {std::move(transfer)};
  if (filter_) transfers = filter_(std::move(transfers.front()));
  in_.answered = !transfers.empty();
  for (Bytes& ready : transfers) pipes_.queue(layout_.bulkIn, std::move(ready), true);
}

void UsbtmcFunction::requestService() {
  constexpr uint8_t notifyServiceRequest = 0x81;
  if (!layout_.interruptIn) return;
  const auto byte = static_cast<uint8_t>(session_.statusByte() | stb::masterSummary);
  pipes_.queue(layout_.interruptIn, {notifyServiceRequest, byte}, true);
}

bool UsbtmcFunction::inTransferInProgress() const {
  return in_.requested && (!in_.answered || pipes_.queued(layout_.bulkIn));
}

Bytes UsbtmcFunction::initiateAbortBulkOut(uint8_t tag) {
  if (!out_.missing) return {status::failed, tag};
  if (tag != out_.tag) return {status::notInProgress, out_.tag};
  out_.missing = 0;
  pipes_.halt(layout_.bulkOut);
  return {status::success, tag};
}

Bytes UsbtmcFunction::checkAbortBulkOut() const {
  return {status::success,      0, 0, 0, byteOf(out_.moved, 0), byteOf(out_.moved, 1), byteOf(out_.moved, 2),
          byteOf(out_.moved, 3)};
}

// The transfer that is given up still has to end for the host: with an empty packet.
Bytes UsbtmcFunction::initiateAbortBulkIn(uint8_t tag) {
  if (!inTransferInProgress()) return {status::failed, tag};
  if (tag != in_.tag) return {status::notInProgress, in_.tag};
  in_.requested = false;
  pipes_.discard(layout_.bulkIn);
  pipes_.queue(layout_.bulkIn, {}, true);
  return {status::success, tag};
}

Bytes UsbtmcFunction::checkAbortBulkIn() const {
  const bool waiting = pipes_.queued(layout_.bulkIn);
  return {waiting ? status::pending : status::success,
          static_cast<uint8_t>(waiting),
          0,
          0,
          byteOf(in_.moved, 0),
          byteOf(in_.moved, 1),
          byteOf(in_.moved, 2),
          byteOf(in_.moved, 3)};
}

Bytes UsbtmcFunction::initiateClear() {
  session_.clear();
  out_ = {};
  in_ = {};
  pipes_.discard(layout_.bulkIn);
  return {status::success};
}

Bytes UsbtmcFunction::checkClear() const {
  const bool waiting = pipes_.queued(layout_.bulkIn);
  return {waiting ? status::pending : status::success, static_cast<uint8_t>(waiting)};
}

Bytes UsbtmcFunction::capabilities() const {
  constexpr uint8_t indicatorPulse = 4, termChar = 1;
  constexpr uint8_t is488_2 = 4, remoteLocal = 2, trigger = 1;
  constexpr uint8_t scpi = 8, serviceRequest = 4, remoteLocalFull = 2, deviceTrigger = 1;
  Bytes answer(24);
  answer[0] = status::success;
  answer[3] = 1;  // bcdUSBTMC 1.00
  answer[4] = indicatorPulse;
  answer[5] = termChar;
  answer[13] = 1;  // bcdUSB488 1.00
  answer[14] = is488_2 | remoteLocal | trigger;
  answer[15] =
      static_cast<uint8_t>(scpi | (layout_.interruptIn ? serviceRequest : 0) | remoteLocalFull | deviceTrigger);
  return answer;
}

// With an Interrupt-IN endpoint the byte comes as a notification, one at a time, else in the answer.
Bytes UsbtmcFunction::readStatusByte(uint8_t tag) {
  if (tag < 2 || tag > 127) return {status::failed, tag, 0};
  if (!layout_.interruptIn) return {status::success, tag, session_.statusByte()};
  if (pipes_.queued(layout_.interruptIn)) return {status::interruptBusy, tag, 0};
  pipes_.queue(layout_.interruptIn, {static_cast<uint8_t>(0x80 | tag), session_.statusByte()}, true);
  return {status::success, tag, 0};
}

Bytes UsbtmcFunction::remoteEnable(bool on) {
  remote_ = on ? RemoteState{.enabled = true, .remote = remote_.remote, .lockout = remote_.lockout} : RemoteState{};
  return {status::success};
}

Bytes UsbtmcFunction::goToLocal() {
  remote_.remote = false;
  return {status::success};
}

Bytes UsbtmcFunction::localLockout() {
  remote_.lockout = remote_.enabled;
  return {status::success};
}

}  // namespace qvsim
