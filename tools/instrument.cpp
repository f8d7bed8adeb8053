#include "instrument.h"

#include "errors.h"
#include "text.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>

namespace {

/// The largest USBTMC response that the library takes; a device that is asked for less may fail the read.
constexpr ViUInt32 kUsbtmcReadSize = 3060;
/// A serial read that runs into its time limit doesn't tell how much it read, so bytes are taken one by one.
constexpr ViUInt32 kSerialReadSize = 1;
/// Whole USB packets, whatever their size.
constexpr ViUInt32 kOtherReadSize = 65536;
/// What a TCP/IP session answers for any failed transfer, the time limit included.
constexpr ViStatus kTcpFailure = -1;

ViBuf bytesOf(std::string& text) {
  return reinterpret_cast<ViBuf>(text.data());
}

}  // namespace

Instrument::Instrument(std::string resource, Options options)
    : resource_(std::move(resource)), options_(std::move(options)) {
  check(QV_viOpen(manager_.handle(), resource_.data(), VI_NO_LOCK, 0, &handle_), "opening");
  try {
    check(QV_viGetAttribute(handle_, VI_ATTR_INTF_TYPE, &interface_), "asking for the interface of");
    // A TCP/IP session has no time limit of its own, and a serial one has another than it says, until it is set.
    check(QV_viSetAttribute(handle_, VI_ATTR_TMO_VALUE, options_.timeout_ms), "setting the time limit of");
    for (const std::string& setting : options_.settings) set(setting);
    check(QV_viGetAttribute(handle_, VI_ATTR_TMO_VALUE, &options_.timeout_ms), "asking for the time limit of");
  } catch (...) {
    QV_viClose(handle_);
    throw;
  }
}

Instrument::~Instrument() {
  QV_viClose(handle_);
}

void Instrument::check(ViStatus status, const std::string& action) const {
  ::check(status, action + " " + resource_);
}

void Instrument::write(std::string message) const {
  message += options_.termination;
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

/// Reads once and appends what came: VI_SUCCESS, with no bytes once the connection is closed, or VI_ERROR_TMO.
ViStatus Instrument::receive(std::string& bytes, ViUInt32 cnt) const {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  const size_t before = bytes.size();
  ViUInt32 count = 0;
  bytes.resize(before + cnt);
  const ViStatus status = QV_viRead(handle_, bytesOf(bytes) + before, cnt, &count);
  // A raw USB read that runs into its time limit delivers what came until then.
  bytes.resize(before + (status == VI_SUCCESS || status == VI_ERROR_TMO ? count : 0));

  const bool limitIsOver =
      options_.timeout_ms != 0 && Clock::now() - start >= std::chrono::milliseconds(options_.timeout_ms);
  if (status == VI_ERROR_TMO || (status == kTcpFailure && limitIsOver)) return VI_ERROR_TMO;
  check(status, "reading from");
  return VI_SUCCESS;
}

ViUInt32 Instrument::sizeOfNextRead(size_t received, std::optional<size_t> byteCount) const {
  if (interface_ == VI_INTF_ASRL) return kSerialReadSize;
  if (interface_ == VI_INTF_USB) return resource_.ends_with("RAW") ? kOtherReadSize : kUsbtmcReadSize;
  return static_cast<ViUInt32>(std::min<size_t>(kOtherReadSize, byteCount.value_or(SIZE_MAX) - received));
}

bool Instrument::isWhole(const std::string& bytes, std::optional<size_t> byteCount) const {
  return byteCount ? bytes.size() >= *byteCount : isComplete(bytes, options_.termination);
}

std::string Instrument::flawOf(const std::string& bytes, std::optional<size_t> byteCount, ViStatus last) const {
  std::string came;
  if (byteCount) {
    if (bytes.size() == *byteCount) return {};
    came = std::to_string(bytes.size()) + " of " + std::to_string(*byteCount) + " bytes came";
  } else if (bytes.empty()) {
    came = "no answer came";
  } else if (isCutBlock(bytes)) {
    came = "only part of a block came";
  } else {
    return {};
  }
  if (last == VI_ERROR_TMO)
    came += " within " + std::to_string(options_.timeout_ms) + " ms: " + describe(last);
  else if (interface_ == VI_INTF_TCPIP)
    came += " before the connection was closed";
  return "reading from " + resource_ + ": " + came;
}

Response Instrument::read(std::optional<size_t> byteCount) const {
  Response response;
  ViStatus status = VI_SUCCESS;
  bool more = true;
  while (more && !isWhole(response.bytes, byteCount)) {
    const size_t before = response.bytes.size();
    status = receive(response.bytes, sizeOfNextRead(before, byteCount));
    // On USB one read is one message, whole or not.
    more = response.bytes.size() > before && interface_ != VI_INTF_USB;
  }
  if (byteCount && response.bytes.size() > *byteCount) response.bytes.resize(*byteCount);
  response.flaw = flawOf(response.bytes, byteCount, status);
  return response;
}

std::optional<std::string> Instrument::attribute(const Attribute& attribute) const {
  alignas(ViUInt32) ViChar value[MAX_BUF_SIZE_ATTR] = "";
  const ViStatus status = QV_viGetAttribute(handle_, attribute.code, value);
  if (status == VI_SUCCESS) return formatValue(attribute, value);
  return std::nullopt;
}

void Instrument::set(std::string_view setting) const {
  const size_t sign = setting.find('=');
  const std::string name(setting.substr(0, sign));
  const Attribute* known = findAttribute(name);
  if (!known) throw UsageError("no attribute is called '" + name + "'");
  if (sign == std::string_view::npos) throw UsageError("no value for " + name);
  const auto value = parseAttributeValue(*known, setting.substr(sign + 1));
  if (!value) throw UsageError("not a value of " + name + ": '" + std::string(setting.substr(sign + 1)) + "'");
  check(QV_viSetAttribute(handle_, known->code, *value), "setting " + std::string(known->name) + " of");
}
