/// Every libusb error at every call of a session: the right status, and nothing left behind.
#include "libusbDouble.h"

#include <climits>
#include <set>

namespace {

constexpr int kErrors[] = {LIBUSB_ERROR_IO,        LIBUSB_ERROR_INVALID_PARAM,
                           LIBUSB_ERROR_ACCESS,    LIBUSB_ERROR_NO_DEVICE,
                           LIBUSB_ERROR_NOT_FOUND, LIBUSB_ERROR_BUSY,
                           LIBUSB_ERROR_TIMEOUT,   LIBUSB_ERROR_OVERFLOW,
                           LIBUSB_ERROR_PIPE,      LIBUSB_ERROR_INTERRUPTED,
                           LIBUSB_ERROR_NO_MEM,    LIBUSB_ERROR_NOT_SUPPORTED,
                           LIBUSB_ERROR_OTHER,     -77};

/// What an operation answers when one of its calls fails. A request for a response that times out without a byte sent
/// never reached the device: a stall.
enum class Answers { Translation, TranslationButStallForTimeout, NotFound, Success };
using enum Answers;

/// One operation and the calls that it makes.
struct Step {
  ViStatus (*run)(QVvisa_usb_device_t*);
  std::vector<std::pair<Call, Answers>> calls;
};

ViByte gBuffer[16];
ViUInt16 gStatus;

using enum Call;
const Step kSteps[] = {
    {QVvisa_OpenHelperFindOpenDevUsb,
     {{List, Translation},
      {Device, Translation},
      {Config, Translation},
      {Open, NotFound},
      {AutoDetach, Success},
      {Claim, NotFound},
      {String, NotFound},
      {String, Translation},
      {String, Translation},
      {String, Translation},
      {Control, Translation}}},
    {[](auto* device) { return QVvisa_UsbWrite(device, gBuffer, 5, nullptr); }, {{Bulk, Translation}}},
    {[](auto* device) { return QVvisa_UsbRead(device, gBuffer, sizeof gBuffer, nullptr); },
     {{Bulk, TranslationButStallForTimeout}, {Bulk, Translation}}},
    {[](auto* device) { return QVvisa_UsbReadSTB(device, &gStatus); },
     {{Control, Translation}, {Interrupt, Translation}}},
    {QVvisa_UsbClear, {{Control, Translation}, {Control, Translation}}},
    {[](auto* device) { return QVvisa_UsbGpibControlREN(device, VI_GPIB_REN_ASSERT_LLO); },
     {{Control, Translation}, {Control, Translation}}}};

ViStatus expectedStatus(Answers answers, int error) {
  const bool isStall = answers == TranslationButStallForTimeout && error == LIBUSB_ERROR_TIMEOUT;
  return answers == Success    ? VI_SUCCESS
         : answers == NotFound ? VI_ERROR_RSRC_NFOUND
         : isStall             ? QVVI_ERR_CTL_TRANSFER_STALLED
                               : libusb2QVvisaStatus(error);
}

class UsbFailure : public UsbTest {
protected:
  UsbFailure() { bus.add(instrument()); }

  /// Runs a step on a session of its own, with the call at `failAt` failing.
  ViStatus run(const Step& step, size_t failAt, int error) {
    QVvisa_usb_device_t* device = open(kInstr);
    if (step.run == QVvisa_OpenHelperFindOpenDevUsb) QVvisa_closeLibUsbDev(&device->devHdl, device->usedIntf);
    bus.fail(failAt, error);
    return step.run(device);
  }
};

TEST_F(UsbFailure, EveryErrorAtEveryCall) {
  for (const Step& step : kSteps) {
    std::vector<Call> made;
    for (const auto& [call, answers] : step.calls) {
      made.push_back(call);
      for (const int error : kErrors) {
        EXPECT_EQ(run(step, made.size() - 1, error), expectedStatus(answers, error))
            << "step " << &step - kSteps << ", call " << made.size() << ", error " << error;
        bus.calls.resize(made.size());
        EXPECT_EQ(bus.calls, made);
      }
    }
    EXPECT_EQ(run(step, SIZE_MAX, 0), VI_SUCCESS);
    EXPECT_EQ(bus.calls, made);
  }
}

TEST_F(UsbFailure, ClosingAlwaysEnds) {
  for (size_t failing = 0; failing < 4; ++failing) {
    open(kInstr);
    bus.fail(failing, LIBUSB_ERROR_NO_DEVICE);
    close();
    EXPECT_EQ(bus.calls.back(), Close);
  }
}

TEST_F(UsbFailure, EachErrorHasAStatusOfItsOwn) {
  std::set<ViStatus> statuses{VI_SUCCESS};
  for (const int error : kErrors) EXPECT_TRUE(statuses.insert(libusb2QVvisaStatus(error)).second) << error;
  for (int result : {1, 12, -13, -98, -100, INT_MIN, INT_MAX}) {
    EXPECT_EQ(libusb2QVvisaStatus(result), VI_WARN_UNKNOWN_STATUS) << result;
  }
}

}  // namespace
