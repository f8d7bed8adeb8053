#include "usbDevice.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace qvsim {
namespace {

constexpr unsigned typeMask = 0x60, typeStandard = 0x00, typeClass = 0x20, typeVendor = 0x40;
constexpr unsigned recipientMask = 0x1F, recipientInterface = 1, recipientEndpoint = 2;

// bRequest of the standard requests (USB 2.0, table 9-4).
constexpr uint8_t getStatus = 0, clearFeature = 1, getDescriptor = 6;

constexpr uint8_t lowByte(uint16_t value) {
  return static_cast<uint8_t>(value & 0xFF);
}

std::map<uint8_t, UsbPipe> pipesOf(const UsbDescription& description) {
  std::map<uint8_t, UsbPipe> pipes = {{endpoint::bulkIn, {}},
                                      {endpoint::bulkOut, {}},
                                      {endpoint::rawIn, {.interface = 1}},
                                      {endpoint::rawOut, {.interface = 1}}};
  if (description.interruptIn) pipes[endpoint::interruptIn] = {};
  return pipes;
}

// Moves what there is into an IN transfer and gives the status that it ends with; none: it stays open. A device that
// fills the host's buffer to the byte sends no empty packet behind it, and one that sends a packet larger than the room
// for it overruns.
std::optional<int> fill(std::deque<UsbPipe::Outgoing>& outgoing, UsbTransfer& transfer) {
  while (!outgoing.empty()) {
    Bytes& bytes = outgoing.front().bytes;
    const size_t wanted = transfer.fate == UsbFate::split ? bytes.size() / 2 : bytes.size();
    const size_t part = std::min(transfer.length - transfer.data.size(), wanted);
    const auto end = bytes.begin() + static_cast<ptrdiff_t>(part);
    transfer.data.insert(transfer.data.end(), bytes.begin(), end);
    bytes.erase(bytes.begin(), end);
    if (transfer.fate == UsbFate::split) return 0;
    const bool full = transfer.data.size() == transfer.length;
    const size_t beyond = transfer.length % maximumPacket;
    if (full && !bytes.empty() && beyond == 0) return 0;
    const size_t lost = std::min(maximumPacket - beyond, bytes.size());
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(lost));
    const bool ended = outgoing.front().ended;
    if (bytes.empty()) outgoing.pop_front();
    if (lost != 0) return -EOVERFLOW;
    if (full || ended) return 0;
  }
  return std::nullopt;
}

}  // namespace

UsbDevice::UsbDevice(UsbDescription description, ScpiInstrument* instrument, std::function<void(bool)> ready)
    : description_(std::move(description)),
      ownInstrument_({.serial = description_.serial.empty() ? "0" : description_.serial}), ready_(std::move(ready)),
      pipes_(pipesOf(description_)), usbtmc_(instrument ? *instrument : ownInstrument_, pipes_[endpoint::bulkOut],
                                             pipes_[endpoint::bulkIn], interruptPipe()) {
  interfaces_[0].driver = description_.kernelDriver;
  interfaces_[0].attached = !description_.kernelDriver.empty();
}

UsbPipe* UsbDevice::interruptPipe() {
  return description_.interruptIn ? &pipes_[endpoint::interruptIn] : nullptr;
}

void UsbDevice::setHook(Hook hook) {
  const std::lock_guard lock(mutex_);
  hook_ = std::move(hook);
}

void UsbDevice::vanish() {
  const std::lock_guard lock(mutex_);
  vanishLocked();
}

void UsbDevice::vanishLocked() {
  gone_ = true;
  finishWhere([](const UsbTransfer&) { return true; }, -ESHUTDOWN);
}

// Claims -----------------------------------------------------------------------------------------------------------

std::string UsbDevice::driver(unsigned number) const {
  const std::lock_guard lock(mutex_);
  if (number >= std::size(interfaces_)) return {};
  const Interface& interface = interfaces_[number];
  return interface.owner ? "usbfs" : interface.attached ? interface.driver : "";
}

int UsbDevice::claim(uintptr_t client, unsigned number, bool detach) {
  const std::lock_guard lock(mutex_);
  return claimLocked(client, number, detach);
}

int UsbDevice::claimLocked(uintptr_t client, unsigned number, bool detach) {
  if (gone_) return -ENODEV;
  if (number >= std::size(interfaces_)) return -ENOENT;
  Interface& interface = interfaces_[number];
  if (interface.owner == client) return 0;
  if (interface.owner || (interface.attached && !detach)) return -EBUSY;
  interface.attached = false;
  interface.owner = client;
  return 0;
}

// As the host's kernel does it, a transfer to an interface that nobody has claimed claims it, and only the owner of an
// interface sends to it or to its endpoints, vendor requests aside.
int UsbDevice::claimTarget(const UsbTransfer& transfer) {
  uint8_t address = transfer.endpoint;
  if (address == 0) {
    const unsigned recipient = transfer.setup.requestType & recipientMask;
    const bool owned = (transfer.setup.requestType & typeMask) != typeVendor;
    address = lowByte(transfer.setup.index);
    if (owned && recipient == recipientInterface) return claimLocked(transfer.client, address, false);
    if (!owned || recipient != recipientEndpoint) return 0;
  }
  const auto pipe = pipes_.find(address);
  return pipe == pipes_.end() ? -ENOENT : claimLocked(transfer.client, pipe->second.interface, false);
}

int UsbDevice::release(uintptr_t client, unsigned number) {
  const std::lock_guard lock(mutex_);
  if (gone_) return -ENODEV;
  if (number >= std::size(interfaces_) || interfaces_[number].owner != client) return -EINVAL;
  interfaces_[number].owner = 0;
  finishWhere(
      [this, number](const UsbTransfer& transfer) {
        return transfer.endpoint && pipes_[transfer.endpoint].interface == number;
      },
      -ENOENT);
  return 0;
}

int UsbDevice::attachDriver(unsigned number) {
  const std::lock_guard lock(mutex_);
  if (gone_) return -ENODEV;
  if (number >= std::size(interfaces_)) return -EINVAL;
  Interface& interface = interfaces_[number];
  if (interface.owner || interface.attached || interface.driver.empty()) return -EBUSY;
  interface.attached = true;
  return 0;
}

void UsbDevice::close(uintptr_t client) {
  const std::lock_guard lock(mutex_);
  const auto owned = [client](const UsbTransfer& transfer) { return transfer.client == client; };
  waiting_.remove_if(owned);
  finished_.remove_if(owned);
  if (finished_.empty()) ready_(false);
  for (Interface& interface : interfaces_) {
    if (interface.owner == client) interface.owner = 0;
  }
}

// Transfers --------------------------------------------------------------------------------------------------------

int UsbDevice::submit(UsbTransfer transfer) {
  const std::lock_guard lock(mutex_);
  if (gone_) return -ENODEV;
  if (const int fault = claimTarget(transfer)) return fault;
  if (hook_) transfer.fate = hook_(transfer);
  const UsbFate fate = transfer.fate;
  if (fate == UsbFate::stalled && transfer.endpoint) pipes_[transfer.endpoint].halted = true;
  waiting_.push_back(std::move(transfer));
  if (fate == UsbFate::gone) {
    vanishLocked();
  } else {
    serve();
  }
  return 0;
}

int UsbDevice::cancel(uintptr_t client, unsigned long id) {
  const std::lock_guard lock(mutex_);
  const auto wanted = [client, id](const UsbTransfer& transfer) {
    return transfer.client == client && transfer.id == id;
  };
  return finishWhere(wanted, -ENOENT) ? 0 : -EINVAL;
}

UsbDevice::Reaped UsbDevice::reap(uintptr_t client) {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(finished_.begin(), finished_.end(),
                                  [client](const UsbTransfer& transfer) { return transfer.client == client; });
  if (found == finished_.end()) return {.transfer = std::nullopt, .fault = gone_ ? -ENODEV : -EAGAIN};
  Reaped reaped{.transfer = std::move(*found), .fault = 0};
  finished_.erase(found);
  if (finished_.empty()) ready_(false);
  return reaped;
}

void UsbDevice::finish(Transfers::iterator transfer, int status) {
  transfer->status = status;
  if (status != 0 && !transfer->toHost()) transfer->data.clear();
  finished_.splice(finished_.end(), waiting_, transfer);
  ready_(true);
}

template <typename Test>
bool UsbDevice::finishWhere(Test test, int status) {
  const size_t before = waiting_.size();
  for (auto at = waiting_.begin(); at != waiting_.end();) {
    const auto transfer = at++;
    if (test(*transfer)) finish(transfer, status);
  }
  return waiting_.size() != before;
}

// Goes on until nothing moves: what one transfer brings, another may be waiting for.
void UsbDevice::serve() {
  for (auto at = waiting_.begin(); at != waiting_.end();) {
    if (const std::optional<int> status = progress(*at)) {
      finish(at, *status);
      at = waiting_.begin();
    } else {
      ++at;
    }
  }
}

// The status that a transfer ends with, none while it stays open.
std::optional<int> UsbDevice::progress(UsbTransfer& transfer) {
  if (transfer.fate == UsbFate::silent) return std::nullopt;
  if (transfer.endpoint == 0) return transfer.fate == UsbFate::stalled ? -EPIPE : answer(transfer);
  UsbPipe& pipe = pipes_[transfer.endpoint];
  if (pipe.halted) return -EPIPE;
  if (transfer.toHost()) return fill(pipe.outgoing, transfer);
  deliver(transfer);
  return 0;
}

void UsbDevice::deliver(const UsbTransfer& transfer) {
  if (transfer.endpoint == endpoint::bulkOut) return usbtmc_.received(transfer.data);
  const bool ended = transfer.endsWithEmptyPacket || transfer.length == 0 || transfer.length % maximumPacket != 0;
  pipes_[endpoint::rawIn].outgoing.push_back({transfer.data, ended});
}

int UsbDevice::answer(UsbTransfer& transfer) {
  std::optional<Bytes> bytes;
  switch (transfer.setup.requestType & typeMask) {
  case typeStandard:
    bytes = standardAnswer(transfer.setup);
    break;
  case typeClass:
    bytes = usbtmc_.control(transfer.setup);
    break;
  case typeVendor:
    bytes = vendorAnswer(transfer);
    break;
  default:
    break;
  }
  if (!bytes) return -EPIPE;
  if (transfer.toHost()) {
    bytes->resize(std::min(bytes->size(), transfer.length));
    transfer.data = std::move(*bytes);
  }
  return 0;
}

std::optional<Bytes> UsbDevice::standardAnswer(const UsbSetup& setup) {
  constexpr uint8_t device = 1, configuration = 2, string = 3;
  const auto pipe = pipes_.find(lowByte(setup.index));
  const bool ofPipe = (setup.requestType & recipientMask) == recipientEndpoint && pipe != pipes_.end();
  if (setup.request == getStatus) return Bytes{ofPipe && pipe->second.halted, 0};
  if (setup.request == clearFeature && ofPipe) {
    pipe->second.halted = false;
    return Bytes{};
  }
  if (setup.request != getDescriptor) return std::nullopt;
  switch (setup.value >> 8) {
  case device:
    return deviceDescriptor(description_);
  case configuration:
    return configurationDescriptor(description_);
  case string:
    return stringDescriptor(description_, lowByte(setup.value));
  default:
    return std::nullopt;
  }
}

// Vendor requests reach a small memory: an IN request gives what the last OUT request brought.
std::optional<Bytes> UsbDevice::vendorAnswer(const UsbTransfer& transfer) {
  if (!transfer.toHost()) return vendorMemory_ = transfer.data;
  return vendorMemory_.empty() ? std::nullopt : std::optional(vendorMemory_);
}

}  // namespace qvsim
