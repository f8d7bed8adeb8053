/// @file
/// The SCPI instrument behind USBTMC 1.0 with the USB488 subclass.
#pragma once

#include "usbFunction.h"

namespace qvsim {

class UsbtmcFunction final : public UsbFunction {
public:
  /// Endpoint addresses, 0 where the interface has no such endpoint.
  struct Layout {
    uint8_t bulkIn = 0;
    uint8_t bulkOut = 0;
    uint8_t interruptIn = 0;
  };

  UsbtmcFunction(UsbPipes& pipes, ScpiInstrument& instrument, const Layout& layout);

  std::optional<Bytes> control(const UsbSetup& setup) override;
  void received(const Bytes& bytes, bool ended) override;
  void setResponseFilter(const ResponseFilter& filter) override { filter_ = filter; }
  RemoteState remoteState() const override { return remote_; }

private:
  struct OutTransfer {
    uint8_t tag = 0;
    size_t missing = 0;  ///< bytes of message still to come; 0: no transfer is in progress
    size_t moved = 0;
    bool endOfMessage = false;
  };
  struct InTransfer {
    uint8_t tag = 0;
    bool requested = false;
    bool answered = false;
    size_t moved = 0;
  };

  bool begin(const Bytes& header);
  void takeMessage(std::string_view part);
  void respond(const Bytes& request);
  void requestService();
  bool inTransferInProgress() const;

  Bytes initiateAbortBulkOut(uint8_t tag);
  Bytes checkAbortBulkOut() const;
  Bytes initiateAbortBulkIn(uint8_t tag);
  Bytes checkAbortBulkIn() const;
  Bytes initiateClear();
  Bytes checkClear() const;
  Bytes capabilities() const;
  Bytes readStatusByte(uint8_t tag);
  Bytes remoteEnable(bool on);
  Bytes goToLocal();
  Bytes localLockout();

  UsbPipes& pipes_;
  const Layout layout_;
  ScpiSession session_;
  ResponseFilter filter_;
  OutTransfer out_;
  InTransfer in_;
  RemoteState remote_;
  bool serviceRequested_ = false;
};

}  // namespace qvsim
