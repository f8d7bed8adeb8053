#include "libusbDouble.h"
#include "testing.h"

#include <memory>
#include <mutex>
#include <set>

struct libusb_context {};

struct libusb_device_handle {
  libusb_device* device;
  std::set<int> claims;
};

namespace {

DoubleBus gBus;
libusb_context gContext;
std::recursive_mutex gMutex;
std::set<libusb_device_handle*> gHandles;
std::set<libusb_device**> gLists;

/// A configuration with its interfaces and alternate settings.
struct Config : libusb_config_descriptor {
  std::vector<libusb_interface> interfaces;
  std::vector<libusb_interface_descriptor> settings;
};
std::map<libusb_config_descriptor*, std::unique_ptr<Config>> gConfigs;

/// Notes a call and tells whether the test wants it to fail.
bool fails(Call call) {
  const std::lock_guard lock(gMutex);
  gBus.calls.push_back(call);
  return gBus.calls.size() - 1 == gBus.failAt;
}

bool alive(libusb_device* device) {
  EXPECT_GT(device->references, 0) << "use of a device after its list and handles ended";
  return device->references > 0;
}

bool alive(libusb_device_handle* handle) {
  EXPECT_TRUE(gHandles.contains(handle)) << "use of a handle that isn't open";
  return gHandles.contains(handle);
}

/// The default behaviour: a USB488 instrument.
Reply answer(libusb_device& device, const Transfer& transfer, Call call) {
  if (gBus.answers) return gBus.answers(transfer);
  if (auto& script = device.script[transfer.port]; !script.empty()) {
    auto responder = std::move(script.front());
    script.pop_front();
    return responder(transfer);
  }
  if (call == Call::Interrupt) return {LIBUSB_SUCCESS, {0x82, device.statusByte}};
  if (call == Call::Control) {
    const auto tag = static_cast<uint8_t>(transfer.value);
    if (transfer.port != USBTMC_REQ_READ_STATUS_BYTE) return {1, {USBTMC_STATUS_SUCCESS, 0, 0, 0, 0, 0, 0, 0}};
    return {3, {USBTMC_STATUS_SUCCESS, tag, device.statusByte}};
  }
  if ((transfer.port & LIBUSB_ENDPOINT_IN) == 0) return {};
  if (device.lastOut.size() != 12 || device.lastOut[0] != 2) return {LIBUSB_ERROR_TIMEOUT};
  Bytes response = device.lastOut;
  const size_t size = device.response.size();
  memcpy(&response[4], &size, 4);
  response[8] = 1;
  response.insert(response.end(), device.response.begin(), device.response.end());
  device.lastOut.clear();
  return {LIBUSB_SUCCESS, response};
}

/// Carries out one transfer; `*moved` becomes the bytes in the caller's buffer or on the wire.
int carryOut(libusb_device_handle* handle, Call call, Transfer transfer, bool in, unsigned char* data, int* moved) {
  const std::lock_guard lock(gMutex);
  *moved = 0;
  if (!alive(handle)) return LIBUSB_ERROR_NO_DEVICE;
  EXPECT_FALSE(handle->claims.empty()) << "transfer without a claimed interface";
  EXPECT_TRUE(data || transfer.length == 0);
  if (!in && transfer.length > 0) transfer.sent.assign(data, data + transfer.length);
  gBus.transfers.push_back(transfer);
  if (fails(call)) return gBus.failWith;
  const Reply reply = answer(*handle->device, transfer, call);
  if (!in) {
    if (call == Call::Bulk) handle->device->lastOut = transfer.sent;
    *moved = reply.accepted < 0 ? transfer.length : reply.accepted;
    return reply.result;
  }
  *moved = std::min(static_cast<int>(reply.data.size()), transfer.length);
  if (*moved > 0) memcpy(data, reply.data.data(), static_cast<size_t>(*moved));
  return reply.result;
}

}  // namespace

libusb_device instrument(const char* serial, std::vector<DoubleInterface> interfaces) {
  libusb_device device{{}, std::move(interfaces), {{1, "KESTRIX"}, {2, "K-7"}, {4, "IF"}}};
  const uint8_t iSerial = serial ? 3 : 0;
  device.descriptor = {18, 1, 0x200, 0, 0, 0, 64, 0x7C5A, 0x0042, 0, 1, 2, iSerial, 1};
  if (serial) device.strings[3] = serial;
  return device;
}

Bytes DoubleBus::takePorts() {
  Bytes ports;
  for (const Transfer& transfer : std::exchange(transfers, {})) ports.push_back(transfer.port);
  return ports;
}

UsbTest::UsbTest() : bus(gBus) {
  gBus = {};
  QVlibusbCtx = &gContext;
}

UsbTest::~UsbTest() {
  close();
  EXPECT_TRUE(gHandles.empty()) << "a handle was left open";
  EXPECT_TRUE(gLists.empty()) << "a device list wasn't freed";
  EXPECT_TRUE(gConfigs.empty()) << "a configuration wasn't freed";
  QVlibusbCtx = nullptr;
}

QVvisa_usb_device_t* UsbTest::open(const std::string& name, ViStatus expected) {
  close();
  EXPECT_EQ(QVvisa_initUsbDevListElem(&session_), VI_SUCCESS);
  EXPECT_EQ(QVvisa_OpenHelperParseNameUsb(std::string(name).data(), session_), VI_SUCCESS) << name;
  EXPECT_EQ(QVvisa_OpenHelperFindOpenDevUsb(session_), expected) << name;
  bus.transfers.clear();
  return session_;
}

extern "C" {

ssize_t libusb_get_device_list(libusb_context*, libusb_device*** list) {
  if (fails(Call::List)) return gBus.failWith;
  *list = new libusb_device*[gBus.devices.size() + 1]();
  gLists.insert(*list);
  libusb_device** next = *list;
  for (libusb_device& device : gBus.devices) {
    ++device.references;
    *next++ = &device;
  }
  return next - *list;
}

void libusb_free_device_list(libusb_device** list, int unref_devices) {
  EXPECT_EQ(gLists.erase(list), 1U) << "free of a list that isn't there";
  EXPECT_EQ(unref_devices, 1);
  for (libusb_device** device = list; *device; ++device) --(*device)->references;
  delete[] list;
}

int libusb_get_device_descriptor(libusb_device* device, libusb_device_descriptor* descriptor) {
  if (!alive(device) || fails(Call::Device)) return gBus.failWith;
  *descriptor = device->descriptor;
  return LIBUSB_SUCCESS;
}

int libusb_get_active_config_descriptor(libusb_device* device, libusb_config_descriptor** result) {
  if (!alive(device) || fails(Call::Config)) return gBus.failWith;
  auto config = std::make_unique<Config>();
  for (const DoubleInterface& i : device->interfaces) {
    // Not the index, which is what counts.
    const auto number = static_cast<uint8_t>(10 + config->settings.size());
    config->settings.push_back({9, 4, number, 0, static_cast<uint8_t>(i.endpoints.size()), i.class_, i.subClass,
                                i.protocol, i.string, i.endpoints.data(), nullptr, 0});
  }
  for (const libusb_interface_descriptor& setting : config->settings) config->interfaces.push_back({&setting, 1});
  config->bNumInterfaces = static_cast<uint8_t>(config->interfaces.size());
  config->interface = config->interfaces.empty() ? nullptr : config->interfaces.data();
  *result = config.get();
  gConfigs[*result] = std::move(config);
  return LIBUSB_SUCCESS;
}

void libusb_free_config_descriptor(libusb_config_descriptor* config) {
  EXPECT_EQ(gConfigs.erase(config), 1U) << "free of a configuration that isn't there";
}

int libusb_open(libusb_device* device, libusb_device_handle** handle) {
  if (!alive(device) || fails(Call::Open)) return gBus.failWith;
  ++device->references;
  *handle = *gHandles.insert(new libusb_device_handle{device, {}}).first;
  return LIBUSB_SUCCESS;
}

void libusb_close(libusb_device_handle* handle) {
  fails(Call::Close);
  if (!alive(handle)) return;
  EXPECT_TRUE(handle->claims.empty()) << "close with an interface still claimed";
  --handle->device->references;
  gHandles.erase(handle);
  delete handle;
}

int libusb_set_auto_detach_kernel_driver(libusb_device_handle* handle, int enable) {
  EXPECT_EQ(enable, 1);
  return !alive(handle) || fails(Call::AutoDetach) ? gBus.failWith : LIBUSB_SUCCESS;
}

int libusb_claim_interface(libusb_device_handle* handle, int number) {
  if (!alive(handle) || fails(Call::Claim)) return gBus.failWith;
  EXPECT_TRUE(handle->claims.insert(number).second) << "second claim";
  return LIBUSB_SUCCESS;
}

int libusb_release_interface(libusb_device_handle* handle, int number) {
  if (!alive(handle)) return LIBUSB_ERROR_NO_DEVICE;
  EXPECT_EQ(handle->claims.erase(number), 1U) << "release of an interface that isn't claimed";
  return fails(Call::Release) ? gBus.failWith : LIBUSB_SUCCESS;
}

int libusb_get_string_descriptor_ascii(libusb_device_handle* handle, uint8_t index, unsigned char* data, int length) {
  if (!alive(handle) || fails(Call::String)) return gBus.failWith;
  const auto string = handle->device->strings.find(index);
  if (string == handle->device->strings.end()) return LIBUSB_ERROR_PIPE;
  const size_t copied = string->second.copy(reinterpret_cast<char*>(data), static_cast<size_t>(length) - 1);
  data[copied] = '\0';
  return static_cast<int>(copied);
}

int libusb_bulk_transfer(libusb_device_handle* handle, unsigned char endpoint, unsigned char* data, int length,
                         int* actual_length, unsigned int timeout) {
  const bool in = endpoint & LIBUSB_ENDPOINT_IN;
  return carryOut(handle, Call::Bulk, {endpoint, {}, length, timeout}, in, data, actual_length);
}

int libusb_interrupt_transfer(libusb_device_handle* handle, unsigned char endpoint, unsigned char* data, int length,
                              int* actual_length, unsigned int timeout) {
  return carryOut(handle, Call::Interrupt, {endpoint, {}, length, timeout}, true, data, actual_length);
}

int libusb_control_transfer(libusb_device_handle* handle, uint8_t request_type, uint8_t bRequest, uint16_t wValue,
                            uint16_t wIndex, unsigned char* data, uint16_t wLength, unsigned int timeout) {
  int moved = 0;
  const int result = carryOut(handle, Call::Control, {bRequest, {}, wLength, timeout, request_type, wValue, wIndex},
                              request_type & LIBUSB_ENDPOINT_IN, data, &moved);
  return result < 0 ? result : moved;
}

int libusb_init(libusb_context** context) {
  *context = &gContext;
  return LIBUSB_SUCCESS;
}

void libusb_exit(libusb_context*) {}

/// The linker sends the library's delays here.
void __wrap_OS_delayMs(unsigned int delay_ms) {
  gBus.delays.push_back(delay_ms);
}
}
