/// @file
/// A virtual USB device: endpoints, transfers, claims and faults. It doesn't know how a host reaches it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>

#include "usbFunction.h"

namespace qvsim {

/// One thing that a host did, in the order of its doing.
struct UsbEvent {
  enum class Kind {
    open,  ///< the device node
    close,
    claim,  ///< an interface; a transfer to an unclaimed one claims it too
    release,
    detachDriver,  ///< the host's driver is taken off an interface
    attachDriver,
    control,    ///< `setup` and, for OUT, `data`
    out,        ///< a transfer to endpoint `target` with `data`
    in,         ///< a transfer of up to `length` bytes from endpoint `target`
    cancel,     ///< a transfer on endpoint `target` is given up
    clearHalt,  ///< through the host's own call, not a control request of the program
    configure,  ///< configuration, alternate setting or reset
  };
  Kind kind;
  uint8_t target = 0;  ///< endpoint address or interface number
  UsbSetup setup = {};
  Bytes data = {};
  size_t length = 0;
};

/// A transfer as the host submitted it; comes back filled in.
struct UsbTransfer {
  enum class Type { control, bulk, interrupt };
  uintptr_t client = 0;        ///< who submitted it
  unsigned long id = 0;        ///< the client's name for it
  std::shared_ptr<void> host;  ///< kept for the host side
  Type type = Type::bulk;
  uint8_t endpoint = 0;
  size_t length = 0;  ///< bytes to send or room for bytes to receive; of a control transfer the data alone
  bool endsWithEmptyPacket = false;
  UsbSetup setup = {};
  Bytes data;         ///< to the device, or what came from it
  int status = 0;     ///< 0 or a negative errno
  size_t actual = 0;  ///< bytes moved
  bool toHost() const { return type == Type::control ? setup.toHost() : (endpoint & 0x80) != 0; }
};

/// Which control requests an answer is meant for.
struct ControlMatch {
  uint8_t requestType;
  uint8_t request;
  std::optional<uint16_t> value = std::nullopt;
};

/// What the device says instead of its own answer.
struct ControlAnswer {
  enum class Kind { reply, stall, silence };
  Kind kind;
  Bytes bytes;
  static ControlAnswer reply(Bytes bytes) { return {Kind::reply, std::move(bytes)}; }
  static ControlAnswer stall() { return {Kind::stall, {}}; }
  static ControlAnswer silence() { return {Kind::silence, {}}; }
};

/// Every operation may be called from any thread.
class UsbDevice : private UsbPipes {
public:
  using Milliseconds = std::chrono::milliseconds;
  static constexpr unsigned always = ~0U;

  /// @param instrument  what answers SCPI; null: one of the device's own, with the description's texts as its identity
  UsbDevice(UsbDescription description, ScpiInstrument* instrument);
  ~UsbDevice();
  UsbDevice(const UsbDevice&) = delete;
  UsbDevice& operator=(const UsbDevice&) = delete;

  const UsbDescription& description() const { return description_; }
  ScpiInstrument& instrument() { return *instrument_; }

  // Faults -------------------------------------------------------------------------------------------------------

  /// The next @p times fitting requests get this answer; answers given later come first.
  void answerControl(const ControlMatch& match, ControlAnswer answer, unsigned times = always);
  /// For the responses of the USBTMC interface; a null filter makes it normal again.
  void setResponseFilter(const ResponseFilter& filter);
  /// Stalls an endpoint until the host clears it.
  void haltEndpoint(uint8_t endpoint);
  /// The endpoint takes or gives nothing until it is let go. An OUT transfer that is given up meanwhile has had
  /// @p accepted bytes taken.
  void hold(uint8_t endpoint, size_t accepted = 0);
  void letGo(uint8_t endpoint);
  /// What the device sends on an IN endpoint from now on gets to the host that much later.
  void delay(uint8_t endpoint, Milliseconds time);
  /// Bytes from nowhere for an IN endpoint. @param ended  a short packet follows; without it the host's transfer stays
  /// open after them, as after any full packets
  void send(uint8_t endpoint, Bytes bytes, bool ended = true);
  /// Is gone: transfers in flight end with ESHUTDOWN, everything after them fails with ENODEV.
  void vanish();

  // Observation --------------------------------------------------------------------------------------------------

  RemoteState remoteState() const;
  std::vector<UsbEvent> log() const;
  /// The log, which is empty afterwards.
  std::vector<UsbEvent> takeLog();
  /// A device that serves for long without anybody who looks keeps no log.
  void setLogging(bool on);
  /// Waits until that many transfers wait on the endpoint; false if @p limit passed first.
  bool waitForTransfers(uint8_t endpoint, size_t count, Milliseconds limit = std::chrono::seconds(30)) const;

  // The host's side: results are 0 or a negative errno -----------------------------------------------------------

  /// Called with true when a transfer can be reaped and with false when none is left, under the device's lock.
  void onReady(std::function<void(bool)> ready);
  void open(uintptr_t client);
  /// Gives back all that the client held.
  void close(uintptr_t client);
  int claim(uintptr_t client, unsigned interface);
  int release(uintptr_t client, unsigned interface);
  /// The driver's name, empty for none; "usbfs" for a client.
  std::string driver(unsigned interface) const;
  int detachDriver(unsigned interface);
  int attachDriver(unsigned interface);
  int clearHalt(uint8_t endpoint);
  /// Configuration, alternate setting or reset.
  int configure();
  int submit(UsbTransfer transfer);
  int cancel(uintptr_t client, unsigned long id);
  struct Reaped {
    std::optional<UsbTransfer> transfer;
    int fault;  ///< without a transfer: -EAGAIN or, from a device that is gone, -ENODEV
  };
  /// The client's next finished transfer.
  Reaped reap(uintptr_t client);

private:
  using Clock = std::chrono::steady_clock;
  struct Outgoing {
    Bytes bytes;
    bool ended = true;
    Clock::time_point due;
  };
  struct Endpoint {
    UsbEndpoint descriptor;
    unsigned interface = 0;  ///< its number
    bool halted = false;
    bool held = false;
    size_t accepted = 0;
    Milliseconds delay{0};
    std::deque<Outgoing> outgoing;
    std::list<UsbTransfer> waiting;
  };
  struct Interface {
    uint8_t number = 0;
    UsbRole role = UsbRole::none;
    std::unique_ptr<UsbFunction> function;
    uintptr_t owner = 0;  ///< client that has claimed it
    std::string driver;   ///< the host's driver that has it
    std::string detachedDriver = {};
  };
  struct Override {
    ControlMatch match;
    ControlAnswer answer;
    unsigned times;
  };

  void queue(uint8_t endpoint, Bytes bytes, bool ended) override;
  bool queued(uint8_t endpoint) const override;
  void discard(uint8_t endpoint) override;
  void halt(uint8_t endpoint) override;

  Endpoint* find(uint8_t endpoint);
  const Endpoint* find(uint8_t endpoint) const;
  Interface* findInterface(unsigned number);
  const Interface* findInterface(unsigned number) const;
  UsbFunction* tmc() const;
  void note(UsbEvent event);
  int claimLocked(uintptr_t client, Interface* interface);
  int submitControl(UsbTransfer transfer);
  int claimTarget(uintptr_t client, const UsbSetup& setup);
  ControlAnswer controlAnswer(const UsbTransfer& transfer);
  std::optional<Bytes> standardAnswer(const UsbSetup& setup);
  std::optional<Bytes> vendorAnswer(const UsbTransfer& transfer);
  UsbFunction* functionFor(const UsbSetup& setup);
  void pump(Endpoint& endpoint);
  static std::optional<int> fill(Endpoint& endpoint, UsbTransfer& transfer);
  void deliver(Endpoint& endpoint, UsbTransfer& transfer);
  void finish(UsbTransfer transfer, int status);
  void finishAll(std::list<UsbTransfer> transfers, int status);
  void runClock();

  const UsbDescription description_;
  std::unique_ptr<ScpiInstrument> ownInstrument_;
  ScpiInstrument* const instrument_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<Interface> interfaces_;
  std::vector<Endpoint> endpoints_;
  std::list<UsbTransfer> silentControls_;
  std::list<UsbTransfer> finished_;
  std::list<Override> overrides_;
  std::map<std::tuple<uint8_t, uint16_t, uint16_t>, Bytes> vendorMemory_;
  std::vector<UsbEvent> log_;
  bool logging_ = true;
  bool gone_ = false;
  std::function<void(bool)> ready_;
  bool stopping_ = false;
  std::thread clock_;  ///< delivers what was delayed; runs from the first delay on
};

}  // namespace qvsim
