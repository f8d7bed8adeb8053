/// Every libusb error at every call of a session: the right status, and nothing left behind.
#include "libusbDouble.h"

#include <climits>

namespace {

constexpr std::pair<int, ViStatus> kErrors[] = {{LIBUSB_ERROR_IO, VI_ERROR_IO},
                                                {LIBUSB_ERROR_INVALID_PARAM, VI_ERROR_INV_PARAMETER},
                                                {LIBUSB_ERROR_ACCESS, VI_ERROR_NPERMISSION},
                                                {LIBUSB_ERROR_NO_DEVICE, VI_SUCCESS_DEV_NPRESENT},
                                                {LIBUSB_ERROR_NOT_FOUND, VI_ERROR_RSRC_NFOUND},
                                                {LIBUSB_ERROR_BUSY, VI_ERROR_RSRC_BUSY},
                                                {LIBUSB_ERROR_TIMEOUT, VI_ERROR_TMO},
                                                {LIBUSB_ERROR_OVERFLOW, VI_ERROR_QUEUE_OVERFLOW},
                                                {LIBUSB_ERROR_PIPE, QVVI_ERR_CTL_TRANSFER_STALLED},
                                                {LIBUSB_ERROR_INTERRUPTED, QVVI_LIBUSB_INTERRUPTED},
                                                {LIBUSB_ERROR_NO_MEM, VI_ERROR_ALLOC},
                                                {LIBUSB_ERROR_NOT_SUPPORTED, VI_ERROR_NSUP_MODE},
                                                {LIBUSB_ERROR_OTHER, VI_ERROR_SYSTEM_ERROR},
                                                {-77, VI_WARN_UNKNOWN_STATUS}};

/// One operation, the calls that it makes, and its status when one of them fails: the error's translation (t), not
/// found (n) or success all the same (s). A request for a response (r) that times out without a byte sent never reached
/// the device: a stall.
struct Step {
  ViStatus (*run)(QVvisa_usb_device_t*);
  std::vector<Call> calls;
  const char* statuses;
};

ViByte gBuffer[16];
ViUInt16 gStatus;

using enum Call;
const Step kSteps[] = {
    {QVvisa_OpenHelperFindOpenDevUsb,
     {List, Device, Config, Open, AutoDetach, Claim, String, String, String, String, Control},
     "tttnsnntttt"},
    {[](auto* device) { return QVvisa_UsbWrite(device, gBuffer, 5, nullptr); }, {Bulk}, "t"},
    {[](auto* device) { return QVvisa_UsbRead(device, gBuffer, sizeof gBuffer, nullptr); }, {Bulk, Bulk}, "rt"},
    {[](auto* device) { return QVvisa_UsbReadSTB(device, &gStatus); }, {Control, Interrupt}, "tt"},
    {QVvisa_UsbClear, {Control, Control}, "tt"},
    {[](auto* device) { return QVvisa_UsbGpibControlREN(device, VI_GPIB_REN_ASSERT_LLO); }, {Control, Control}, "tt"}};

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
    ASSERT_EQ(run(step, SIZE_MAX, 0), VI_SUCCESS);
    ASSERT_EQ(bus.calls, step.calls);
    for (size_t i = 0; i < step.calls.size(); ++i) {
      for (const auto& [error, translated] : kErrors) {
        const char rule = step.statuses[i];
        ViStatus expected = rule == 's' ? VI_SUCCESS : rule == 'n' ? VI_ERROR_RSRC_NFOUND : translated;
        if (rule == 'r' && error == LIBUSB_ERROR_TIMEOUT) expected = QVVI_ERR_CTL_TRANSFER_STALLED;
        EXPECT_EQ(run(step, i, error), expected) << "step " << &step - kSteps << ", call " << i << ", error " << error;
        EXPECT_TRUE(std::equal(bus.calls.begin(), bus.calls.begin() + 1 + static_cast<int>(i), step.calls.begin()));
      }
    }
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

TEST_F(UsbFailure, ResultsThatLibusbDoesntName) {
  for (int result : {1, 12, -13, -98, -100, INT_MIN, INT_MAX}) {
    EXPECT_EQ(libusb2QVvisaStatus(result), VI_WARN_UNKNOWN_STATUS) << result;
  }
}

}  // namespace
