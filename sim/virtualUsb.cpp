#include "virtualUsb.h"

#include <fcntl.h>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <umockdev.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <span>
#include <stdexcept>
#include <utility>

#include "streamService.h"

namespace qvsim {
namespace {

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
};
template <typename Object>
using Reference = std::unique_ptr<Object, Unref>;

template <typename... Arguments>
std::string format(const char* pattern, Arguments... arguments) {
  std::array<char, 512> text{};
  const int length = std::snprintf(text.data(), text.size(), pattern, arguments...);
  return {text.data(), static_cast<size_t>(length)};
}

[[noreturn]] void fail(const char* what, GError* error) {
  const std::string message = std::string(what) + ": " + (error ? error->message : "failed");
  g_clear_error(&error);
  throw std::runtime_error(message);
}

/// Memory of the client that an ioctl's argument or a field of it points to. What is written here reaches the client
/// when the ioctl completes.
class ClientMemory {
public:
  ClientMemory(UMockdevIoctlData* pointer, size_t offset, size_t size)
      : data_(umockdev_ioctl_data_resolve(pointer, offset, size, nullptr)), size_(size) {
    if (!data_) throw std::runtime_error("the client's memory can't be read");
  }
  template <typename Type>
  Type& as() {
    return *reinterpret_cast<Type*>(data_->data);
  }
  std::span<uint8_t> bytes() { return {data_->data, size_}; }
  UMockdevIoctlData* get() { return data_.get(); }
  std::shared_ptr<void> share() && { return std::shared_ptr<void>(data_.release(), Unref()); }

private:
  Reference<UMockdevIoctlData> data_;
  size_t size_;
};

constexpr size_t setupSize = 8;

UsbSetup parseSetup(std::span<const uint8_t> bytes) {
  const auto word = [&bytes](size_t at) { return static_cast<uint16_t>(bytes[at] | bytes[at + 1] << 8); };
  return {.requestType = bytes[0], .request = bytes[1], .value = word(2), .index = word(4), .length = word(6)};
}

std::string hexadecimal(const Bytes& bytes) {
  std::string text;
  for (const uint8_t byte : bytes) text += format("%02X", byte);
  return text;
}

/// The device node is a FIFO of one page, since a host polls it for POLLOUT: full while there is nothing to reap, so
/// that the poll sleeps as it does on usbfs, and empty when a transfer is ready. System calls go straight to the
/// kernel, past the preloaded wrappers.
class ReadyPipe {
public:
  explicit ReadyPipe(const std::string& path) {
    ::unlink(path.c_str());
    if (::mkfifo(path.c_str(), 0666) != 0) throw std::system_error(errno, std::generic_category(), path);
    pipe_ = Descriptor::checked(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC), "open of the device node");
    if (::fcntl(pipe_.number(), F_SETPIPE_SZ, int{page}) < 0) {
      throw std::system_error(errno, std::generic_category(), "F_SETPIPE_SZ");
    }
    set(false);
  }

  void set(bool ready) const {
    std::array<char, page> bytes{};
    const long call = ready ? SYS_read : SYS_write;
    while (::syscall(call, pipe_.number(), bytes.data(), bytes.size()) > 0) {
    }
  }

private:
  static constexpr size_t page = 4096;
  Descriptor pipe_;
};

}  // namespace

struct VirtualUsb::TestBed {
  Reference<UMockdevTestbed> bed{umockdev_testbed_new()};
  std::string root;
};

/// A device's entry in sysfs and its node, whose ioctls it answers in umockdev's thread.
class VirtualUsb::Node : public std::enable_shared_from_this<Node> {
public:
  Node(UsbDescription description, ScpiInstrument* instrument, int number)
      : device(std::move(description), instrument, [this](bool ready) { pipe_->set(ready); }), number_(number),
        path_(format("/dev/bus/usb/001/%03d", number)),
        sysfs_(format("/sys/devices/pci0000:00/0000:00:14.0/usb1/1-%d", number)) {}

  void attach(TestBed& testBed);
  void detach(TestBed& testBed);
  void announce(TestBed& testBed, const char* action) {
    umockdev_testbed_uevent(testBed.bed.get(), sysfs_.c_str(), action);
  }
  void remove(TestBed& testBed);

  UsbDevice device;

private:
  static gboolean onIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer node);
  static void onConnect(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer node);
  static void onVanish(gpointer node, GObject* client);
  void connectSignal(const char* signal, GCallback callback);

  std::string sysfsRecord() const;
  int handle(uintptr_t client, unsigned request, UMockdevIoctlData* argument);
  int submit(uintptr_t client, UMockdevIoctlData* argument);
  void reap(UMockdevIoctlClient* client);

  const int number_;
  const std::string path_;
  const std::string sysfs_;
  std::unique_ptr<ReadyPipe> pipe_;
  Reference<UMockdevIoctlBase> handler_;
  bool plugged_ = false;
};

void VirtualUsb::Node::attach(TestBed& testBed) {
  GError* error = nullptr;
  if (!umockdev_testbed_add_from_string(testBed.bed.get(), sysfsRecord().c_str(), &error)) fail("USB device", error);
  plugged_ = true;
  pipe_ = std::make_unique<ReadyPipe>(testBed.root + path_);
  handler_.reset(umockdev_ioctl_base_new());
  connectSignal("handle-ioctl", G_CALLBACK(onIoctl));
  connectSignal("client-connected", G_CALLBACK(onConnect));
  if (!umockdev_testbed_attach_ioctl(testBed.bed.get(), path_.c_str(), handler_.get(), &error)) fail("usbfs", error);
  announce(testBed, "add");
}

// The signal keeps the node: umockdev's thread may still be in it when the test bed goes.
void VirtualUsb::Node::connectSignal(const char* signal, GCallback callback) {
  auto* self = new std::shared_ptr<Node>(shared_from_this());
  g_signal_connect_data(
      handler_.get(), signal, callback, self,
      [](gpointer node, GClosure*) { delete static_cast<std::shared_ptr<Node>*>(node); }, GConnectFlags{});
}

void VirtualUsb::Node::remove(TestBed& testBed) {
  if (!std::exchange(plugged_, false)) return;
  device.vanish();
  announce(testBed, "remove");
  umockdev_testbed_remove_device(testBed.bed.get(), sysfs_.c_str());
}

void VirtualUsb::Node::detach(TestBed& testBed) {
  umockdev_testbed_detach_ioctl(testBed.bed.get(), path_.c_str(), nullptr);
  handler_.reset();
}

std::string VirtualUsb::Node::sysfsRecord() const {
  const UsbDescription& description = device.description();
  Bytes descriptors = deviceDescriptor(description);
  const Bytes configuration = configurationDescriptor(description);
  descriptors.insert(descriptors.end(), configuration.begin(), configuration.end());
  std::string record =
      format("P: %s\nN: %s\n", sysfs_.c_str() + std::strlen("/sys"), path_.c_str() + std::strlen("/dev/"));
  record += format("E: DEVNAME=%s\nE: DEVTYPE=usb_device\nE: SUBSYSTEM=usb\n", path_.c_str());
  record += format("E: BUSNUM=001\nE: DEVNUM=%03d\nE: MAJOR=189\nE: MINOR=%d\n", number_, number_ - 1);
  record += format("A: busnum=1\\n\nA: devnum=%d\\n\nA: speed=480\\n\nA: dev=189:%d\\n\n", number_, number_ - 1);
  record += "A: bConfigurationValue=1\\n\nA: bNumConfigurations=1\\n\n";
  record += "A: bDeviceClass=00\\n\n";
  record += format("A: idVendor=%04x\\n\nA: idProduct=%04x\\n\n", description.vendor, description.product);
  return record + "H: descriptors=" + hexadecimal(descriptors) + "\n\n";
}

void VirtualUsb::Node::onConnect(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer node) {
  const auto& self = *static_cast<std::shared_ptr<Node>*>(node);
  // umockdev's signal for a client's end is never sent; its object does go when the client closes the node.
  g_object_weak_ref(G_OBJECT(client), onVanish, new std::shared_ptr<Node>(self));
}

void VirtualUsb::Node::onVanish(gpointer node, GObject* client) {
  const std::unique_ptr<std::shared_ptr<Node>> self(static_cast<std::shared_ptr<Node>*>(node));
  (*self)->device.close(reinterpret_cast<uintptr_t>(client));
}

gboolean VirtualUsb::Node::onIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer node) {
  Node& self = **static_cast<std::shared_ptr<Node>*>(node);
  const auto request = static_cast<unsigned>(umockdev_ioctl_client_get_request(client));
  int result = -EFAULT;
  try {
    if (request == USBDEVFS_REAPURBNDELAY) {
      self.reap(client);
      return TRUE;
    }
    result = self.handle(reinterpret_cast<uintptr_t>(client), request, umockdev_ioctl_client_get_arg(client));
  } catch (const std::exception&) {
    // The client has died or has given an address that isn't its own.
  }
  umockdev_ioctl_client_complete(client, std::max(result, -1), result < 0 ? -result : 0);
  return TRUE;
}

int VirtualUsb::Node::handle(uintptr_t client, unsigned request, UMockdevIoctlData* argument) {
  const auto number = [argument] { return ClientMemory(argument, 0, sizeof(unsigned)).as<unsigned>(); };
  switch (request) {
  case USBDEVFS_GET_CAPABILITIES:
    ClientMemory(argument, 0, sizeof(uint32_t)).as<uint32_t>() =
        USBDEVFS_CAP_ZERO_PACKET | USBDEVFS_CAP_BULK_CONTINUATION | USBDEVFS_CAP_NO_PACKET_SIZE_LIM |
        USBDEVFS_CAP_BULK_SCATTER_GATHER | USBDEVFS_CAP_REAP_AFTER_DISCONNECT;
    return 0;
  case USBDEVFS_CLAIMINTERFACE:
    return device.claim(client, number(), false);
  case USBDEVFS_RELEASEINTERFACE:
    return device.release(client, number());
  case USBDEVFS_DISCONNECT_CLAIM:
    return device.claim(client, number(), true);  // its number comes first in the record
  case USBDEVFS_GETDRIVER: {
    auto& asked = ClientMemory(argument, 0, sizeof(usbdevfs_getdriver)).as<usbdevfs_getdriver>();
    const std::string driver = device.driver(asked.interface);
    asked.driver[driver.copy(asked.driver, sizeof asked.driver - 1)] = '\0';
    return driver.empty() ? -ENODATA : 0;
  }
  case USBDEVFS_IOCTL: {
    const auto wanted = ClientMemory(argument, 0, sizeof(usbdevfs_ioctl)).as<usbdevfs_ioctl>();
    if (static_cast<unsigned>(wanted.ioctl_code) != USBDEVFS_CONNECT) return -ENOTTY;
    return device.attachDriver(static_cast<unsigned>(wanted.ifno)) == 0 ? 1 : -EBUSY;
  }
  case USBDEVFS_SUBMITURB:
    return submit(client, argument);
  case USBDEVFS_DISCARDURB:
    return device.cancel(client, *reinterpret_cast<unsigned long*>(argument->data));
  default:
    return -ENOTTY;
  }
}

int VirtualUsb::Node::submit(uintptr_t client, UMockdevIoctlData* argument) {
  ClientMemory memory(argument, 0, sizeof(usbdevfs_urb));
  const usbdevfs_urb& urb = memory.as<usbdevfs_urb>();
  const bool control = urb.type == USBDEVFS_URB_TYPE_CONTROL;
  if (!control && urb.type != USBDEVFS_URB_TYPE_BULK && urb.type != USBDEVFS_URB_TYPE_INTERRUPT) return -EINVAL;
  UsbTransfer transfer{.client = client,
                       .id = memory.get()->client_addr,
                       .endpoint = control ? uint8_t{0} : urb.endpoint,
                       .length = static_cast<size_t>(urb.buffer_length),
                       .endsWithEmptyPacket = (urb.flags & USBDEVFS_URB_ZERO_PACKET) != 0};
  if (control && transfer.length < setupSize) return -EINVAL;
  if (transfer.length != 0 && (control || !transfer.toHost())) {
    ClientMemory buffer(memory.get(), offsetof(usbdevfs_urb, buffer), transfer.length);
    std::span<const uint8_t> bytes = buffer.bytes();
    if (control) {
      transfer.setup = parseSetup(bytes);
      bytes = bytes.subspan(setupSize);
      transfer.length = bytes.size();
    }
    if (!transfer.toHost()) transfer.data.assign(bytes.begin(), bytes.end());
  }
  transfer.host = std::move(memory).share();
  return device.submit(std::move(transfer));
}

// The client's buffer can be written only now, while it waits for this ioctl.
void VirtualUsb::Node::reap(UMockdevIoctlClient* client) {
  const UsbDevice::Reaped reaped = device.reap(reinterpret_cast<uintptr_t>(client));
  if (!reaped.transfer) return umockdev_ioctl_client_complete(client, -1, -reaped.fault);
  const UsbTransfer& transfer = *reaped.transfer;
  auto* const memory = static_cast<UMockdevIoctlData*>(transfer.host.get());
  auto& urb = *reinterpret_cast<usbdevfs_urb*>(memory->data);
  urb.status = transfer.status;
  urb.actual_length = static_cast<int>(transfer.data.size());
  if (transfer.toHost() && !transfer.data.empty()) {
    const size_t head = transfer.endpoint == 0 ? setupSize : 0;
    ClientMemory buffer(memory, offsetof(usbdevfs_urb, buffer), head + transfer.data.size());
    std::ranges::copy(transfer.data, buffer.bytes().begin() + static_cast<ptrdiff_t>(head));
  }
  ClientMemory answer(umockdev_ioctl_client_get_arg(client), 0, sizeof(void*));
  umockdev_ioctl_data_set_ptr(answer.get(), 0, memory);
  umockdev_ioctl_client_complete(client, 0, 0);
}

VirtualUsb::VirtualUsb() : testBed_(std::make_unique<TestBed>()) {
  gchar* root = umockdev_testbed_get_root_dir(testBed_->bed.get());
  testBed_->root = root;
  g_free(root);
}

VirtualUsb::~VirtualUsb() {
  for (const auto& node : nodes_) {
    node->remove(*testBed_);
    node->detach(*testBed_);
  }
}

UsbDevice& VirtualUsb::plug(UsbDescription description, ScpiInstrument* instrument) {
  // Bus addresses start behind the root hub's.
  const int number = static_cast<int>(nodes_.size()) + 2;
  nodes_.push_back(std::make_shared<Node>(std::move(description), instrument, number));
  nodes_.back()->attach(*testBed_);
  return nodes_.back()->device;
}

void VirtualUsb::unplug(const UsbDevice& device) {
  for (const auto& node : nodes_) {
    if (&node->device == &device) node->remove(*testBed_);
  }
}

std::string VirtualUsb::directory() const {
  return testBed_->root;
}

std::string usbResourceName(const UsbDescription& description) {
  return format("USB0::0x%04X::0x%04X::", description.vendor, description.product) + description.serial + "::INSTR";
}

}  // namespace qvsim
