#include "usbtmcFunction.h"

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
namespace request {
constexpr uint8_t initiateAbortBulkIn = 3, checkAbortBulkIn = 4, initiateClear = 5, checkClear = 6, getCapabilities = 7,
                  indicatorPulse = 64, readStatusByte = 128, remoteEnable = 160, goToLocal = 161, localLockout = 162;
}

constexpr uint8_t toInterface = 0xA1, toEndpoint = 0xA2;
constexpr uint8_t endOfMessage = 1;

constexpr uint8_t byteOf(size_t value, unsigned index) {
  return static_cast<uint8_t>(value >> 8 * index & 0xFF);
}

size_t transferSize(const Bytes& header) {
  size_t size = 0;
  for (size_t i = 4; i-- > 0;) size = size << 8 | header[4 + i];
  return size;
}

constexpr uint8_t complement(uint8_t value) {
  return static_cast<uint8_t>(~value);
}

}  // namespace

UsbtmcFunction::UsbtmcFunction(ScpiInstrument& instrument, UsbPipe& bulkOut, UsbPipe& bulkIn, UsbPipe* interruptIn)
    : session_(instrument, ScpiSession::Link::message), bulkOut_(bulkOut), bulkIn_(bulkIn), interruptIn_(interruptIn) {}

void UsbtmcFunction::received(const Bytes& transfer) {
  const bool headed = transfer.size() >= headerSize && transfer[1] != 0 && transfer[2] == complement(transfer[1]);
  const size_t size = headed ? transferSize(transfer) : 0;
  if (headed && transfer[0] == message::toDevice && size <= transfer.size() - headerSize) {
    takeMessage({reinterpret_cast<const char*>(transfer.data()) + headerSize, size}, transfer[8] & endOfMessage);
  } else if (headed && transfer[0] == message::request) {
    respond(transfer[1], size);
  } else if (!headed || transfer[0] != message::trigger) {
    bulkOut_.halted = true;
  }
}

void UsbtmcFunction::takeMessage(std::string_view message, bool ends) {
  constexpr uint8_t serviceRequest = 0x81;
  session_.feed(message, ends);
  const uint8_t statusByte = session_.statusByte();
  const bool wanted = (statusByte & stb::masterSummary) != 0;
  if (wanted && !serviceRequested_) notify(serviceRequest, statusByte);
  serviceRequested_ = wanted;
}

void UsbtmcFunction::respond(uint8_t tag, size_t most) {
  responseTag_ = tag;
  responseSize_ = 0;
  responseOwed_ = session_.available() == 0;
  if (responseOwed_) return session_.instrument().reportError(-420);
  const std::string response = session_.take(most);
  responseSize_ = response.size();
  Bytes transfer = {message::fromDevice, tag, complement(tag), 0};
  for (unsigned i = 0; i < 4; ++i) transfer.push_back(byteOf(response.size(), i));
  transfer.push_back(session_.available() == 0 ? endOfMessage : uint8_t{0});
  transfer.resize(headerSize);
  transfer.insert(transfer.end(), response.begin(), response.end());
  transfer.resize((transfer.size() + 3) / 4 * 4);
  bulkIn_.outgoing.push_back({std::move(transfer)});
}

void UsbtmcFunction::notify(uint8_t kind, uint8_t statusByte) {
  if (interruptIn_) interruptIn_->outgoing.push_back({{kind, statusByte}});
}

std::optional<Bytes> UsbtmcFunction::control(const UsbSetup& setup) {
  if (setup.requestType == toEndpoint && setup.index == endpoint::bulkIn) return endpointRequest(setup);
  if (setup.requestType != toInterface || setup.index != 0) return std::nullopt;
  switch (setup.request) {
  case request::initiateClear:
    return initiateClear();
  case request::checkClear: {
    const bool waiting = !bulkIn_.outgoing.empty();
    return Bytes{waiting ? status::pending : status::success, waiting};
  }
  case request::getCapabilities:
    return capabilities();
  case request::readStatusByte:
    return readStatusByte(byteOf(setup.value, 0));
  case request::indicatorPulse:
  case request::remoteEnable:
  case request::goToLocal:
  case request::localLockout:
    return Bytes{status::success};
  default:
    return std::nullopt;
  }
}

std::optional<Bytes> UsbtmcFunction::endpointRequest(const UsbSetup& setup) {
  const bool waiting = !bulkIn_.outgoing.empty();
  switch (setup.request) {
  case request::initiateAbortBulkIn:
    return initiateAbortBulkIn(byteOf(setup.value, 0));
  case request::checkAbortBulkIn: {
    Bytes answer = {waiting ? status::pending : status::success, waiting, 0, 0};
    for (unsigned i = 0; i < 4; ++i) answer.push_back(byteOf(responseSize_, i));
    return answer;
  }
  default:
    return std::nullopt;
  }
}

// The transfer that is given up still has to end for the host: with an empty packet.
Bytes UsbtmcFunction::initiateAbortBulkIn(uint8_t tag) {
  if (!responseOwed_ && bulkIn_.outgoing.empty()) return {status::failed, tag};
  if (tag != responseTag_) return {status::notInProgress, responseTag_};
  responseOwed_ = false;
  bulkIn_.outgoing = {{}};
  return {status::success, tag};
}

Bytes UsbtmcFunction::initiateClear() {
  session_.clear();
  responseOwed_ = false;
  bulkIn_.outgoing.clear();
  return {status::success};
}

Bytes UsbtmcFunction::capabilities() const {
  constexpr uint8_t indicatorPulse = 4, is488_2 = 4, remoteLocal = 2, trigger = 1;
  constexpr uint8_t scpi = 8, serviceRequest = 4, remoteLocalFull = 2, deviceTrigger = 1;
  Bytes answer(24);
  answer[0] = status::success;
  answer[3] = 1;  // bcdUSBTMC 1.00
  answer[4] = indicatorPulse;
  answer[13] = 1;  // bcdUSB488 1.00
  answer[14] = is488_2 | remoteLocal | trigger;
  answer[15] = static_cast<uint8_t>(scpi | (interruptIn_ ? serviceRequest : 0) | remoteLocalFull | deviceTrigger);
  return answer;
}

// With an Interrupt-IN endpoint the byte comes as a notification, one at a time, else in the answer.
Bytes UsbtmcFunction::readStatusByte(uint8_t tag) {
  if (tag < 2 || tag > 127) return {status::failed, tag, 0};
  if (!interruptIn_) return {status::success, tag, session_.statusByte()};
  if (!interruptIn_->outgoing.empty()) return {status::interruptBusy, tag, 0};
  notify(static_cast<uint8_t>(0x80 | tag), session_.statusByte());
  return {status::success, tag, 0};
}

}  // namespace qvsim
