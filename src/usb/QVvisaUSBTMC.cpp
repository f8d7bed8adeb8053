#include "QVvisaUSBTMC.h"

#include "QVvisaLock.h"
#include "osAbstraction.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace {

constexpr uint8_t kEndOfMessage = 0x01;
constexpr uint8_t kRequestTypeEndpoint = 0x02;
constexpr uint8_t kRequestClearFeature = 1;
constexpr uint16_t kFeatureEndpointHalt = 0;

constexpr int kAbortAttempts = 5;
constexpr unsigned int kAbortDelayMs = 200;
/// Ends the drain of a device that never runs dry.
constexpr int kMaxDrainTransfers = 1024;

unsigned char mybTag = 1;
unsigned char mybSTBTag = 2;

unsigned char nextTag(unsigned char& counter, unsigned char first, unsigned char last) {
  const CoreLock lock;
  const unsigned char tag = counter;
  counter = tag == last ? first : static_cast<unsigned char>(tag + 1);
  return tag;
}

void writeHeader(unsigned char* header, uint8_t msgId, ViUInt32 transferSize, uint8_t attributes) {
  const unsigned char tag = QVvisa_GetNextbTag();
  const unsigned char bytes[QVVISA_BULKOUT_HEADERSIZE] = {
      msgId,
      tag,
      static_cast<unsigned char>(~tag),
      0,
      static_cast<unsigned char>(transferSize),
      static_cast<unsigned char>(transferSize >> 8),
      static_cast<unsigned char>(transferSize >> 16),
      static_cast<unsigned char>(transferSize >> 24),
      attributes,
  };
  memcpy(header, bytes, sizeof bytes);
}

ViUInt32 transferSizeOf(const unsigned char* header) {
  return static_cast<ViUInt32>(header[4]) | static_cast<ViUInt32>(header[5]) << 8 |
         static_cast<ViUInt32>(header[6]) << 16 | static_cast<ViUInt32>(header[7]) << 24;
}

struct BulkResult {
  int result;
  ViUInt32 transferred;

  /// Whether `transferred` says how far the transfer came.
  bool counts() const { return result == LIBUSB_SUCCESS || result == LIBUSB_ERROR_TIMEOUT; }
};

BulkResult bulkTransfer(QVvisa_usb_device_t& device, uint8_t endpoint, unsigned char* data, ViUInt32 length) {
  int transferred = 0;
  const int result = libusb_bulk_transfer(device.devHdl, endpoint, data, static_cast<int>(length), &transferred,
                                          loadShared(device.usbTimo_ms));
  return {result, static_cast<ViUInt32>(transferred)};
}

ViStatus rawTransfer(QVvisa_usb_device_t& device, uint8_t endpoint, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  const BulkResult transfer = bulkTransfer(device, endpoint, buf, cnt);
  if (transfer.counts() && retCnt) *retCnt = transfer.transferred;
  return libusb2QVvisaStatus(transfer.result);
}

ViStatus writeMessage(QVvisa_usb_device_t& device, uint8_t endpoint, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  unsigned char tmcBuf[QVVISA_BULKOUT_BUFSIZE];
  ViUInt32 tmcBufLen = sizeof tmcBuf;
  const ViStatus status = QVvisa_GenerateTMCBulkOutBuffer(buf, cnt, tmcBuf, &tmcBufLen);
  if (status != VI_SUCCESS) return status;

  const BulkResult transfer = bulkTransfer(device, endpoint, tmcBuf, tmcBufLen);
  if (transfer.counts() && retCnt) {
    const ViUInt32 header = std::min(transfer.transferred, QVVISA_BULKOUT_HEADERSIZE);
    *retCnt = std::min(transfer.transferred - header, cnt);
  }
  return libusb2QVvisaStatus(transfer.result);
}

/// Sends the header that asks for a response. A time-out that lost a part of it counts as a stall, since the device
/// can't know the request.
ViStatus sendRequest(QVvisa_usb_device_t& device, uint8_t endpoint, unsigned char* request) {
  const BulkResult transfer = bulkTransfer(device, endpoint, request, QVVISA_BULKOUT_HEADERSIZE);
  const bool incomplete = transfer.counts() && transfer.transferred != QVVISA_BULKOUT_HEADERSIZE;
  return libusb2QVvisaStatus(incomplete ? LIBUSB_ERROR_PIPE : transfer.result);
}

void drain(QVvisa_usb_device_t& device, uint8_t endpoint, unsigned char* buffer) {
  for (int i = 0; i < kMaxDrainTransfers; ++i) {
    const BulkResult transfer = bulkTransfer(device, endpoint, buffer, bulkInBufSize);
    if (transfer.result != LIBUSB_SUCCESS || transfer.transferred != bulkInBufSize) return;
  }
}

ViStatus abortResponse(QVvisa_usb_device_t& device, uint8_t tag, uint8_t outEndpoint, uint8_t inEndpoint,
                       unsigned char* buffer) {
  ViStatus status = QVvisa_InitiateAbortBulkIn(&device, tag);
  if (status != VI_SUCCESS) return status;
  drain(device, inEndpoint, buffer);
  status = QVvisa_CheckAbortBulkIn(&device);
  if (status != VI_SUCCESS) return status;
  QVvisa_HaltEndpoint(&device, outEndpoint);
  return VI_ERROR_TMO;
}

bool answersRequest(const unsigned char* response, ViUInt32 length, const unsigned char* request) {
  return length >= QVVISA_BULKOUT_HEADERSIZE && memcmp(response, request, 4) == 0 &&
         (response[8] & kEndOfMessage) != 0 && response[9] == 0 && response[10] == 0 && response[11] == 0;
}

/// Receives a response into `response`, which has room for both transfers. `*length` becomes that of its payload.
///
/// Some instruments end the first transfer before the payload is complete, which the protocol doesn't allow. A second
/// transfer takes the rest, exactly; it also serves responses that exceed the first transfer's buffer.
ViStatus receiveResponse(QVvisa_usb_device_t& device, uint8_t endpoint, const unsigned char* request,
                         const BulkResult& first, unsigned char* response, ViUInt32* length) {
  if (!answersRequest(response, first.transferred, request)) return VI_ERROR_IO;
  const ViUInt32 tmcTransferSize = transferSizeOf(response);
  const ViUInt32 received = first.transferred - QVVISA_BULKOUT_HEADERSIZE;
  if (received < tmcTransferSize) {
    unsigned char* bulkInBufPart2 = response + first.transferred;
    const BulkResult second = bulkTransfer(device, endpoint, bulkInBufPart2, bulkInSecondBufSize);
    if (second.result != LIBUSB_SUCCESS || received + second.transferred != tmcTransferSize) return VI_ERROR_IO;
  }
  *length = tmcTransferSize;
  return VI_SUCCESS;
}

ViStatus readMessage(QVvisa_usb_device_t& device, uint8_t outEndpoint, uint8_t inEndpoint, ViPBuf buf, ViUInt32 cnt,
                     ViPUInt32 retCnt) {
  unsigned char bulkInPrepBuf[QVVISA_BULKOUT_HEADERSIZE];
  QVvisa_GenerateTMCBulkInPrepBuffer(bulkInPrepBuf, cnt);
  ViStatus status = sendRequest(device, outEndpoint, bulkInPrepBuf);
  if (status != VI_SUCCESS) return status;

  // Zeroed, for a session whose Bulk-IN endpoint was set to an OUT address would send what it holds.
  unsigned char bulkInBuf[bulkInBufSize + bulkInSecondBufSize] = {};
  const BulkResult first = bulkTransfer(device, inEndpoint, bulkInBuf, bulkInBufSize);
  if (first.result == LIBUSB_ERROR_TIMEOUT) {
    return abortResponse(device, bulkInPrepBuf[1], outEndpoint, inEndpoint, bulkInBuf);
  }
  if (first.result != LIBUSB_SUCCESS) return libusb2QVvisaStatus(first.result);

  ViUInt32 length = 0;
  status = receiveResponse(device, inEndpoint, bulkInPrepBuf, first, bulkInBuf, &length);
  if (status != VI_SUCCESS) return status;
  if (length == 0 || length > cnt) return VI_ERROR_IO;
  memcpy(buf, bulkInBuf + QVVISA_BULKOUT_HEADERSIZE, length);
  if (retCnt) *retCnt = length;
  return VI_SUCCESS;
}

/// What a device's answer means to the loop that asks for it.
enum class Answer { Done, Again, Refused };

/// Repeats an abort request while its answer says so.
ViStatus askUntilDone(QVvisa_usb_device_t& device, uint8_t request, uint16_t value, unsigned length,
                      Answer (*judge)(uint8_t status)) {
  const QVvisa_endpDesc_t* endpoint = usbEndpoint(device, &QVvisa_usb_device_t::usedBulkInEP);
  if (!endpoint) return VI_ERROR_INV_ACC_MODE;
  for (int attempt = 0; attempt < kAbortAttempts; ++attempt) {
    unsigned char answer[8] = {};
    const int result = usbControl(device, USBTMC_REQTYPE_FOR_USBTMC_ABORT, request, value, endpoint->bEndpointAddress,
                                  {answer, length});
    if (result <= 0) return libusb2QVvisaStatus(result);
    const Answer verdict = judge(answer[0]);
    if (verdict != Answer::Again) return verdict == Answer::Done ? VI_SUCCESS : VI_ERROR_INV_MODE;
    OS_delayMs(kAbortDelayMs);
  }
  return VI_ERROR_RESP_PENDING;
}

}  // namespace

unsigned char QVvisa_GetNextbTag(void) {
  return nextTag(mybTag, 1, 255);
}

unsigned char QVvisa_GetNextSTBbTag(void) {
  // The range that USB488 gives READ_STATUS_BYTE.
  return nextTag(mybSTBTag, 2, 127);
}

ViStatus QVvisa_GenerateTMCBulkOutBuffer(unsigned char* msgIn, ViUInt32 msgLen, unsigned char* bulkBuf,
                                         ViUInt32* bulkBufLen) {
  if (!msgIn || !bulkBuf || !bulkBufLen) return VI_ERROR_INV_OBJECT;
  const ViUInt64 padded = (ViUInt64{msgLen} + 3) / 4 * 4;
  if (padded + QVVISA_BULKOUT_HEADERSIZE > *bulkBufLen) return VI_ERROR_INV_LENGTH;
  memcpy(bulkBuf + QVVISA_BULKOUT_HEADERSIZE, msgIn, msgLen);
  memset(bulkBuf + QVVISA_BULKOUT_HEADERSIZE + msgLen, 0, static_cast<size_t>(padded - msgLen));
  *bulkBufLen = static_cast<ViUInt32>(padded) + QVVISA_BULKOUT_HEADERSIZE;
  writeHeader(bulkBuf, USBTMC_MSGID_DEV_DEP_MSG_OUT, msgLen, kEndOfMessage);
  return VI_SUCCESS;
}

ViStatus QVvisa_GenerateTMCBulkInPrepBuffer(unsigned char* bulkBuf, ViUInt32 msgLen) {
  if (!bulkBuf) return VI_ERROR_INV_OBJECT;
  writeHeader(bulkBuf, USBTMC_MSGID_REQUEST_DEV_DEP_MSG_IN, msgLen, 0);
  return VI_SUCCESS;
}

ViStatus QVvisa_UsbWrite(QVvisa_usb_device_t* pUsbDev, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  const QVvisa_endpDesc_t* out = usbEndpoint(*pUsbDev, &QVvisa_usb_device_t::usedBulkOutEP);
  if (!out) return VI_ERROR_INV_ACC_MODE;
  if (!buf && cnt > 0) return VI_ERROR_INV_OBJECT;
  if (pUsbDev->isTMC) return writeMessage(*pUsbDev, out->bEndpointAddress, buf, cnt, retCnt);
  // libusb counts in int.
  if (cnt > INT_MAX) return VI_ERROR_INV_LENGTH;
  return rawTransfer(*pUsbDev, out->bEndpointAddress, buf, cnt, retCnt);
}

ViStatus QVvisa_UsbRead(QVvisa_usb_device_t* pUsbDev, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  const QVvisa_endpDesc_t* in = usbEndpoint(*pUsbDev, &QVvisa_usb_device_t::usedBulkInEP);
  const QVvisa_endpDesc_t* out = usbEndpoint(*pUsbDev, &QVvisa_usb_device_t::usedBulkOutEP);
  if (!in || (pUsbDev->isTMC && !out)) return VI_ERROR_INV_ACC_MODE;
  if (!buf && cnt > 0) return VI_ERROR_INV_OBJECT;
  if (pUsbDev->isTMC) {
    return readMessage(*pUsbDev, out->bEndpointAddress, in->bEndpointAddress, buf, cnt, retCnt);
  }
  return rawTransfer(*pUsbDev, in->bEndpointAddress, buf, std::min(cnt, ViUInt32{INT_MAX}), retCnt);
}

ViStatus QVvisa_InitiateAbortBulkIn(QVvisa_usb_device_t* pUsbDev, uint8_t btagOfRequestToAbort) {
  return askUntilDone(*pUsbDev, USBTMC_REQ_INITIATE_ABORT_BULK_IN, btagOfRequestToAbort, 2, [](uint8_t status) {
    if (status == USBTMC_STATUS_SUCCESS) return Answer::Done;
    return status == USBTMC_STATUS_TRANSF_NOT_IN_PROG ? Answer::Again : Answer::Refused;
  });
}

ViStatus QVvisa_CheckAbortBulkIn(QVvisa_usb_device_t* pUsbDev) {
  return askUntilDone(*pUsbDev, USBTMC_REQ_CHECK_ABORT_BULK_IN_STATUS, 0, 8,
                      [](uint8_t status) { return status == USBTMC_STATUS_PENDING ? Answer::Again : Answer::Done; });
}

ViStatus QVvisa_HaltEndpoint(QVvisa_usb_device_t* pUsbDev, uint8_t endpointNr) {
  return libusb2QVvisaStatus(
      usbControl(*pUsbDev, kRequestTypeEndpoint, kRequestClearFeature, kFeatureEndpointHalt, endpointNr, {}));
}
