/// Fuzzes what a USBTMC instrument answers: responses, status answers and notifications, in the middle of whatever the
/// caller asks for.
#include "doubles.h"
#include "fuzz.h"
#include "support/libusbDouble.h"

namespace {

constexpr uint8_t BULK_OUT = 0x02;
constexpr std::size_t HEADER = 12;

class Session : public UsbTest {
public:
  Session() {
    bus.add(instrument());
    session = open(kInstr);
  }
  void TestBody() override {}

  void begin(FuzzedDataProvider& input) {
    bus.calls.clear();
    bus.transfers.clear();
    bus.delays.clear();
    bus.answers = [this, &input](const Transfer& transfer) { return answer(input, transfer); };
    session->usbTimo_ms = QV_DEF_TIMEOUT_MS;
  }

  void operate(FuzzedDataProvider& input) {
    switch (input.ConsumeIntegralInRange(0, 6)) {
    case 0:
    case 1:
      return read(input.ConsumeIntegralInRange<ViUInt32>(0, 4096));
    case 2:
      return write(input.ConsumeIntegralInRange<ViUInt32>(0, 4200));
    case 3: {
      ViUInt16 status = 0xFFFF;
      const ViStatus result = QVvisa_UsbReadSTB(session, &status);
      return require(result == VI_SUCCESS ? status <= 0xFF || status == 0xFFFF : status == 0xFFFF, "status byte");
    }
    case 4:
      QVvisa_UsbClear(session);
      return;
    case 5:
      QVvisa_UsbGpibControlREN(session, input.ConsumeIntegralInRange<ViUInt16>(0, 8));
      return;
    default:
      return controlIn(input.ConsumeIntegral<uint8_t>(), input.ConsumeIntegralInRange<ViUInt16>(0, 300));
    }
  }

  std::size_t delays() const { return bus.delays.size(); }

private:
  /// The device's answer; by its first bits a response that echoes the request, so that what is behind is reached.
  Reply answer(FuzzedDataProvider& input, const Transfer& transfer) {
    if (transfer.port == BULK_OUT) request_ = transfer.sent;
    if (input.remaining_bytes() == 0) return {LIBUSB_ERROR_NO_DEVICE};
    const auto kind = input.ConsumeIntegral<uint8_t>();
    const bool isControl = transfer.port != BULK_OUT && transfer.port != 0x81 && transfer.port != 0x83;
    Reply reply;
    if ((kind & 0xE0) == 0) reply.result = -(kind & 0x1F);
    if (kind & 1) reply.accepted = input.ConsumeIntegralInRange(0, transfer.length);
    reply.data = bytes(input, kind & 2);
    if (kind & 4 && request_.size() >= HEADER) {
      reply.data.resize(std::max(reply.data.size(), HEADER));
      std::copy_n(request_.begin(), 4, reply.data.begin());
      const auto size = static_cast<uint32_t>(reply.data.size() - HEADER);
      for (unsigned i = 0; i < 4 && (kind & 8); ++i) reply.data[4 + i] = static_cast<uint8_t>(size >> 8 * i);
      reply.data[8] |= kind >> 4 & 1;
      std::fill_n(reply.data.begin() + 9, 3, uint8_t{0});
    }
    if (isControl && kind & 8 && reply.data.size() >= 2) reply.data[1] = static_cast<uint8_t>(transfer.value);
    return reply;
  }

  /// A few bytes as they are, or many alike.
  static Bytes bytes(FuzzedDataProvider& input, bool many) {
    if (!many) return input.ConsumeBytes<uint8_t>(input.ConsumeIntegralInRange<std::size_t>(0, 40));
    const auto count = input.ConsumeIntegralInRange<std::size_t>(0, 3200);
    return Bytes(count, input.ConsumeIntegral<uint8_t>());
  }

  void read(ViUInt32 size) {
    const std::unique_ptr<ViByte[]> buffer(new ViByte[size]);
    ViUInt32 count = 0xAAAAAAAA;
    const ViStatus status = QVvisa_UsbRead(session, buffer.get(), size, &count);
    require(status == VI_SUCCESS ? count > 0 && count <= size : count == 0xAAAAAAAA, "count of a read");
  }

  void write(ViUInt32 size) {
    const std::unique_ptr<ViByte[]> buffer(new ViByte[size]());
    ViUInt32 count = 0;
    const ViStatus status = QVvisa_UsbWrite(session, buffer.get(), size, &count);
    require(count <= size, "count of a write");
    require(size <= 4084 || status == VI_ERROR_INV_LENGTH, "length of a write");
  }

  void controlIn(uint8_t request, ViUInt16 size) {
    const std::unique_ptr<ViByte[]> buffer(new ViByte[size]);
    ViUInt16 count = 0xFFFF;
    QVvisa_UsbControlIn(session, 0xA1, request, 0, 0, size, buffer.get(), &count);
    require(count <= size, "count of a control request");
  }

  QVvisa_usb_device_t* session = nullptr;
  Bytes request_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Session& session = *new Session;
  FuzzedDataProvider input(data, size);
  session.begin(input);
  for (std::size_t i = 0; i < 4 && input.remaining_bytes() > 0; ++i) {
    const std::size_t before = session.delays();
    session.operate(input);
    require(session.delays() - before <= 10, "more delays than both requests of an abort may take");
  }
  return 0;
}
