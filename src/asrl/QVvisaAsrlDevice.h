/// The record of one serial session, and the translation of the serial port library's status codes.
#pragma once

#include "QVlibserial.h"
#include "QVvisa.h"
#include "export.h"

extern "C" {

/// The one wire mode of VI_ATTR_ASRL_WIRE_MODE is VI_ASRL_WIRE_232_DTE. Break lengths are in milliseconds.
constexpr ViInt16 QVVISA_ASRL_BREAK_LEN_MIN = 1;
constexpr ViInt16 QVVISA_ASRL_BREAK_LEN_MAX = 500;
constexpr ViInt16 QVVISA_ASRL_BREAK_LEN_DEF = 250;

/// Both hardware handshakes at once, as a value of VI_ATTR_ASRL_FLOW_CNTRL.
constexpr ViUInt16 FLOW_DTRDSR_RTSCTS = VI_ASRL_FLOW_DTR_DSR | VI_ASRL_FLOW_RTS_CTS;

/// One serial session. An attribute lives here, in the port node's copy of the settings, or in the port itself. The
/// fields from `asrlTimo_ms` on can be set as attributes while another thread's operation reads them: go through
/// loadShared and storeShared. Those that go with a setting of the port, `asrlTimo_ms`, `termCharMask` and
/// `asrlFlowCtrl`, are set under the lock of the port node that keeps the two in step.
struct QVvisa_asrl_device_t {
  qvlsPort_t* asrlDev;       ///< the session's own port node, open; null before the open
  int comPort;               ///< port number from the resource name
  unsigned int asrlTimo_ms;  ///< VI_ATTR_TMO_VALUE as the caller set it; the port starts with limits of its own
  uint16_t asrlIoProt;
  ViBoolean termCharEna;
  ViBoolean suppressEndEna;
  ViBoolean sendEndEna;
  ViUInt8 termChar;
  ViUInt8 termCharMask;   ///< highest data bit of a character, kept in step with the data bits
  ViUInt32 asrlBaudrate;  ///< rate for the open
  ViUInt16 asrlFlowCtrl;
  ViUInt16 asrlEndIn;
  ViUInt16 asrlEndOut;
  ViUInt8 asrlReplChar;
  ViBoolean asrlDiscNul;
  ViInt16 asrlBreakLen;  ///< in ms; stored and reported, no break of a timed length is sent
};

/// A row of the status translation.
struct QVvisa_libserial2visaStatus_t {
  qv_status libserial_error;
  ViStatus visa;
};

/// The first row that fits counts; the row with VI_WARN_UNKNOWN_STATUS ends the table.
QVVISA_API extern const QVvisa_libserial2visaStatus_t glibserial2visaStatus[17];

/// @return the VISA status of a status of the serial port library; VI_WARN_UNKNOWN_STATUS for one without a row
QVVISA_API ViStatus libserial2QVvisaStatus(int err);
}
