#include "DebugMalloc.h"
#include "QVlibserial.h"

#include <algorithm>

namespace {

struct CodeText {
  int code;
  const char* text;
};

constexpr CodeText kStatusTexts[] = {
    {QVLS_SUCCESS, "no error"},
    {QVLS_ERR_ALLOC, "failed to allocate memory"},
    {QVLS_ERR_INVAL_PARAM1, "given parameter 1 is wrong"},
    {QVLS_ERR_INVAL_PARAM2, "given parameter 2 is wrong"},
    {QVLS_ERR_INVAL_PARAM3, "given parameter 3 is wrong"},
    {QVLS_ERR_NFOUND, "failed to lookup an element of list, ring etc."},
    {QVLS_ERR_NINIT, "operation failed because something was not initialized"},
    {QVLS_ERR_SDI_GETCLASSDEVS, "error on call to SetupDiGetClassDevs()"},
    {QVLS_ERR_SDI_GETDINSTID, "error on call to SetupDiGetDeviceInstanceId()"},
    {QVLS_ERR_MISMATCH, "got mismatching information from setup api"},
    {QVLS_ERR_PORT_NOT_OPEN, "attempt to set/get data from/to a port that is not opened"},
    {QVLS_ERR_ASRL_PARAM_WRONG, "attempt to set wrong parameter to serial port"},
    {QVLS_ERR_PARAM_READ_ONLY, "attempt to set a read only parameter"},
    {QVLS_WRN_NO_ADMIN, "the requirement App. has to be run with administrator privileges is not met"},
    {QVLS_ERR_NYET_IMPL, "the requested feature is not yet implemented"},
    {QVLS_ERR_WINDOWS, "Unknown error caused by system call"},
};

constexpr CodeText kParityTexts[] = {
    {NOPARITY, "no parity"},     {ODDPARITY, "odd parity"},     {EVENPARITY, "even parity"},
    {MARKPARITY, "mark parity"}, {SPACEPARITY, "space parity"},
};

constexpr CodeText kStopBitsTexts[] = {
    {ONESTOPBIT, "1 stop bit"},
    {ONE5STOPBITS, "1.5 stop bits"},
    {TWOSTOPBITS, "2 stop bits"},
};

constexpr CodeText kRtsTexts[] = {
    {RTS_CONTROL_DISABLE, "RTS disabled, fixed to low"},
    {RTS_CONTROL_ENABLE, "RTS enabled, fixed to high"},
    {RTS_CONTROL_HANDSHAKE, "RTS handshake enabled (auto)"},
    {RTS_CONTROL_TOGGLE, "RTS enabled while sending"},
};

constexpr CodeText kDtrTexts[] = {
    {DTR_CONTROL_DISABLE, "DTR line low"},
    {DTR_CONTROL_ENABLE, "DTR line high"},
    {DTR_CONTROL_HANDSHAKE, "DTR handshake enabled"},
};

/// The text of the code's row, or the one for a code without a row.
template <size_t rows>
const char* lookUp(const CodeText (&table)[rows], int code, const char* otherwise) {
  const auto* const row = std::find_if(table, table + rows, [code](const CodeText& r) { return r.code == code; });
  return row == table + rows ? otherwise : row->text;
}

}  // namespace

const char* qvls_GetErrMsg(const qvlsPort_t* pNode, qv_status tErr) {
  if (tErr == QVLS_ERR_WINDOWS && pNode) return pNode->wErrBuf;
  return lookUp(kStatusTexts, tErr, "unkown libserial error");
}

const char* qvls_welcome() {
  return QVLS_WELCOME_STRING;
}

void qvls_print_debug_malloc_list() {
  debug_mem_list();
}

const char* qvls_HelperPrintParity(int parity) {
  return lookUp(kParityTexts, parity, "wrony parity code");
}

const char* qvls_HelperStopBits(int stopBits) {
  return lookUp(kStopBitsTexts, stopBits, "wrony stop bits code");
}

const char* qvls_HelperRtsControl(int fRtsControl) {
  return lookUp(kRtsTexts, fRtsControl, "wrony RTS control code");
}

const char* qvls_HelperDtrControl(int fDtrControl) {
  return lookUp(kDtrTexts, fDtrControl, "wrony DTR control code");
}

const char* qvls_HelperCtsFlow(int fOutCtsFlow) {
  return fOutCtsFlow ? "CTS handshake enabled" : "CTS handshake disabled";
}

const char* qvls_HelperDrsFlow(int fOutDrsFlow) {
  return fOutDrsFlow ? "DRS handshake enabled" : "DRS handshake disabled";
}
