/// What the library adds to the USB transfers of one query: a write and a read of 100 bytes, against the same transfers
/// called directly. A stand-in of libusb's bulk transfer, which only copies, takes the place of the bus.
#include "QVvisaUSB.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace {

constexpr ViUInt32 kPayload = 100;
constexpr int kTransfer = QVVISA_BULKOUT_HEADERSIZE + kPayload;
constexpr uint8_t kBulkOut = 0x02, kBulkIn = 0x81;
constexpr double kLimitNs = 300;

unsigned char gLastOut[kTransfer];

void queryThroughTheLibrary(QVvisa_usb_device_t& device) {
  static ViByte message[kPayload], response[kPayload];
  ViUInt32 count = 0;
  const ViStatus written = QVvisa_UsbWrite(&device, message, kPayload, &count);
  const ViStatus read = QVvisa_UsbRead(&device, response, kPayload, &count);
  if (written != VI_SUCCESS || read != VI_SUCCESS || count != kPayload) std::puts("transfer failed");
}

void queryDirectly(QVvisa_usb_device_t& device) {
  static unsigned char message[kTransfer], request[QVVISA_BULKOUT_HEADERSIZE], response[2048];
  int count = 0;
  libusb_bulk_transfer(device.devHdl, kBulkOut, message, sizeof message, &count, device.usbTimo_ms);
  libusb_bulk_transfer(device.devHdl, kBulkOut, request, sizeof request, &count, device.usbTimo_ms);
  libusb_bulk_transfer(device.devHdl, kBulkIn, response, sizeof response, &count, device.usbTimo_ms);
  if (count != kTransfer) std::puts("transfer failed");
}

/// Nanoseconds of one query, over a burst of them.
double timeOf(void (*query)(QVvisa_usb_device_t&), QVvisa_usb_device_t& device) {
  constexpr int kQueries = 2000;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kQueries; ++i) query(device);
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count() / kQueries;
}

}  // namespace

extern "C" __attribute__((noinline)) int libusb_bulk_transfer(libusb_device_handle*, unsigned char endpoint,
                                                              unsigned char* data, int length, int* actual_length,
                                                              unsigned int) {
  if ((endpoint & LIBUSB_ENDPOINT_IN) == 0) {
    memcpy(gLastOut, data, static_cast<size_t>(std::min(length, kTransfer)));
    *actual_length = length;
    return LIBUSB_SUCCESS;
  }
  memcpy(data, gLastOut, kTransfer);
  data[8] = 1;
  *actual_length = kTransfer;
  return LIBUSB_SUCCESS;
}

int main() {
  QVvisa_usb_device_t device;
  device.isTMC = 1;
  device.ep[0].bEndpointAddress = kBulkIn;
  device.ep[1].bEndpointAddress = kBulkOut;
  device.usedBulkInEP = 0;
  device.usedBulkOutEP = 1;
  double library = 1e9, direct = 1e9;
  // In turn, so that a burst of load on the machine meets both; the best of each counts.
  for (int round = 0; round < 200; ++round) {
    direct = std::min(direct, timeOf(queryDirectly, device));
    library = std::min(library, timeOf(queryThroughTheLibrary, device));
  }
  const bool ok = library - direct <= kLimitNs;
  std::printf("%s  query of %u bytes: %.0f ns, its transfers alone %.0f ns, at most %.0f ns more\n",
              ok ? "ok    " : "MISSED", kPayload, library, direct, kLimitNs);
  return ok ? 0 : 1;
}
