#include "QVvisaLibusb.h"

#include "descriptor.h"

libusb_context* QVlibusbCtx = nullptr;

const QVvisa_libusb2visaStatus_t glibusb2visaStatus[15] = {
    {LIBUSB_SUCCESS, VI_SUCCESS},
    {LIBUSB_ERROR_IO, VI_ERROR_IO},
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
    {LIBUSB_SUCCESS, VI_WARN_UNKNOWN_STATUS},
};

ViStatus libusb2QVvisaStatus(int err) {
  const QVvisa_libusb2visaStatus_t* row = glibusb2visaStatus;
  while (row->libusb_error != err && row->visa != VI_WARN_UNKNOWN_STATUS) ++row;
  return row->visa;
}

ViStatus QVvisa_initLibUsb(libusb_context** context) {
  const StandardStreamsTaken streams;
  return libusb2QVvisaStatus(libusb_init(context));
}

libusb_device_handle* QVvisa_openLibUsbDev(libusb_device* device) {
  const StandardStreamsTaken streams;
  libusb_device_handle* handle = nullptr;
  return libusb_open(device, &handle) == LIBUSB_SUCCESS ? handle : nullptr;
}

void QVvisa_closeLibUsbDev(libusb_device_handle** ppdevHdl, int usedIntf) {
  if (!ppdevHdl || !*ppdevHdl) return;
  if (usedIntf >= 0) libusb_release_interface(*ppdevHdl, usedIntf);
  libusb_close(*ppdevHdl);
  *ppdevHdl = nullptr;
}
