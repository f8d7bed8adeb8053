#include "names.h"

#include "text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

namespace {

constexpr NamedValue kStatuses[] = {
    {VI_SUCCESS, "VI_SUCCESS"},
    {VI_SUCCESS_EVENT_EN, "VI_SUCCESS_EVENT_EN"},
    {VI_SUCCESS_EVENT_DIS, "VI_SUCCESS_EVENT_DIS"},
    {VI_SUCCESS_QUEUE_EMPTY, "VI_SUCCESS_QUEUE_EMPTY"},
    {VI_SUCCESS_TERM_CHAR, "VI_SUCCESS_TERM_CHAR"},
    {VI_SUCCESS_MAX_CNT, "VI_SUCCESS_MAX_CNT"},
    {VI_WARN_QUEUE_OVERFLOW, "VI_WARN_QUEUE_OVERFLOW"},
    {VI_WARN_CONFIG_NLOADED, "VI_WARN_CONFIG_NLOADED"},
    {VI_SUCCESS_DEV_NPRESENT, "VI_SUCCESS_DEV_NPRESENT"},
    {VI_SUCCESS_TRIG_MAPPED, "VI_SUCCESS_TRIG_MAPPED"},
    {VI_SUCCESS_QUEUE_NEMPTY, "VI_SUCCESS_QUEUE_NEMPTY"},
    {VI_WARN_NULL_OBJECT, "VI_WARN_NULL_OBJECT"},
    {VI_WARN_NSUP_ATTR_STATE, "VI_WARN_NSUP_ATTR_STATE"},
    {VI_WARN_UNKNOWN_STATUS, "VI_WARN_UNKNOWN_STATUS"},
    {VI_WARN_NSUP_BUF, "VI_WARN_NSUP_BUF"},
    {VI_SUCCESS_NCHAIN, "VI_SUCCESS_NCHAIN"},
    {VI_SUCCESS_NESTED_SHARED, "VI_SUCCESS_NESTED_SHARED"},
    {VI_SUCCESS_NESTED_EXCLUSIVE, "VI_SUCCESS_NESTED_EXCLUSIVE"},
    {VI_SUCCESS_SYNC, "VI_SUCCESS_SYNC"},
    {VI_WARN_EXT_FUNC_NIMPL, "VI_WARN_EXT_FUNC_NIMPL"},
    {VI_ERROR_SYSTEM_ERROR, "VI_ERROR_SYSTEM_ERROR"},
    {VI_ERROR_INV_OBJECT, "VI_ERROR_INV_OBJECT"},
    {VI_ERROR_RSRC_LOCKED, "VI_ERROR_RSRC_LOCKED"},
    {VI_ERROR_INV_EXPR, "VI_ERROR_INV_EXPR"},
    {VI_ERROR_RSRC_NFOUND, "VI_ERROR_RSRC_NFOUND"},
    {VI_ERROR_INV_RSRC_NAME, "VI_ERROR_INV_RSRC_NAME"},
    {VI_ERROR_INV_ACC_MODE, "VI_ERROR_INV_ACC_MODE"},
    {VI_ERROR_TMO, "VI_ERROR_TMO"},
    {VI_ERROR_CLOSING_FAILED, "VI_ERROR_CLOSING_FAILED"},
    {VI_ERROR_INV_DEGREE, "VI_ERROR_INV_DEGREE"},
    {VI_ERROR_INV_JOB_ID, "VI_ERROR_INV_JOB_ID"},
    {VI_ERROR_NSUP_ATTR, "VI_ERROR_NSUP_ATTR"},
    {VI_ERROR_NSUP_ATTR_STATE, "VI_ERROR_NSUP_ATTR_STATE"},
    {VI_ERROR_ATTR_READONLY, "VI_ERROR_ATTR_READONLY"},
    {VI_ERROR_INV_LOCK_TYPE, "VI_ERROR_INV_LOCK_TYPE"},
    {VI_ERROR_INV_ACCESS_KEY, "VI_ERROR_INV_ACCESS_KEY"},
    {VI_ERROR_INV_EVENT, "VI_ERROR_INV_EVENT"},
    {VI_ERROR_INV_MECH, "VI_ERROR_INV_MECH"},
    {VI_ERROR_HNDLR_NINSTALLED, "VI_ERROR_HNDLR_NINSTALLED"},
    {VI_ERROR_INV_HNDLR_REF, "VI_ERROR_INV_HNDLR_REF"},
    {VI_ERROR_INV_CONTEXT, "VI_ERROR_INV_CONTEXT"},
    {VI_ERROR_QUEUE_OVERFLOW, "VI_ERROR_QUEUE_OVERFLOW"},
    {VI_ERROR_NENABLED, "VI_ERROR_NENABLED"},
    {VI_ERROR_ABORT, "VI_ERROR_ABORT"},
    {VI_ERROR_RAW_WR_PROT_VIOL, "VI_ERROR_RAW_WR_PROT_VIOL"},
    {VI_ERROR_RAW_RD_PROT_VIOL, "VI_ERROR_RAW_RD_PROT_VIOL"},
    {VI_ERROR_OUTP_PROT_VIOL, "VI_ERROR_OUTP_PROT_VIOL"},
    {VI_ERROR_INP_PROT_VIOL, "VI_ERROR_INP_PROT_VIOL"},
    {VI_ERROR_BERR, "VI_ERROR_BERR"},
    {VI_ERROR_IN_PROGRESS, "VI_ERROR_IN_PROGRESS"},
    {VI_ERROR_INV_SETUP, "VI_ERROR_INV_SETUP"},
    {VI_ERROR_QUEUE_ERROR, "VI_ERROR_QUEUE_ERROR"},
    {VI_ERROR_ALLOC, "VI_ERROR_ALLOC"},
    {VI_ERROR_INV_MASK, "VI_ERROR_INV_MASK"},
    {VI_ERROR_IO, "VI_ERROR_IO"},
    {VI_ERROR_INV_FMT, "VI_ERROR_INV_FMT"},
    {VI_ERROR_NSUP_FMT, "VI_ERROR_NSUP_FMT"},
    {VI_ERROR_LINE_IN_USE, "VI_ERROR_LINE_IN_USE"},
    {VI_ERROR_LINE_NRESERVED, "VI_ERROR_LINE_NRESERVED"},
    {VI_ERROR_NSUP_MODE, "VI_ERROR_NSUP_MODE"},
    {VI_ERROR_SRQ_NOCCURRED, "VI_ERROR_SRQ_NOCCURRED"},
    {VI_ERROR_INV_SPACE, "VI_ERROR_INV_SPACE"},
    {VI_ERROR_INV_OFFSET, "VI_ERROR_INV_OFFSET"},
    {VI_ERROR_INV_WIDTH, "VI_ERROR_INV_WIDTH"},
    {VI_ERROR_NSUP_OFFSET, "VI_ERROR_NSUP_OFFSET"},
    {VI_ERROR_NSUP_VAR_WIDTH, "VI_ERROR_NSUP_VAR_WIDTH"},
    {VI_ERROR_WINDOW_NMAPPED, "VI_ERROR_WINDOW_NMAPPED"},
    {VI_ERROR_RESP_PENDING, "VI_ERROR_RESP_PENDING"},
    {VI_ERROR_NLISTENERS, "VI_ERROR_NLISTENERS"},
    {VI_ERROR_NCIC, "VI_ERROR_NCIC"},
    {VI_ERROR_NSYS_CNTLR, "VI_ERROR_NSYS_CNTLR"},
    {VI_ERROR_NSUP_OPER, "VI_ERROR_NSUP_OPER"},
    {VI_ERROR_INTR_PENDING, "VI_ERROR_INTR_PENDING"},
    {VI_ERROR_ASRL_PARITY, "VI_ERROR_ASRL_PARITY"},
    {VI_ERROR_ASRL_FRAMING, "VI_ERROR_ASRL_FRAMING"},
    {VI_ERROR_ASRL_OVERRUN, "VI_ERROR_ASRL_OVERRUN"},
    {VI_ERROR_TRIG_NMAPPED, "VI_ERROR_TRIG_NMAPPED"},
    {VI_ERROR_NSUP_ALIGN_OFFSET, "VI_ERROR_NSUP_ALIGN_OFFSET"},
    {VI_ERROR_USER_BUF, "VI_ERROR_USER_BUF"},
    {VI_ERROR_RSRC_BUSY, "VI_ERROR_RSRC_BUSY"},
    {VI_ERROR_NSUP_WIDTH, "VI_ERROR_NSUP_WIDTH"},
    {VI_ERROR_INV_PARAMETER, "VI_ERROR_INV_PARAMETER"},
    {VI_ERROR_INV_PROT, "VI_ERROR_INV_PROT"},
    {VI_ERROR_INV_SIZE, "VI_ERROR_INV_SIZE"},
    {VI_ERROR_WINDOW_MAPPED, "VI_ERROR_WINDOW_MAPPED"},
    {VI_ERROR_NIMPL_OPER, "VI_ERROR_NIMPL_OPER"},
    {VI_ERROR_INV_LENGTH, "VI_ERROR_INV_LENGTH"},
    {VI_ERROR_INV_MODE, "VI_ERROR_INV_MODE"},
    {VI_ERROR_SESN_NLOCKED, "VI_ERROR_SESN_NLOCKED"},
    {VI_ERROR_MEM_NSHARED, "VI_ERROR_MEM_NSHARED"},
    {VI_ERROR_LIBRARY_NFOUND, "VI_ERROR_LIBRARY_NFOUND"},
    {VI_ERROR_NSUP_INTR, "VI_ERROR_NSUP_INTR"},
    {VI_ERROR_INV_LINE, "VI_ERROR_INV_LINE"},
    {VI_ERROR_FILE_ACCESS, "VI_ERROR_FILE_ACCESS"},
    {VI_ERROR_FILE_IO, "VI_ERROR_FILE_IO"},
    {VI_ERROR_NSUP_LINE, "VI_ERROR_NSUP_LINE"},
    {VI_ERROR_NSUP_MECH, "VI_ERROR_NSUP_MECH"},
    {VI_ERROR_INTF_NUM_NCONFIG, "VI_ERROR_INTF_NUM_NCONFIG"},
    {VI_ERROR_CONN_LOST, "VI_ERROR_CONN_LOST"},
    {VI_ERROR_MACHINE_NAVAIL, "VI_ERROR_MACHINE_NAVAIL"},
    {VI_ERROR_NPERMISSION, "VI_ERROR_NPERMISSION"},
    {VI_WARN_NSUP_ID_QUERY, "VI_WARN_NSUP_ID_QUERY"},
    {VI_WARN_NSUP_RESET, "VI_WARN_NSUP_RESET"},
    {VI_WARN_NSUP_SELF_TEST, "VI_WARN_NSUP_SELF_TEST"},
    {VI_WARN_NSUP_ERROR_QUERY, "VI_WARN_NSUP_ERROR_QUERY"},
    {VI_WARN_NSUP_REV_QUERY, "VI_WARN_NSUP_REV_QUERY"},
    {VI_ERROR_PARAMETER1, "VI_ERROR_PARAMETER1"},
    {VI_ERROR_PARAMETER2, "VI_ERROR_PARAMETER2"},
    {VI_ERROR_PARAMETER3, "VI_ERROR_PARAMETER3"},
    {VI_ERROR_PARAMETER4, "VI_ERROR_PARAMETER4"},
    {VI_ERROR_PARAMETER5, "VI_ERROR_PARAMETER5"},
    {VI_ERROR_PARAMETER6, "VI_ERROR_PARAMETER6"},
    {VI_ERROR_PARAMETER7, "VI_ERROR_PARAMETER7"},
    {VI_ERROR_PARAMETER8, "VI_ERROR_PARAMETER8"},
    {VI_ERROR_FAIL_ID_QUERY, "VI_ERROR_FAIL_ID_QUERY"},
    {VI_ERROR_INV_RESPONSE, "VI_ERROR_INV_RESPONSE"},
    {QVVI_ERR_CTL_TRANSFER_STALLED, "QVVI_ERR_CTL_TRANSFER_STALLED"},
    {QVVI_LIBUSB_INTERRUPTED, "QVVI_LIBUSB_INTERRUPTED"},
    {QVVI_NEEDS_EQUIVALENT, "QVVI_NEEDS_EQUIVALENT"},
    {QVVI_NEEDS_IMPLEMENTATION, "QVVI_NEEDS_IMPLEMENTATION"},
    {QVVI_SETUPDI_ERR, "QVVI_SETUPDI_ERR"},
};

constexpr NamedValue kBooleans[] = {{VI_FALSE, "VI_FALSE"}, {VI_TRUE, "VI_TRUE"}};
constexpr NamedValue kInterfaces[] = {
    {VI_INTF_ASRL, "VI_INTF_ASRL"}, {VI_INTF_TCPIP, "VI_INTF_TCPIP"}, {VI_INTF_USB, "VI_INTF_USB"}};
constexpr NamedValue kProtocols[] = {
    {VI_PROT_NORMAL, "VI_PROT_NORMAL"},
    {VI_PROT_FDC, "VI_PROT_FDC"},
    {VI_PROT_HS488, "VI_PROT_HS488"},
    {VI_PROT_4882_STRS, "VI_PROT_4882_STRS"},
    {VI_PROT_USBTMC_VENDOR, "VI_PROT_USBTMC_VENDOR"},
};
constexpr NamedValue kLocks[] = {
    {VI_NO_LOCK, "VI_NO_LOCK"}, {VI_EXCLUSIVE_LOCK, "VI_EXCLUSIVE_LOCK"}, {VI_SHARED_LOCK, "VI_SHARED_LOCK"}};
constexpr NamedValue kBufferModes[] = {
    {VI_FLUSH_ON_ACCESS, "VI_FLUSH_ON_ACCESS"},
    {VI_FLUSH_WHEN_FULL, "VI_FLUSH_WHEN_FULL"},
    {VI_FLUSH_DISABLE, "VI_FLUSH_DISABLE"},
};
constexpr NamedValue kTriggers[] = {{VI_TRIG_ALL, "VI_TRIG_ALL"}, {VI_TRIG_SW, "VI_TRIG_SW"}};
constexpr NamedValue kParities[] = {
    {VI_ASRL_PAR_NONE, "VI_ASRL_PAR_NONE"},   {VI_ASRL_PAR_ODD, "VI_ASRL_PAR_ODD"},
    {VI_ASRL_PAR_EVEN, "VI_ASRL_PAR_EVEN"},   {VI_ASRL_PAR_MARK, "VI_ASRL_PAR_MARK"},
    {VI_ASRL_PAR_SPACE, "VI_ASRL_PAR_SPACE"},
};
constexpr NamedValue kStopBits[] = {
    {VI_ASRL_STOP_ONE, "VI_ASRL_STOP_ONE"},
    {VI_ASRL_STOP_ONE5, "VI_ASRL_STOP_ONE5"},
    {VI_ASRL_STOP_TWO, "VI_ASRL_STOP_TWO"},
};
constexpr NamedValue kFlowControls[] = {
    {VI_ASRL_FLOW_NONE, "VI_ASRL_FLOW_NONE"},
    {VI_ASRL_FLOW_XON_XOFF, "VI_ASRL_FLOW_XON_XOFF"},
    {VI_ASRL_FLOW_RTS_CTS, "VI_ASRL_FLOW_RTS_CTS"},
    {VI_ASRL_FLOW_DTR_DSR, "VI_ASRL_FLOW_DTR_DSR"},
    {VI_ASRL_FLOW_RTS_CTS | VI_ASRL_FLOW_DTR_DSR, "VI_ASRL_FLOW_RTS_CTS|VI_ASRL_FLOW_DTR_DSR"},
};
constexpr NamedValue kSerialEnds[] = {
    {VI_ASRL_END_NONE, "VI_ASRL_END_NONE"},
    {VI_ASRL_END_LAST_BIT, "VI_ASRL_END_LAST_BIT"},
    {VI_ASRL_END_TERMCHAR, "VI_ASRL_END_TERMCHAR"},
    {VI_ASRL_END_BREAK, "VI_ASRL_END_BREAK"},
};
constexpr NamedValue kWireModes[] = {
    {VI_ASRL_WIRE_485_4, "VI_ASRL_WIRE_485_4"},
    {VI_ASRL_WIRE_485_2_DTR_ECHO, "VI_ASRL_WIRE_485_2_DTR_ECHO"},
    {VI_ASRL_WIRE_485_2_DTR_CTRL, "VI_ASRL_WIRE_485_2_DTR_CTRL"},
    {VI_ASRL_WIRE_485_2_AUTO, "VI_ASRL_WIRE_485_2_AUTO"},
    {VI_ASRL_WIRE_232_DTE, "VI_ASRL_WIRE_232_DTE"},
    {VI_ASRL_WIRE_232_DCE, "VI_ASRL_WIRE_232_DCE"},
    {VI_ASRL_WIRE_232_AUTO, "VI_ASRL_WIRE_232_AUTO"},
};
constexpr NamedValue kLineStates[] = {
    {VI_STATE_UNASSERTED, "VI_STATE_UNASSERTED"},
    {VI_STATE_ASSERTED, "VI_STATE_ASSERTED"},
    {VI_STATE_UNKNOWN, "VI_STATE_UNKNOWN"},
};
constexpr NamedValue kUsbEnds[] = {
    {VI_USB_END_NONE, "VI_USB_END_NONE"},
    {VI_USB_END_SHORT, "VI_USB_END_SHORT"},
    {VI_USB_END_SHORT_OR_COUNT, "VI_USB_END_SHORT_OR_COUNT"},
};
constexpr NamedValue kPipeStates[] = {
    {VI_USB_PIPE_READY, "VI_USB_PIPE_READY"},
    {VI_USB_PIPE_STALLED, "VI_USB_PIPE_STALLED"},
    {VI_USB_PIPE_STATE_UNKNOWN, "VI_USB_PIPE_STATE_UNKNOWN"},
};
constexpr NamedValue kUsbClasses[] = {
    {QV_CLASS_TMC, "QV_CLASS_TMC"},
    {QV_CLASS_TMC_USB488, "QV_CLASS_TMC_USB488"},
    {QV_CLASS_DFU_RUNTIME, "QV_CLASS_DFU_RUNTIME"},
    {QV_CLASS_DFU_DFU, "QV_CLASS_DFU_DFU"},
    {QV_CLASS_HID, "QV_CLASS_HID"},
    {QV_CLASS_UNKNOWN, "QV_CLASS_UNKNOWN"},
};
constexpr NamedValue kRenModes[] = {
    {VI_GPIB_REN_DEASSERT, "VI_GPIB_REN_DEASSERT"},
    {VI_GPIB_REN_ASSERT, "VI_GPIB_REN_ASSERT"},
    {VI_GPIB_REN_DEASSERT_GTL, "VI_GPIB_REN_DEASSERT_GTL"},
    {VI_GPIB_REN_ASSERT_ADDRESS, "VI_GPIB_REN_ASSERT_ADDRESS"},
    {VI_GPIB_REN_ASSERT_LLO, "VI_GPIB_REN_ASSERT_LLO"},
    {VI_GPIB_REN_ASSERT_ADDRESS_LLO, "VI_GPIB_REN_ASSERT_ADDRESS_LLO"},
    {VI_GPIB_REN_ADDRESS_GTL, "VI_GPIB_REN_ADDRESS_GTL"},
};

using enum AttributeType;
constexpr bool hex = true;
constexpr bool dec = false;

constexpr Attribute kAttributes[] = {
    {VI_ATTR_RSRC_CLASS, "VI_ATTR_RSRC_CLASS", Text, dec},
    {VI_ATTR_RSRC_IMPL_VERSION, "VI_ATTR_RSRC_IMPL_VERSION", UInt32, hex},
    {VI_ATTR_RSRC_SPEC_VERSION, "VI_ATTR_RSRC_SPEC_VERSION", UInt32, hex},
    {VI_ATTR_RSRC_MANF_NAME, "VI_ATTR_RSRC_MANF_NAME", Text, dec},
    {VI_ATTR_RSRC_MANF_ID, "VI_ATTR_RSRC_MANF_ID", UInt16, hex},
    {VI_ATTR_RSRC_LOCK_STATE, "VI_ATTR_RSRC_LOCK_STATE", UInt32, dec, kLocks},
    {VI_ATTR_RM_SESSION, "VI_ATTR_RM_SESSION", UInt32, hex},
    {VI_ATTR_USER_DATA, "VI_ATTR_USER_DATA", UInt32, hex},
    {VI_ATTR_MAX_QUEUE_LENGTH, "VI_ATTR_MAX_QUEUE_LENGTH", UInt32, dec},
    {VI_ATTR_INTF_TYPE, "VI_ATTR_INTF_TYPE", UInt16, dec, kInterfaces},
    {VI_ATTR_INTF_NUM, "VI_ATTR_INTF_NUM", UInt16, dec},
    {VI_ATTR_INTF_INST_NAME, "VI_ATTR_INTF_INST_NAME", Text, dec},
    {VI_ATTR_TRIG_ID, "VI_ATTR_TRIG_ID", Int16, dec, kTriggers},
    {VI_ATTR_TMO_VALUE, "VI_ATTR_TMO_VALUE", UInt32, dec},
    {VI_ATTR_IO_PROT, "VI_ATTR_IO_PROT", UInt16, dec, kProtocols},
    {VI_ATTR_TERMCHAR, "VI_ATTR_TERMCHAR", UInt8, hex},
    {VI_ATTR_TERMCHAR_EN, "VI_ATTR_TERMCHAR_EN", UInt16, dec, kBooleans},
    {VI_ATTR_SEND_END_EN, "VI_ATTR_SEND_END_EN", UInt16, dec, kBooleans},
    {VI_ATTR_SUPPRESS_END_EN, "VI_ATTR_SUPPRESS_END_EN", UInt16, dec, kBooleans},
    {VI_ATTR_FILE_APPEND_EN, "VI_ATTR_FILE_APPEND_EN", UInt16, dec, kBooleans},
    {VI_ATTR_RD_BUF_OPER_MODE, "VI_ATTR_RD_BUF_OPER_MODE", UInt16, dec, kBufferModes},
    {VI_ATTR_WR_BUF_OPER_MODE, "VI_ATTR_WR_BUF_OPER_MODE", UInt16, dec, kBufferModes},
    {VI_ATTR_TCPIP_ADDR, "VI_ATTR_TCPIP_ADDR", Text, dec},
    {VI_ATTR_TCPIP_HOSTNAME, "VI_ATTR_TCPIP_HOSTNAME", Text, dec},
    {VI_ATTR_TCPIP_PORT, "VI_ATTR_TCPIP_PORT", UInt16, dec},
    {VI_ATTR_TCPIP_DEVICE_NAME, "VI_ATTR_TCPIP_DEVICE_NAME", Text, dec},
    {VI_ATTR_TCPIP_NODELAY, "VI_ATTR_TCPIP_NODELAY", UInt16, dec, kBooleans},
    {VI_ATTR_TCPIP_KEEPALIVE, "VI_ATTR_TCPIP_KEEPALIVE", UInt16, dec, kBooleans},
    {VI_ATTR_MANF_NAME, "VI_ATTR_MANF_NAME", Text, dec},
    {VI_ATTR_MODEL_NAME, "VI_ATTR_MODEL_NAME", Text, dec},
    {VI_ATTR_MANF_ID, "VI_ATTR_MANF_ID", UInt16, hex},
    {VI_ATTR_MODEL_CODE, "VI_ATTR_MODEL_CODE", UInt16, hex},
    {VI_ATTR_USB_SERIAL_NUM, "VI_ATTR_USB_SERIAL_NUM", Text, dec},
    {VI_ATTR_USB_INTFC_NUM, "VI_ATTR_USB_INTFC_NUM", Int16, dec},
    {VI_ATTR_USB_NUM_INTFCS, "VI_ATTR_USB_NUM_INTFCS", Int16, dec},
    {VI_ATTR_USB_CLASS, "VI_ATTR_USB_CLASS", Int16, hex},
    {VI_ATTR_USB_SUBCLASS, "VI_ATTR_USB_SUBCLASS", Int16, hex},
    {VI_ATTR_USB_PROTOCOL, "VI_ATTR_USB_PROTOCOL", Int16, hex},
    {VI_ATTR_USB_ALT_SETTING, "VI_ATTR_USB_ALT_SETTING", Int16, dec},
    {VI_ATTR_USB_NUM_PIPES, "VI_ATTR_USB_NUM_PIPES", Int16, dec},
    {VI_ATTR_USB_CTRL_PIPE, "VI_ATTR_USB_CTRL_PIPE", Int16, hex},
    {VI_ATTR_USB_BULK_OUT_PIPE, "VI_ATTR_USB_BULK_OUT_PIPE", Int16, hex},
    {VI_ATTR_USB_BULK_IN_PIPE, "VI_ATTR_USB_BULK_IN_PIPE", Int16, hex},
    {VI_ATTR_USB_INTR_IN_PIPE, "VI_ATTR_USB_INTR_IN_PIPE", Int16, hex},
    {QV_ATTR_USB_INTR_OUT_PIPE, "QV_ATTR_USB_INTR_OUT_PIPE", Int16, hex},
    {VI_ATTR_USB_BULK_OUT_STATUS, "VI_ATTR_USB_BULK_OUT_STATUS", Int16, dec, kPipeStates},
    {VI_ATTR_USB_BULK_IN_STATUS, "VI_ATTR_USB_BULK_IN_STATUS", Int16, dec, kPipeStates},
    {VI_ATTR_USB_INTR_IN_STATUS, "VI_ATTR_USB_INTR_IN_STATUS", Int16, dec, kPipeStates},
    {VI_ATTR_USB_MAX_INTR_SIZE, "VI_ATTR_USB_MAX_INTR_SIZE", UInt16, dec},
    {VI_ATTR_USB_END_IN, "VI_ATTR_USB_END_IN", UInt16, dec, kUsbEnds},
    {QV_ATTR_DEVICE_NAME, "QV_ATTR_DEVICE_NAME", Text, dec},
    {QV_ATTR_INTERFACE_NAME, "QV_ATTR_INTERFACE_NAME", Text, dec},
    {QV_ATTR_CLASS, "QV_ATTR_CLASS", Int32, hex, kUsbClasses},
    {QV_ATTR_CLASS_NAME, "QV_ATTR_CLASS_NAME", Text, dec},
    {VI_ATTR_ASRL_BAUD, "VI_ATTR_ASRL_BAUD", UInt32, dec},
    {VI_ATTR_ASRL_DATA_BITS, "VI_ATTR_ASRL_DATA_BITS", UInt16, dec, {}, {5, 8}},
    {VI_ATTR_ASRL_PARITY, "VI_ATTR_ASRL_PARITY", UInt16, dec, kParities},
    {VI_ATTR_ASRL_STOP_BITS, "VI_ATTR_ASRL_STOP_BITS", UInt16, dec, kStopBits},
    {VI_ATTR_ASRL_FLOW_CNTRL, "VI_ATTR_ASRL_FLOW_CNTRL", UInt16, dec, kFlowControls},
    {VI_ATTR_ASRL_END_IN, "VI_ATTR_ASRL_END_IN", UInt16, dec, kSerialEnds},
    {VI_ATTR_ASRL_END_OUT, "VI_ATTR_ASRL_END_OUT", UInt16, dec, kSerialEnds},
    {VI_ATTR_ASRL_AVAIL_NUM, "VI_ATTR_ASRL_AVAIL_NUM", UInt32, dec},
    {VI_ATTR_ASRL_CTS_STATE, "VI_ATTR_ASRL_CTS_STATE", Int16, dec, kLineStates},
    {VI_ATTR_ASRL_DCD_STATE, "VI_ATTR_ASRL_DCD_STATE", Int16, dec, kLineStates},
    {VI_ATTR_ASRL_DSR_STATE, "VI_ATTR_ASRL_DSR_STATE", Int16, dec, kLineStates},
    {VI_ATTR_ASRL_RI_STATE, "VI_ATTR_ASRL_RI_STATE", Int16, dec, kLineStates},
    {VI_ATTR_ASRL_DTR_STATE, "VI_ATTR_ASRL_DTR_STATE", Int16, dec, kLineStates},
    {VI_ATTR_ASRL_RTS_STATE, "VI_ATTR_ASRL_RTS_STATE", Int16, dec, kLineStates},
    {VI_ATTR_ASRL_REPLACE_CHAR, "VI_ATTR_ASRL_REPLACE_CHAR", UInt8, hex},
    {VI_ATTR_ASRL_XON_CHAR, "VI_ATTR_ASRL_XON_CHAR", UInt8, hex},
    {VI_ATTR_ASRL_XOFF_CHAR, "VI_ATTR_ASRL_XOFF_CHAR", UInt8, hex},
    {VI_ATTR_ASRL_DISCARD_NULL, "VI_ATTR_ASRL_DISCARD_NULL", UInt16, dec, kBooleans},
    {VI_ATTR_ASRL_CONNECTED, "VI_ATTR_ASRL_CONNECTED", UInt16, dec, kBooleans},
    {VI_ATTR_ASRL_BREAK_STATE, "VI_ATTR_ASRL_BREAK_STATE", Int16, dec, kLineStates},
    {VI_ATTR_ASRL_BREAK_LEN, "VI_ATTR_ASRL_BREAK_LEN", Int16, dec, {}, {1, 500}},
    {VI_ATTR_ASRL_ALLOW_TRANSMIT, "VI_ATTR_ASRL_ALLOW_TRANSMIT", UInt16, dec, kBooleans},
    {VI_ATTR_ASRL_WIRE_MODE, "VI_ATTR_ASRL_WIRE_MODE", Int16, dec, kWireModes},
    {QV_ATTR_BUILD_DATE_TIME, "QV_ATTR_BUILD_DATE_TIME", Text, dec},
};

/// How a number of the attribute's type lies in memory, and what it may be.
struct NumberType {
  size_t size;
  int64_t lowest;
  int64_t highest;
};

template <typename T>
constexpr NumberType numberType() {
  return {sizeof(T), std::numeric_limits<T>::min(), std::numeric_limits<T>::max()};
}

NumberType numberType(AttributeType type) {
  switch (type) {
  case UInt8:
    return numberType<ViUInt8>();
  case UInt16:
    return numberType<ViUInt16>();
  case Int16:
    return numberType<ViInt16>();
  case UInt32:
    return numberType<ViUInt32>();
  default:
    return numberType<ViInt32>();
  }
}

template <typename T>
int64_t loadAs(const void* value) {
  T number;
  memcpy(&number, value, sizeof number);
  return number;
}

int64_t load(AttributeType type, const void* value) {
  switch (type) {
  case UInt8:
    return loadAs<ViUInt8>(value);
  case UInt16:
    return loadAs<ViUInt16>(value);
  case Int16:
    return loadAs<ViInt16>(value);
  case UInt32:
    return loadAs<ViUInt32>(value);
  default:
    return loadAs<ViInt32>(value);
  }
}

std::string hexadecimal(int64_t number, size_t bytes) {
  char text[24];
  const auto bits = static_cast<uint64_t>(number) & (~uint64_t{0} >> (64 - 8 * bytes));
  snprintf(text, sizeof text, "0x%0*llX", static_cast<int>(2 * bytes), static_cast<unsigned long long>(bits));
  return text;
}

const char* nameOf(int64_t value, std::span<const NamedValue> names) {
  const auto row = std::find_if(names.begin(), names.end(), [&](const NamedValue& v) { return v.value == value; });
  return row == names.end() ? nullptr : row->name;
}

}  // namespace

const char* statusName(ViStatus status) {
  return nameOf(status, kStatuses);
}

std::vector<std::string> statusNames() {
  std::vector<std::string> names;
  for (const NamedValue& status : kStatuses) names.emplace_back(status.name);
  return names;
}

std::optional<ViStatus> parseStatus(std::string_view text) {
  const auto value =
      parseValue(text, kStatuses, std::numeric_limits<ViStatus>::min(), std::numeric_limits<uint32_t>::max());
  if (!value) return std::nullopt;
  return static_cast<ViStatus>(*value);
}

std::span<const NamedValue> renModes() {
  return kRenModes;
}

std::optional<int64_t> parseValue(std::string_view text, std::span<const NamedValue> names, int64_t lowest,
                                  int64_t highest) {
  const auto row =
      std::find_if(names.begin(), names.end(), [&](const NamedValue& v) { return isNameOf(v.name, text); });
  if (row != names.end()) return row->value;
  return parseNumber(text, lowest, highest);
}

std::span<const Attribute> attributes() {
  return kAttributes;
}

const Attribute* findAttribute(std::string_view nameOrCode) {
  const auto code = parseNumber(nameOrCode, 0, std::numeric_limits<ViAttr>::max());
  const auto* row = std::find_if(std::begin(kAttributes), std::end(kAttributes), [&](const Attribute& attribute) {
    return code ? attribute.code == *code : isNameOf(attribute.name, nameOrCode);
  });
  return row == std::end(kAttributes) ? nullptr : row;
}

std::string formatValue(const Attribute& attribute, const void* value) {
  if (attribute.type == Text) return static_cast<const char*>(value);
  const int64_t number = load(attribute.type, value);
  if (const char* name = nameOf(number, attribute.values)) return name;
  return attribute.hexadecimal ? hexadecimal(number, numberType(attribute.type).size) : std::to_string(number);
}

nlohmann::ordered_json jsonValue(const Attribute& attribute, const void* value) {
  const bool isNumber = attribute.type != Text && !attribute.hexadecimal &&
                        nameOf(load(attribute.type, value), attribute.values) == nullptr;
  if (isNumber) return load(attribute.type, value);
  return formatValue(attribute, value);
}

Range rangeOf(const Attribute& attribute) {
  if (attribute.range.highest != 0) return attribute.range;
  const NumberType type = numberType(attribute.type);
  return {type.lowest, type.highest};
}

std::optional<ViAttrState> parseAttributeValue(const Attribute& attribute, std::string_view text) {
  if (attribute.type == Text) return std::nullopt;
  if (attribute.type == UInt8 && text.starts_with('\\')) {
    const std::string character = unescape(text);
    if (character.size() != 1) return std::nullopt;
    return static_cast<unsigned char>(character.front());
  }
  const Range range = rangeOf(attribute);
  const auto value = parseValue(text, attribute.values, range.lowest, range.highest);
  if (!value) return std::nullopt;
  return static_cast<ViAttrState>(*value);
}
