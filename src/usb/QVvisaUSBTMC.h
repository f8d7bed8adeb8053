/// Message transfer of USB sessions: the USBTMC bulk protocol, or plain bulk transfers on a raw session.
///
/// One write is one bulk transfer, one read is one request and one response, and a session carries nothing from one
/// call to the next: no message is split or assembled, and neither the termination character nor the end attributes
/// reach the wire. Nothing here allocates; no lock is held but for drawing a tag. `pUsbDev` is an open session and
/// isn't null.
#pragma once

#include "QVvisaUSBDevice.h"

extern "C" {

/// Bulk headers, USBTMC 1.0 section 3.2: their length and message IDs.
constexpr ViUInt32 QVVISA_BULKOUT_HEADERSIZE = 12;
constexpr uint8_t USBTMC_MSGID_DEV_DEP_MSG_OUT = 1;
constexpr uint8_t USBTMC_MSGID_REQUEST_DEV_DEP_MSG_IN = 2;

/// The transfer buffer of a write: limits header, message and padding together.
constexpr ViUInt32 QVVISA_BULKOUT_BUFSIZE = 4096;

/// The lengths of a read's first Bulk-IN transfer and of its second.
constexpr ViUInt32 bulkInBufSize = 2048;
constexpr ViUInt32 bulkInSecondBufSize = 1024;

/// Requests to the endpoint, USBTMC 1.0 section 4.2.1.
constexpr uint8_t USBTMC_REQTYPE_FOR_USBTMC_ABORT = 0xA2;
constexpr uint8_t USBTMC_REQ_INITIATE_ABORT_BULK_IN = 3;
constexpr uint8_t USBTMC_REQ_CHECK_ABORT_BULK_IN_STATUS = 4;

/// First byte of an answer to a USBTMC request, USBTMC 1.0 section 4.2.1.
constexpr uint8_t USBTMC_STATUS_SUCCESS = 0x01;
constexpr uint8_t USBTMC_STATUS_PENDING = 0x02;
constexpr uint8_t USBTMC_STATUS_FAILED = 0x80;
constexpr uint8_t USBTMC_STATUS_TRANSF_NOT_IN_PROG = 0x81;

/// The next tag of a bulk header: 1 to 255, then 1 again. One sequence for all sessions, for the life of the process.
QVVISA_API unsigned char QVvisa_GetNextbTag(void);

/// The next tag of a READ_STATUS_BYTE request: 2 to 127, then 2 again. One sequence for all sessions.
QVVISA_API unsigned char QVvisa_GetNextSTBbTag(void);

/// Builds a DEV_DEP_MSG_OUT transfer: header, message, zero bytes up to a multiple of 4. Draws a tag on success only.
/// @param msgIn       the message; not null, not even with `msgLen` 0
/// @param msgLen      its length in bytes
/// @param bulkBuf     receives the transfer
/// @param bulkBufLen  in: size of `bulkBuf` in bytes; out, on success: length of the transfer
/// @retval VI_SUCCESS          built
/// @retval VI_ERROR_INV_OBJECT a null pointer
/// @retval VI_ERROR_INV_LENGTH the transfer doesn't fit; nothing is written
QVVISA_API ViStatus QVvisa_GenerateTMCBulkOutBuffer(unsigned char* msgIn, ViUInt32 msgLen, unsigned char* bulkBuf,
                                                    ViUInt32* bulkBufLen);

/// Builds the REQUEST_DEV_DEP_MSG_IN header of QVVISA_BULKOUT_HEADERSIZE bytes for a response of up to `msgLen` bytes.
/// @retval VI_SUCCESS          built
/// @retval VI_ERROR_INV_OBJECT null `bulkBuf`
QVVISA_API ViStatus QVvisa_GenerateTMCBulkInPrepBuffer(unsigned char* bulkBuf, ViUInt32 msgLen);

/// Writes one message of at most 4084 bytes, or, on a raw session, one bulk transfer.
/// @param retCnt  receives the bytes of `buf` that went out, on success and on a time-out; may be null
/// @retval VI_SUCCESS            sent
/// @retval VI_ERROR_INV_ACC_MODE the session has no Bulk-OUT endpoint
/// @retval VI_ERROR_INV_OBJECT   null `buf`, but for a raw transfer of 0 bytes
/// @retval VI_ERROR_INV_LENGTH   too long; nothing was sent
/// @return Otherwise the translated failure of libusb.
QVVISA_API ViStatus QVvisa_UsbWrite(QVvisa_usb_device_t* pUsbDev, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt);

/// Reads one complete response of at most `cnt` and 3060 bytes, or, on a raw session, one bulk transfer. A USBTMC read
/// that times out waiting for its response makes the device drop it.
/// @param retCnt  receives the number of bytes delivered, on success and on a raw time-out; may be null
/// @retval VI_SUCCESS                    delivered
/// @retval VI_ERROR_INV_ACC_MODE         the session lacks an endpoint
/// @retval VI_ERROR_INV_OBJECT           null `buf` with `cnt` above 0
/// @retval VI_ERROR_TMO                  no response in time; on a raw session `*retCnt` bytes arrived before
/// @retval VI_ERROR_IO                   the response isn't one to this request, isn't complete, or exceeds `cnt`
/// @retval VI_ERROR_RESP_PENDING         the device didn't finish dropping the response
/// @retval VI_ERROR_INV_MODE             the device refused to drop the response
/// @retval QVVI_ERR_CTL_TRANSFER_STALLED the request went out incomplete, or the device stalled
/// @return Otherwise the translated failure of libusb.
QVVISA_API ViStatus QVvisa_UsbRead(QVvisa_usb_device_t* pUsbDev, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt);

/// Asks the device to drop the response to the request with this tag, up to five times, 200 ms apart, while it says
/// that no transfer is in progress yet.
/// @retval VI_SUCCESS            dropped, or an empty answer
/// @retval VI_ERROR_INV_ACC_MODE the session has no Bulk-IN endpoint
/// @retval VI_ERROR_RESP_PENDING still no transfer in progress
/// @retval VI_ERROR_INV_MODE     refused
/// @return Otherwise the translated failure of libusb.
QVVISA_API ViStatus QVvisa_InitiateAbortBulkIn(QVvisa_usb_device_t* pUsbDev, uint8_t btagOfRequestToAbort);

/// Waits for the end of the abort, with up to five questions 200 ms apart.
/// @retval VI_SUCCESS            ended, with whatever result, or an empty answer
/// @retval VI_ERROR_INV_ACC_MODE the session has no Bulk-IN endpoint
/// @retval VI_ERROR_RESP_PENDING still pending
/// @return Otherwise the translated failure of libusb.
QVVISA_API ViStatus QVvisa_CheckAbortBulkIn(QVvisa_usb_device_t* pUsbDev);

/// Clears the halt of the endpoint with this address by a plain control request; the host's data toggle stays.
/// @return the translated result of libusb
QVVISA_API ViStatus QVvisa_HaltEndpoint(QVvisa_usb_device_t* pUsbDev, uint8_t endpointNr);
}
