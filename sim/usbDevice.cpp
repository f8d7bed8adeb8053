#include "usbDevice.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace qvsim {
namespace {

constexpr unsigned typeMask = 0x60, typeStandard = 0x00, typeClass = 0x20, typeVendor = 0x40;
constexpr unsigned recipientMask = 0x1F, recipientDevice = 0, recipientInterface = 1, recipientEndpoint = 2;

// bRequest of the standard requests (USB 2.0, table 9-4).
constexpr uint8_t getStatus = 0, clearFeature = 1, setFeature = 3, getDescriptor = 6, getConfiguration = 8,
                  getInterface = 10;

constexpr uint8_t lowByte(uint16_t value) {
  return static_cast<uint8_t>(value & 0xFF);
}

Identity identityOf(const UsbDescription& description) {
  const Identity standard;
  return {.maker = description.manufacturer.value_or(standard.maker),
          .model = description.productName.value_or(standard.model),
          .serial = description.serial.value_or("0"),
          .version = standard.version};
}

bool fits(const ControlMatch& match, const UsbSetup& setup) {
  return match.requestType == setup.requestType && match.request == setup.request &&
         match.value.value_or(setup.value) == setup.value;
}

// Moves the transfers that pass the test to a list of their own.
template <typename Test>
std::list<UsbTransfer> extract(std::list<UsbTransfer>& from, Test test) {
  std::list<UsbTransfer> taken;
  for (auto at = from.begin(); at != from.end();) {
    const auto next = std::next(at);
    if (test(*at)) taken.splice(taken.end(), from, at);
    at = next;
  }
  return taken;
}

}  // namespace

UsbDevice::UsbDevice(UsbDescription description, ScpiInstrument* instrument)
    : description_(std::move(description)),
      ownInstrument_(instrument ? nullptr : std::make_unique<ScpiInstrument>(identityOf(description_))),
      instrument_(instrument ? instrument : ownInstrument_.get()) {
  for (UsbInterface& setting : numberedInterfaces(description_)) {
    for (const UsbEndpoint& endpoint : setting.endpoints) {
      endpoints_.push_back({.descriptor = endpoint, .interface = *setting.number, .outgoing = {}, .waiting = {}});
    }
    if (setting.alternate != 0) continue;
    interfaces_.push_back({.number = *setting.number,
                           .role = setting.role,
                           .function = makeUsbFunction(setting, *this, *instrument_),
                           .driver = setting.kernelDriver});
  }
}

UsbDevice::~UsbDevice() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  if (clock_.joinable()) clock_.join();
}

// Faults ---------------------------------------------------------------------------------------------------------

void UsbDevice::answerControl(const ControlMatch& match, ControlAnswer answer, unsigned times) {
  const std::lock_guard lock(mutex_);
  overrides_.push_front({match, std::move(answer), times});
}

void UsbDevice::setResponseFilter(const ResponseFilter& filter) {
  const std::lock_guard lock(mutex_);
  if (UsbFunction* function = tmc()) function->setResponseFilter(filter);
}

void UsbDevice::haltEndpoint(uint8_t endpoint) {
  const std::lock_guard lock(mutex_);
  halt(endpoint);
}

void UsbDevice::hold(uint8_t endpoint, size_t accepted) {
  const std::lock_guard lock(mutex_);
  if (Endpoint* found = find(endpoint)) {
    found->held = true;
    found->accepted = accepted;
  }
}

void UsbDevice::letGo(uint8_t endpoint) {
  const std::lock_guard lock(mutex_);
  if (Endpoint* found = find(endpoint)) {
    found->held = false;
    pump(*found);
  }
}

void UsbDevice::delay(uint8_t endpoint, Milliseconds time) {
  const std::lock_guard lock(mutex_);
  if (Endpoint* found = find(endpoint)) found->delay = time;
  if (!clock_.joinable()) clock_ = std::thread([this] { runClock(); });
}

void UsbDevice::send(uint8_t endpoint, Bytes bytes, bool ended) {
  const std::lock_guard lock(mutex_);
  queue(endpoint, std::move(bytes), ended);
}

void UsbDevice::vanish() {
  const std::lock_guard lock(mutex_);
  gone_ = true;
  for (Endpoint& endpoint : endpoints_) finishAll(std::exchange(endpoint.waiting, {}), -ESHUTDOWN);
  finishAll(std::exchange(silentControls_, {}), -ESHUTDOWN);
}

// Observation ----------------------------------------------------------------------------------------------------

RemoteState UsbDevice::remoteState() const {
  const std::lock_guard lock(mutex_);
  const UsbFunction* function = tmc();
  return function ? function->remoteState() : RemoteState{};
}

std::vector<UsbEvent> UsbDevice::log() const {
  const std::lock_guard lock(mutex_);
  return log_;
}

std::vector<UsbEvent> UsbDevice::takeLog() {
  const std::lock_guard lock(mutex_);
  return std::exchange(log_, {});
}

void UsbDevice::setLogging(bool on) {
  const std::lock_guard lock(mutex_);
  logging_ = on;
}

bool UsbDevice::waitForTransfers(uint8_t endpoint, size_t count, Milliseconds limit) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, limit, [this, endpoint, count] {
    const Endpoint* found = find(endpoint);
    return (found ? found->waiting : silentControls_).size() >= count;
  });
}

void UsbDevice::note(UsbEvent event) {
  if (logging_) log_.push_back(std::move(event));
}

// The host's side ------------------------------------------------------------------------------------------------

void UsbDevice::onReady(std::function<void(bool)> ready) {
  const std::lock_guard lock(mutex_);
  ready_ = std::move(ready);
}

void UsbDevice::open(uintptr_t) {
  const std::lock_guard lock(mutex_);
  note({.kind = UsbEvent::Kind::open});
}

void UsbDevice::close(uintptr_t client) {
  const std::lock_guard lock(mutex_);
  note({.kind = UsbEvent::Kind::close});
  const auto owned = [client](const UsbTransfer& transfer) { return transfer.client == client; };
  for (Endpoint& endpoint : endpoints_) endpoint.waiting.remove_if(owned);
  silentControls_.remove_if(owned);
  finished_.remove_if(owned);
  if (finished_.empty() && ready_) ready_(false);
  for (Interface& interface : interfaces_) {
    if (interface.owner == client) interface.owner = 0;
  }
}

int UsbDevice::claim(uintptr_t client, unsigned number) {
  const std::lock_guard lock(mutex_);
  return claimLocked(client, findInterface(number));
}

// As the kernel does it, a transfer to an interface that nobody has claimed claims it.
int UsbDevice::claimLocked(uintptr_t client, Interface* interface) {
  if (gone_) return -ENODEV;
  if (!interface) return -ENOENT;
  if (interface->owner == client) return 0;
  if (interface->owner || !interface->driver.empty()) return -EBUSY;
  interface->owner = client;
  note({.kind = UsbEvent::Kind::claim, .target = interface->number});
  return 0;
}

int UsbDevice::release(uintptr_t client, unsigned number) {
  const std::lock_guard lock(mutex_);
  if (gone_) return -ENODEV;
  Interface* interface = findInterface(number);
  if (!interface || interface->owner != client) return -EINVAL;
  interface->owner = 0;
  note({.kind = UsbEvent::Kind::release, .target = interface->number});
  for (Endpoint& endpoint : endpoints_) {
    if (endpoint.interface == number) finishAll(std::exchange(endpoint.waiting, {}), -ENOENT);
  }
  return 0;
}

std::string UsbDevice::driver(unsigned number) const {
  const std::lock_guard lock(mutex_);
  const Interface* interface = findInterface(number);
  if (!interface) return {};
  return interface->owner ? "usbfs" : interface->driver;
}

int UsbDevice::detachDriver(unsigned number) {
  const std::lock_guard lock(mutex_);
  Interface* interface = findInterface(number);
  if (gone_) return -ENODEV;
  if (!interface || interface->driver.empty()) return -ENODATA;
  interface->detachedDriver = std::exchange(interface->driver, {});
  note({.kind = UsbEvent::Kind::detachDriver, .target = interface->number});
  return 0;
}

int UsbDevice::attachDriver(unsigned number) {
  const std::lock_guard lock(mutex_);
  Interface* interface = findInterface(number);
  if (gone_) return -ENODEV;
  if (!interface || interface->owner || interface->detachedDriver.empty()) return -EBUSY;
  interface->driver = std::exchange(interface->detachedDriver, {});
  note({.kind = UsbEvent::Kind::attachDriver, .target = interface->number});
  return 0;
}

int UsbDevice::clearHalt(uint8_t address) {
  const std::lock_guard lock(mutex_);
  Endpoint* endpoint = find(address);
  if (gone_) return -ENODEV;
  if (!endpoint) return -ENOENT;
  note({.kind = UsbEvent::Kind::clearHalt, .target = address});
  endpoint->halted = false;
  return 0;
}

int UsbDevice::configure() {
  const std::lock_guard lock(mutex_);
  if (gone_) return -ENODEV;
  note({.kind = UsbEvent::Kind::configure});
  return 0;
}

int UsbDevice::submit(UsbTransfer transfer) {
  const std::lock_guard lock(mutex_);
  if (gone_) return -ENODEV;
  if (transfer.type == UsbTransfer::Type::control) return submitControl(std::move(transfer));
  Endpoint* endpoint = find(transfer.endpoint);
  if (!endpoint) return -ENOENT;
  if (const int fault = claimLocked(transfer.client, findInterface(endpoint->interface))) return fault;
  note({.kind = transfer.toHost() ? UsbEvent::Kind::in : UsbEvent::Kind::out,
        .target = transfer.endpoint,
        .setup = {},
        .data = transfer.data,
        .length = transfer.length});
  if (endpoint->halted) {
    finish(std::move(transfer), -EPIPE);
  } else {
    endpoint->waiting.push_back(std::move(transfer));
    pump(*endpoint);
    changed_.notify_all();
  }
  return 0;
}

int UsbDevice::cancel(uintptr_t client, unsigned long id) {
  const std::lock_guard lock(mutex_);
  const auto wanted = [client, id](const UsbTransfer& transfer) {
    return transfer.client == client && transfer.id == id;
  };
  std::list<UsbTransfer> found = extract(silentControls_, wanted);
  for (Endpoint& endpoint : endpoints_) {
    std::list<UsbTransfer> taken = extract(endpoint.waiting, wanted);
    for (UsbTransfer& transfer : taken) {
      if (!transfer.toHost()) transfer.actual = std::min(endpoint.accepted, transfer.length);
    }
    found.splice(found.end(), taken);
  }
  if (found.empty()) return -EINVAL;
  note({.kind = UsbEvent::Kind::cancel, .target = found.front().endpoint});
  finishAll(std::move(found), -ENOENT);
  return 0;
}

UsbDevice::Reaped UsbDevice::reap(uintptr_t client) {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(finished_.begin(), finished_.end(),
                                  [client](const UsbTransfer& transfer) { return transfer.client == client; });
  if (found == finished_.end()) return {.transfer = std::nullopt, .fault = gone_ ? -ENODEV : -EAGAIN};
  Reaped reaped{.transfer = std::move(*found), .fault = 0};
  finished_.erase(found);
  if (finished_.empty() && ready_) ready_(false);
  return reaped;
}

// Control transfers ----------------------------------------------------------------------------------------------

int UsbDevice::submitControl(UsbTransfer transfer) {
  const UsbSetup& setup = transfer.setup;
  if (const int fault = claimTarget(transfer.client, setup)) return fault;
  note({.kind = UsbEvent::Kind::control, .target = 0, .setup = setup, .data = transfer.data, .length = setup.length});
  const ControlAnswer said = controlAnswer(transfer);
  switch (said.kind) {
  case ControlAnswer::Kind::stall:
    finish(std::move(transfer), -EPIPE);
    break;
  case ControlAnswer::Kind::silence:
    silentControls_.push_back(std::move(transfer));
    changed_.notify_all();
    break;
  case ControlAnswer::Kind::reply:
    transfer.actual = setup.length;
    if (setup.toHost()) {
      transfer.actual = std::min<size_t>(said.bytes.size(), setup.length);
      transfer.data.assign(said.bytes.begin(), said.bytes.begin() + static_cast<ptrdiff_t>(transfer.actual));
    }
    finish(std::move(transfer), 0);
  }
  return 0;
}

// The host's kernel lets only the owner of an interface send requests to it or to its endpoints, vendor requests aside.
int UsbDevice::claimTarget(uintptr_t client, const UsbSetup& setup) {
  if ((setup.requestType & typeMask) == typeVendor) return 0;
  switch (setup.requestType & recipientMask) {
  case recipientInterface:
    return claimLocked(client, findInterface(lowByte(setup.index)));
  case recipientEndpoint: {
    const Endpoint* endpoint = find(lowByte(setup.index));
    return endpoint ? claimLocked(client, findInterface(endpoint->interface)) : -ENOENT;
  }
  default:
    return 0;
  }
}

ControlAnswer UsbDevice::controlAnswer(const UsbTransfer& transfer) {
  const UsbSetup& setup = transfer.setup;
  const auto found = std::find_if(overrides_.begin(), overrides_.end(),
                                  [&setup](const Override& candidate) { return fits(candidate.match, setup); });
  if (found != overrides_.end()) {
    ControlAnswer answer = found->answer;
    if (found->times != always && --found->times == 0) overrides_.erase(found);
    return answer;
  }
  std::optional<Bytes> bytes;
  switch (setup.requestType & typeMask) {
  case typeStandard:
    bytes = standardAnswer(setup);
    break;
  case typeClass:
    if (UsbFunction* function = functionFor(setup)) bytes = function->control(setup);
    break;
  case typeVendor:
    bytes = vendorAnswer(transfer);
    break;
  default:
    break;
  }
  return bytes ? ControlAnswer::reply(std::move(*bytes)) : ControlAnswer::stall();
}

std::optional<Bytes> UsbDevice::standardAnswer(const UsbSetup& setup) {
  constexpr uint8_t configuration = 2, device = 1, string = 3;
  if ((setup.requestType & recipientMask) == recipientEndpoint) {
    Endpoint* endpoint = find(lowByte(setup.index));
    if (!endpoint || setup.value != 0) return std::nullopt;
    if (setup.request == getStatus) return Bytes{endpoint->halted, 0};
    if (setup.request == setFeature) halt(endpoint->descriptor.address);
    if (setup.request == clearFeature) endpoint->halted = false;
    return Bytes{};
  }
  switch (setup.request) {
  case getStatus:
    return Bytes{0, 0};
  case getConfiguration:
    return Bytes{1};
  case getInterface:
    return Bytes{0};
  case getDescriptor:
    break;
  default:
    return std::nullopt;
  }
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

// Vendor requests are a memory: an IN request gives what the OUT request of the same number, value and index brought.
std::optional<Bytes> UsbDevice::vendorAnswer(const UsbTransfer& transfer) {
  const UsbSetup& setup = transfer.setup;
  const auto key = std::tuple(setup.request, setup.value, setup.index);
  if (!setup.toHost()) {
    vendorMemory_[key] = transfer.data;
    return Bytes{};
  }
  const auto found = vendorMemory_.find(key);
  return found == vendorMemory_.end() ? std::nullopt : std::optional(found->second);
}

UsbFunction* UsbDevice::functionFor(const UsbSetup& setup) {
  const unsigned recipient = setup.requestType & recipientMask;
  unsigned number = lowByte(setup.index);
  if (recipient == recipientEndpoint) {
    const Endpoint* endpoint = find(lowByte(setup.index));
    if (!endpoint) return nullptr;
    number = endpoint->interface;
  }
  Interface* interface = recipient == recipientDevice ? nullptr : findInterface(number);
  return interface ? interface->function.get() : nullptr;
}

// Endpoints ------------------------------------------------------------------------------------------------------

void UsbDevice::queue(uint8_t address, Bytes bytes, bool ended) {
  Endpoint* endpoint = find(address);
  if (!endpoint) return;
  endpoint->outgoing.push_back({std::move(bytes), ended, Clock::now() + endpoint->delay});
  pump(*endpoint);
  changed_.notify_all();
}

bool UsbDevice::queued(uint8_t address) const {
  const Endpoint* endpoint = find(address);
  return endpoint && !endpoint->outgoing.empty();
}

void UsbDevice::discard(uint8_t address) {
  if (Endpoint* endpoint = find(address)) endpoint->outgoing.clear();
}

void UsbDevice::halt(uint8_t address) {
  Endpoint* endpoint = find(address);
  if (!endpoint) return;
  endpoint->halted = true;
  finishAll(std::exchange(endpoint->waiting, {}), -EPIPE);
}

void UsbDevice::pump(Endpoint& endpoint) {
  while (!endpoint.held && !endpoint.waiting.empty()) {
    UsbTransfer& transfer = endpoint.waiting.front();
    const std::optional<int> status = transfer.toHost() ? fill(endpoint, transfer) : std::optional(0);
    if (!status) return;
    UsbTransfer done = std::move(transfer);
    endpoint.waiting.pop_front();
    if (!done.toHost()) deliver(endpoint, done);
    finish(std::move(done), *status);
  }
}

// Moves what is due into an IN transfer. None: the transfer stays open. A device that fills the host's buffer to the
// byte sends no empty packet behind it, and one that sends a packet larger than the room for it overruns.
std::optional<int> UsbDevice::fill(Endpoint& endpoint, UsbTransfer& transfer) {
  auto& outgoing = endpoint.outgoing;
  while (!outgoing.empty() && outgoing.front().due <= Clock::now()) {
    Bytes& bytes = outgoing.front().bytes;
    const auto part = static_cast<ptrdiff_t>(std::min(transfer.length - transfer.data.size(), bytes.size()));
    transfer.data.insert(transfer.data.end(), bytes.begin(), bytes.begin() + part);
    bytes.erase(bytes.begin(), bytes.begin() + part);
    transfer.actual = transfer.data.size();
    const bool full = transfer.actual == transfer.length;
    if (full && !bytes.empty()) {
      const size_t beyond = transfer.length % endpoint.descriptor.maximumPacket;
      if (beyond == 0) return 0;
      const size_t lost = std::min<size_t>(endpoint.descriptor.maximumPacket - beyond, bytes.size());
      bytes.erase(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(lost));
      if (bytes.empty()) outgoing.pop_front();
      return -EOVERFLOW;
    }
    const bool ended = outgoing.front().ended;
    outgoing.pop_front();
    if (full || ended) return 0;
  }
  return std::nullopt;
}

void UsbDevice::deliver(Endpoint& endpoint, UsbTransfer& transfer) {
  transfer.actual = transfer.length;
  Interface* interface = findInterface(endpoint.interface);
  const bool ended =
      transfer.endsWithEmptyPacket || transfer.length == 0 || transfer.length % endpoint.descriptor.maximumPacket != 0;
  if (interface && interface->function) interface->function->received(transfer.data, ended);
}

void UsbDevice::finish(UsbTransfer transfer, int status) {
  transfer.status = status;
  finished_.push_back(std::move(transfer));
  if (ready_) ready_(true);
}

void UsbDevice::finishAll(std::list<UsbTransfer> transfers, int status) {
  for (UsbTransfer& transfer : transfers) finish(std::move(transfer), status);
}

void UsbDevice::runClock() {
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    auto next = Clock::time_point::max();
    for (Endpoint& endpoint : endpoints_) {
      pump(endpoint);
      for (const Outgoing& outgoing : endpoint.outgoing) {
        if (outgoing.due > Clock::now()) next = std::min(next, outgoing.due);
      }
    }
    if (next == Clock::time_point::max()) {
      changed_.wait(lock);
    } else {
      changed_.wait_until(lock, next);
    }
  }
}

UsbDevice::Endpoint* UsbDevice::find(uint8_t address) {
  return const_cast<Endpoint*>(std::as_const(*this).find(address));
}

const UsbDevice::Endpoint* UsbDevice::find(uint8_t address) const {
  const auto found = std::find_if(endpoints_.begin(), endpoints_.end(), [address](const Endpoint& endpoint) {
    return endpoint.descriptor.address == address;
  });
  return found == endpoints_.end() ? nullptr : &*found;
}

UsbDevice::Interface* UsbDevice::findInterface(unsigned number) {
  return const_cast<Interface*>(std::as_const(*this).findInterface(number));
}

const UsbDevice::Interface* UsbDevice::findInterface(unsigned number) const {
  const auto found = std::find_if(interfaces_.begin(), interfaces_.end(),
                                  [number](const Interface& interface) { return interface.number == number; });
  return found == interfaces_.end() ? nullptr : &*found;
}

UsbFunction* UsbDevice::tmc() const {
  const auto found = std::find_if(interfaces_.begin(), interfaces_.end(),
                                  [](const Interface& interface) { return interface.role == UsbRole::usbtmc; });
  return found == interfaces_.end() ? nullptr : found->function.get();
}

}  // namespace qvsim
