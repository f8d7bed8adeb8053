#include "usbFunction.h"

#include <algorithm>

#include "usbtmcFunction.h"

namespace qvsim {
namespace {

class EchoFunction final : public UsbFunction {
public:
  EchoFunction(UsbPipes& pipes, uint8_t in) : pipes_(pipes), in_(in) {}
  std::optional<Bytes> control(const UsbSetup&) override { return std::nullopt; }
  void received(const Bytes& bytes, bool ended) override { pipes_.queue(in_, bytes, ended); }

private:
  UsbPipes& pipes_;
  const uint8_t in_;
};

}  // namespace

namespace fault {

ResponseFilter silent() {
  return [](const Bytes&) { return std::vector<Bytes>{}; };
}

ResponseFilter split(size_t second) {
  return [second](const Bytes& transfer) {
    const auto at = transfer.end() - static_cast<ptrdiff_t>(std::min(second, transfer.size()));
    return std::vector<Bytes>{{transfer.begin(), at}, {at, transfer.end()}};
  };
}

ResponseFilter extraBytes(size_t count) {
  return [count](Bytes transfer) {
    transfer.insert(transfer.end(), count, uint8_t{0xEE});
    return std::vector<Bytes>{std::move(transfer)};
  };
}

ResponseFilter headerByte(size_t offset, uint8_t value) {
  return [offset, value](Bytes transfer) {
    transfer.at(offset) = value;
    return std::vector<Bytes>{std::move(transfer)};
  };
}

ResponseFilter wrongTag() {
  return [](Bytes transfer) {
    transfer.at(1) ^= 0x55;
    transfer.at(2) ^= 0x55;
    return std::vector<Bytes>{std::move(transfer)};
  };
}

ResponseFilter wrongTagInverse() {
  return [](Bytes transfer) {
    transfer.at(2) ^= 0xFF;
    return std::vector<Bytes>{std::move(transfer)};
  };
}

ResponseFilter endOfMessageClear() {
  return headerByte(8, 0);
}

ResponseFilter transferSize(uint32_t size) {
  return [size](Bytes transfer) {
    for (size_t i = 0; i < 4; ++i) transfer.at(4 + i) = static_cast<uint8_t>(size >> 8 * i & 0xFF);
    return std::vector<Bytes>{std::move(transfer)};
  };
}

ResponseFilter truncated(size_t size) {
  return [size](Bytes transfer) {
    transfer.resize(std::min(size, transfer.size()));
    return std::vector<Bytes>{std::move(transfer)};
  };
}

}  // namespace fault

std::unique_ptr<UsbFunction> makeUsbFunction(const UsbInterface& interface, UsbPipes& pipes,
                                             ScpiInstrument& instrument) {
  const auto address = [&interface](uint8_t type, bool toHost) {
    const auto found = std::find_if(
        interface.endpoints.begin(), interface.endpoints.end(), [type, toHost](const UsbEndpoint& endpoint) {
          return (endpoint.attributes & UsbEndpoint::typeMask) == type && endpoint.toHost() == toHost;
        });
    return found == interface.endpoints.end() ? uint8_t{0} : found->address;
  };
  const uint8_t bulkIn = address(UsbEndpoint::bulk, true);
  switch (interface.role) {
  case UsbRole::usbtmc:
    return std::make_unique<UsbtmcFunction>(
        pipes, instrument,
        UsbtmcFunction::Layout{.bulkIn = bulkIn,
                               .bulkOut = address(UsbEndpoint::bulk, false),
                               .interruptIn = address(UsbEndpoint::interrupt, true)});
  case UsbRole::echo:
    return std::make_unique<EchoFunction>(pipes, bulkIn);
  case UsbRole::none:
    break;
  }
  return nullptr;
}

}  // namespace qvsim
