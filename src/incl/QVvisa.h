/**
 * @file QVvisa.h
 * @brief The public interface of QVvisa: instrument I/O over USB (USBTMC, USB488 and raw), serial ports and TCP
 * sockets.
 *
 * Sixteen operations of the VISA library standard (VPP-4.3), each spelled QV_ plus its standard name, with the
 * standard's types, attributes and status codes and a few of the library's own. Usable from C99 and C++.
 *
 * Threads: any thread may call any operation on any session at any time. Two threads on one session break nothing: of
 * two values for one attribute the later one holds, and a close lets another thread's operation end as it would have.
 * The bytes of one transfer can reach the other thread, and nothing worse: a program that wants its own answers keeps
 * other threads away from a write until its read is done. An operation that waits for its instrument holds up no other,
 * but for QV_viFindRsrc, QV_viOpen and QV_viClose, which every look-up of a handle waits for while they run. A thread
 * that is cancelled ends after its operation, not in it. The library starts no thread, raises no signal and installs no
 * handler.
 *
 * Status: every operation returns a ViStatus: VI_SUCCESS (0), a negative error or a positive warning. Only VI_SUCCESS
 * says that the operation did its work: a USB device that was pulled, for one, is the positive VI_SUCCESS_DEV_NPRESENT.
 */
#ifndef QVVISA_H
#define QVVISA_H

#include <stdint.h>

/** @name Version of the library that this header belongs to */
/** @{ */
#define QVVISA_VERSION_MAJOR (1) /**< changes where programs have to be changed or built anew */
#define QVVISA_VERSION_MINOR (0) /**< changes where something is added */
#define QVVISA_VERSION_PATCH (0) /**< changes otherwise */
/** @} */

#if defined(_WIN32)
#define _VI_FUNC __stdcall
#if defined(QVVISA_BUILDING)
#define QVVISA_PUBLIC __declspec(dllexport)
#else
#define QVVISA_PUBLIC __declspec(dllimport)
#endif
#else
#define _VI_FUNC
#if defined(__GNUC__)
#define QVVISA_PUBLIC __attribute__((visibility("default")))
#else
#define QVVISA_PUBLIC
#endif
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Types, VPP-4.3 section 3 and VPP-4.3.2. Their widths hold whatever the size of long is. */

typedef uint8_t ViUInt8;
typedef int8_t ViInt8;
typedef uint16_t ViUInt16;
typedef int16_t ViInt16;
typedef uint32_t ViUInt32;
typedef int32_t ViInt32;
typedef uint64_t ViUInt64;
typedef int64_t ViInt64;
typedef char ViChar;
typedef unsigned char ViByte;
typedef uint16_t ViBoolean;
typedef float ViReal32;
typedef double ViReal64;
typedef void* ViAddr;

typedef int32_t ViStatus;
typedef uint32_t ViObject;
typedef uint32_t ViSession;
typedef uint32_t ViFindList;
typedef uint32_t ViAttr;
typedef uint32_t ViAttrState;
typedef uint32_t ViAccessMode;
typedef uint32_t ViVersion;
typedef uint32_t ViEventType;
typedef uint32_t ViEvent;

typedef ViUInt8* ViPUInt8;
typedef ViInt8* ViPInt8;
typedef ViUInt16* ViPUInt16;
typedef ViInt16* ViPInt16;
typedef ViUInt32* ViPUInt32;
typedef ViInt32* ViPInt32;
typedef ViUInt64* ViPUInt64;
typedef ViInt64* ViPInt64;
typedef ViChar* ViPChar;
typedef ViByte* ViPByte;
typedef ViBoolean* ViPBoolean;
typedef ViStatus* ViPStatus;
typedef ViObject* ViPObject;
typedef ViSession* ViPSession;
typedef ViFindList* ViPFindList;
typedef ViAttr* ViPAttr;
typedef ViAttrState* ViPAttrState;
typedef ViChar* ViString;
typedef ViChar* ViRsrc;
typedef ViByte* ViBuf;
typedef ViByte* ViPBuf;

#define VI_NULL (0)
#define VI_FALSE (0)
#define VI_TRUE (1)
/** The lowest 32-bit value; every error code is this plus a positive number. */
#define _VI_ERROR (-2147483647 - 1)

/* Sizes of the caller's text buffers, in characters with the terminator. */

#define VI_FIND_BUFLEN (256)
#define MAX_STATUS_DESCRIPTION (256)    /**< desc of QV_viStatusDesc */
#define MAX_BUF_SIZE_RSRC (256)         /**< a resource name; desc of the find operations */
#define MAX_BUF_SIZE_ATTR (256)         /**< a string attribute */
#define MAX_BUF_SIZE_PATTERN (256)      /**< a search expression */
#define MAX_BUF_SIZE_DEVICE_DESCR (256) /**< a device description */
#define MAX_BUF_SIZE_SN (128)           /**< a serial number */
#define MAX_BUF_SIZE_M (128)            /**< a manufacturer name */
#define MAX_BUF_SIZE_DEV (128)          /**< a device name */

/* Completion codes and warnings, VPP-4.3 Table A.1.1 */
#define VI_SUCCESS (0)
#define VI_SUCCESS_EVENT_EN (0x3FFF0002)
#define VI_SUCCESS_EVENT_DIS (0x3FFF0003)
#define VI_SUCCESS_QUEUE_EMPTY (0x3FFF0004)
#define VI_SUCCESS_TERM_CHAR (0x3FFF0005)
#define VI_SUCCESS_MAX_CNT (0x3FFF0006)
#define VI_WARN_QUEUE_OVERFLOW (0x3FFF000C)
#define VI_WARN_CONFIG_NLOADED (0x3FFF0077)
#define VI_SUCCESS_DEV_NPRESENT (0x3FFF007D)
#define VI_SUCCESS_TRIG_MAPPED (0x3FFF007E)
#define VI_SUCCESS_QUEUE_NEMPTY (0x3FFF0080)
#define VI_WARN_NULL_OBJECT (0x3FFF0082)
#define VI_WARN_NSUP_ATTR_STATE (0x3FFF0084)
#define VI_WARN_UNKNOWN_STATUS (0x3FFF0085)
#define VI_WARN_NSUP_BUF (0x3FFF0088)
#define VI_SUCCESS_NCHAIN (0x3FFF0098)
#define VI_SUCCESS_NESTED_SHARED (0x3FFF0099)
#define VI_SUCCESS_NESTED_EXCLUSIVE (0x3FFF009A)
#define VI_SUCCESS_SYNC (0x3FFF009B)
#define VI_WARN_EXT_FUNC_NIMPL (0x3FFF00A9)

/* Error codes, VPP-4.3 Table A.1.2 */
#define VI_ERROR_SYSTEM_ERROR (_VI_ERROR + 0x3FFF0000)
#define VI_ERROR_INV_OBJECT (_VI_ERROR + 0x3FFF000E)
#define VI_ERROR_RSRC_LOCKED (_VI_ERROR + 0x3FFF000F)
#define VI_ERROR_INV_EXPR (_VI_ERROR + 0x3FFF0010)
#define VI_ERROR_RSRC_NFOUND (_VI_ERROR + 0x3FFF0011)
#define VI_ERROR_INV_RSRC_NAME (_VI_ERROR + 0x3FFF0012)
#define VI_ERROR_INV_ACC_MODE (_VI_ERROR + 0x3FFF0013)
#define VI_ERROR_TMO (_VI_ERROR + 0x3FFF0015)
#define VI_ERROR_CLOSING_FAILED (_VI_ERROR + 0x3FFF0016)
#define VI_ERROR_INV_DEGREE (_VI_ERROR + 0x3FFF001B)
#define VI_ERROR_INV_JOB_ID (_VI_ERROR + 0x3FFF001C)
#define VI_ERROR_NSUP_ATTR (_VI_ERROR + 0x3FFF001D)
#define VI_ERROR_NSUP_ATTR_STATE (_VI_ERROR + 0x3FFF001E)
#define VI_ERROR_ATTR_READONLY (_VI_ERROR + 0x3FFF001F)
#define VI_ERROR_INV_LOCK_TYPE (_VI_ERROR + 0x3FFF0020)
#define VI_ERROR_INV_ACCESS_KEY (_VI_ERROR + 0x3FFF0021)
#define VI_ERROR_INV_EVENT (_VI_ERROR + 0x3FFF0026)
#define VI_ERROR_INV_MECH (_VI_ERROR + 0x3FFF0027)
#define VI_ERROR_HNDLR_NINSTALLED (_VI_ERROR + 0x3FFF0028)
#define VI_ERROR_INV_HNDLR_REF (_VI_ERROR + 0x3FFF0029)
#define VI_ERROR_INV_CONTEXT (_VI_ERROR + 0x3FFF002A)
#define VI_ERROR_QUEUE_OVERFLOW (_VI_ERROR + 0x3FFF002D)
#define VI_ERROR_NENABLED (_VI_ERROR + 0x3FFF002F)
#define VI_ERROR_ABORT (_VI_ERROR + 0x3FFF0030)
#define VI_ERROR_RAW_WR_PROT_VIOL (_VI_ERROR + 0x3FFF0034)
#define VI_ERROR_RAW_RD_PROT_VIOL (_VI_ERROR + 0x3FFF0035)
#define VI_ERROR_OUTP_PROT_VIOL (_VI_ERROR + 0x3FFF0036)
#define VI_ERROR_INP_PROT_VIOL (_VI_ERROR + 0x3FFF0037)
#define VI_ERROR_BERR (_VI_ERROR + 0x3FFF0038)
#define VI_ERROR_IN_PROGRESS (_VI_ERROR + 0x3FFF0039)
#define VI_ERROR_INV_SETUP (_VI_ERROR + 0x3FFF003A)
#define VI_ERROR_QUEUE_ERROR (_VI_ERROR + 0x3FFF003B)
#define VI_ERROR_ALLOC (_VI_ERROR + 0x3FFF003C)
#define VI_ERROR_INV_MASK (_VI_ERROR + 0x3FFF003D)
#define VI_ERROR_IO (_VI_ERROR + 0x3FFF003E)
#define VI_ERROR_INV_FMT (_VI_ERROR + 0x3FFF003F)
#define VI_ERROR_NSUP_FMT (_VI_ERROR + 0x3FFF0041)
#define VI_ERROR_LINE_IN_USE (_VI_ERROR + 0x3FFF0042)
#define VI_ERROR_LINE_NRESERVED (_VI_ERROR + 0x3FFF0043)
#define VI_ERROR_NSUP_MODE (_VI_ERROR + 0x3FFF0046)
#define VI_ERROR_SRQ_NOCCURRED (_VI_ERROR + 0x3FFF004A)
#define VI_ERROR_INV_SPACE (_VI_ERROR + 0x3FFF004E)
#define VI_ERROR_INV_OFFSET (_VI_ERROR + 0x3FFF0051)
#define VI_ERROR_INV_WIDTH (_VI_ERROR + 0x3FFF0052)
#define VI_ERROR_NSUP_OFFSET (_VI_ERROR + 0x3FFF0054)
#define VI_ERROR_NSUP_VAR_WIDTH (_VI_ERROR + 0x3FFF0055)
#define VI_ERROR_WINDOW_NMAPPED (_VI_ERROR + 0x3FFF0057)
#define VI_ERROR_RESP_PENDING (_VI_ERROR + 0x3FFF0059)
#define VI_ERROR_NLISTENERS (_VI_ERROR + 0x3FFF005F)
#define VI_ERROR_NCIC (_VI_ERROR + 0x3FFF0060)
#define VI_ERROR_NSYS_CNTLR (_VI_ERROR + 0x3FFF0061)
#define VI_ERROR_NSUP_OPER (_VI_ERROR + 0x3FFF0067)
#define VI_ERROR_INTR_PENDING (_VI_ERROR + 0x3FFF0068)
#define VI_ERROR_ASRL_PARITY (_VI_ERROR + 0x3FFF006A)
#define VI_ERROR_ASRL_FRAMING (_VI_ERROR + 0x3FFF006B)
#define VI_ERROR_ASRL_OVERRUN (_VI_ERROR + 0x3FFF006C)
#define VI_ERROR_TRIG_NMAPPED (_VI_ERROR + 0x3FFF006E)
#define VI_ERROR_NSUP_ALIGN_OFFSET (_VI_ERROR + 0x3FFF0070)
#define VI_ERROR_USER_BUF (_VI_ERROR + 0x3FFF0071)
#define VI_ERROR_RSRC_BUSY (_VI_ERROR + 0x3FFF0072)
#define VI_ERROR_NSUP_WIDTH (_VI_ERROR + 0x3FFF0076)
#define VI_ERROR_INV_PARAMETER (_VI_ERROR + 0x3FFF0078)
#define VI_ERROR_INV_PROT (_VI_ERROR + 0x3FFF0079)
#define VI_ERROR_INV_SIZE (_VI_ERROR + 0x3FFF007B)
#define VI_ERROR_WINDOW_MAPPED (_VI_ERROR + 0x3FFF0080)
#define VI_ERROR_NIMPL_OPER (_VI_ERROR + 0x3FFF0081)
#define VI_ERROR_INV_LENGTH (_VI_ERROR + 0x3FFF0083)
#define VI_ERROR_INV_MODE (_VI_ERROR + 0x3FFF0091)
#define VI_ERROR_SESN_NLOCKED (_VI_ERROR + 0x3FFF009C)
#define VI_ERROR_MEM_NSHARED (_VI_ERROR + 0x3FFF009D)
#define VI_ERROR_LIBRARY_NFOUND (_VI_ERROR + 0x3FFF009E)
#define VI_ERROR_NSUP_INTR (_VI_ERROR + 0x3FFF009F)
#define VI_ERROR_INV_LINE (_VI_ERROR + 0x3FFF00A0)
#define VI_ERROR_FILE_ACCESS (_VI_ERROR + 0x3FFF00A1)
#define VI_ERROR_FILE_IO (_VI_ERROR + 0x3FFF00A2)
#define VI_ERROR_NSUP_LINE (_VI_ERROR + 0x3FFF00A3)
#define VI_ERROR_NSUP_MECH (_VI_ERROR + 0x3FFF00A4)
#define VI_ERROR_INTF_NUM_NCONFIG (_VI_ERROR + 0x3FFF00A5)
#define VI_ERROR_CONN_LOST (_VI_ERROR + 0x3FFF00A6)
#define VI_ERROR_MACHINE_NAVAIL (_VI_ERROR + 0x3FFF00A7)
#define VI_ERROR_NPERMISSION (_VI_ERROR + 0x3FFF00A8)

/* Instrument driver codes, VPP-3.4 */
#define VI_WARN_NSUP_ID_QUERY (0x3FFC0101)
#define VI_WARN_NSUP_RESET (0x3FFC0102)
#define VI_WARN_NSUP_SELF_TEST (0x3FFC0103)
#define VI_WARN_NSUP_ERROR_QUERY (0x3FFC0104)
#define VI_WARN_NSUP_REV_QUERY (0x3FFC0105)
#define VI_ERROR_PARAMETER1 (_VI_ERROR + 0x3FFC0001)
#define VI_ERROR_PARAMETER2 (_VI_ERROR + 0x3FFC0002)
#define VI_ERROR_PARAMETER3 (_VI_ERROR + 0x3FFC0003)
#define VI_ERROR_PARAMETER4 (_VI_ERROR + 0x3FFC0004)
#define VI_ERROR_PARAMETER5 (_VI_ERROR + 0x3FFC0005)
#define VI_ERROR_PARAMETER6 (_VI_ERROR + 0x3FFC0006)
#define VI_ERROR_PARAMETER7 (_VI_ERROR + 0x3FFC0007)
#define VI_ERROR_PARAMETER8 (_VI_ERROR + 0x3FFC0008)
#define VI_ERROR_FAIL_ID_QUERY (_VI_ERROR + 0x3FFC0011)
#define VI_ERROR_INV_RESPONSE (_VI_ERROR + 0x3FFC0012)

/* Codes of this library */
#define QVVI_ERR_CTL_TRANSFER_STALLED (_VI_ERROR + 0x3FFF0200)
#define QVVI_LIBUSB_INTERRUPTED (_VI_ERROR + 0x3FFF0201)
#define QVVI_NEEDS_EQUIVALENT (_VI_ERROR + 0x3FFF0202)
#define QVVI_NEEDS_IMPLEMENTATION (_VI_ERROR + 0x3FFF0203)
#define QVVI_SETUPDI_ERR (_VI_ERROR + 0x3FFF0204)

/* Attributes, VPP-4.3 Table A.2. VI_ATTR_USER_DATA is the 32-bit form, since ViAttrState has no 64-bit one */
#define VI_ATTR_RSRC_CLASS (0xBFFF0001U)
#define VI_ATTR_RSRC_NAME (0xBFFF0002U)
#define VI_ATTR_RSRC_IMPL_VERSION (0x3FFF0003U)
#define VI_ATTR_RSRC_LOCK_STATE (0x3FFF0004U)
#define VI_ATTR_MAX_QUEUE_LENGTH (0x3FFF0005U)
#define VI_ATTR_USER_DATA_32 (0x3FFF0007U)
#define VI_ATTR_USER_DATA VI_ATTR_USER_DATA_32
#define VI_ATTR_USER_DATA_64 (0x3FFF000AU)
#define VI_ATTR_FDC_CHNL (0x3FFF000DU)
#define VI_ATTR_FDC_MODE (0x3FFF000FU)
#define VI_ATTR_FDC_GEN_SIGNAL_EN (0x3FFF0011U)
#define VI_ATTR_FDC_USE_PAIR (0x3FFF0013U)
#define VI_ATTR_SEND_END_EN (0x3FFF0016U)
#define VI_ATTR_TERMCHAR (0x3FFF0018U)
#define VI_ATTR_TMO_VALUE (0x3FFF001AU)
#define VI_ATTR_GPIB_READDR_EN (0x3FFF001BU)
#define VI_ATTR_IO_PROT (0x3FFF001CU)
#define VI_ATTR_DMA_ALLOW_EN (0x3FFF001EU)
#define VI_ATTR_ASRL_BAUD (0x3FFF0021U)
#define VI_ATTR_ASRL_DATA_BITS (0x3FFF0022U)
#define VI_ATTR_ASRL_PARITY (0x3FFF0023U)
#define VI_ATTR_ASRL_STOP_BITS (0x3FFF0024U)
#define VI_ATTR_ASRL_FLOW_CNTRL (0x3FFF0025U)
#define VI_ATTR_RD_BUF_OPER_MODE (0x3FFF002AU)
#define VI_ATTR_RD_BUF_SIZE (0x3FFF002BU)
#define VI_ATTR_WR_BUF_OPER_MODE (0x3FFF002DU)
#define VI_ATTR_WR_BUF_SIZE (0x3FFF002EU)
#define VI_ATTR_SUPPRESS_END_EN (0x3FFF0036U)
#define VI_ATTR_TERMCHAR_EN (0x3FFF0038U)
#define VI_ATTR_DEST_ACCESS_PRIV (0x3FFF0039U)
#define VI_ATTR_DEST_BYTE_ORDER (0x3FFF003AU)
#define VI_ATTR_SRC_ACCESS_PRIV (0x3FFF003CU)
#define VI_ATTR_SRC_BYTE_ORDER (0x3FFF003DU)
#define VI_ATTR_SRC_INCREMENT (0x3FFF0040U)
#define VI_ATTR_DEST_INCREMENT (0x3FFF0041U)
#define VI_ATTR_WIN_ACCESS_PRIV (0x3FFF0045U)
#define VI_ATTR_WIN_BYTE_ORDER (0x3FFF0047U)
#define VI_ATTR_GPIB_ATN_STATE (0x3FFF0057U)
#define VI_ATTR_GPIB_ADDR_STATE (0x3FFF005CU)
#define VI_ATTR_GPIB_CIC_STATE (0x3FFF005EU)
#define VI_ATTR_GPIB_NDAC_STATE (0x3FFF0062U)
#define VI_ATTR_GPIB_SRQ_STATE (0x3FFF0067U)
#define VI_ATTR_GPIB_SYS_CNTRL_STATE (0x3FFF0068U)
#define VI_ATTR_GPIB_HS488_CBL_LEN (0x3FFF0069U)
#define VI_ATTR_CMDR_LA (0x3FFF006BU)
#define VI_ATTR_VXI_DEV_CLASS (0x3FFF006CU)
#define VI_ATTR_MAINFRAME_LA (0x3FFF0070U)
#define VI_ATTR_MANF_NAME (0xBFFF0072U)
#define VI_ATTR_MODEL_NAME (0xBFFF0077U)
#define VI_ATTR_VXI_VME_INTR_STATUS (0x3FFF008BU)
#define VI_ATTR_VXI_TRIG_STATUS (0x3FFF008DU)
#define VI_ATTR_VXI_VME_SYSFAIL_STATE (0x3FFF0094U)
#define VI_ATTR_WIN_BASE_ADDR_32 (0x3FFF0098U)
#define VI_ATTR_WIN_SIZE (0x3FFF009AU)
#define VI_ATTR_WIN_BASE_ADDR (0x3FFF009BU)
#define VI_ATTR_WIN_BASE_ADDR_64 (0x3FFF009BU)
#define VI_ATTR_ASRL_AVAIL_NUM (0x3FFF00ACU)
#define VI_ATTR_MEM_BASE_32 (0x3FFF00ADU)
#define VI_ATTR_ASRL_CTS_STATE (0x3FFF00AEU)
#define VI_ATTR_ASRL_DCD_STATE (0x3FFF00AFU)
#define VI_ATTR_ASRL_DISCARD_NULL (0x3FFF00B0U)
#define VI_ATTR_ASRL_DSR_STATE (0x3FFF00B1U)
#define VI_ATTR_ASRL_DTR_STATE (0x3FFF00B2U)
#define VI_ATTR_ASRL_END_IN (0x3FFF00B3U)
#define VI_ATTR_ASRL_END_OUT (0x3FFF00B4U)
#define VI_ATTR_ASRL_REPLACE_CHAR (0x3FFF00BEU)
#define VI_ATTR_ASRL_RI_STATE (0x3FFF00BFU)
#define VI_ATTR_ASRL_RTS_STATE (0x3FFF00C0U)
#define VI_ATTR_ASRL_XON_CHAR (0x3FFF00C1U)
#define VI_ATTR_ASRL_XOFF_CHAR (0x3FFF00C2U)
#define VI_ATTR_WIN_ACCESS (0x3FFF00C3U)
#define VI_ATTR_RM_SESSION (0x3FFF00C4U)
#define VI_ATTR_MEM_BASE (0x3FFF00D0U)
#define VI_ATTR_MEM_BASE_64 (0x3FFF00D0U)
#define VI_ATTR_MEM_SIZE (0x3FFF00D1U)
#define VI_ATTR_MEM_SIZE_64 (0x3FFF00D1U)
#define VI_ATTR_VXI_LA (0x3FFF00D5U)
#define VI_ATTR_MANF_ID (0x3FFF00D9U)
#define VI_ATTR_MEM_SIZE_32 (0x3FFF00DDU)
#define VI_ATTR_MEM_SPACE (0x3FFF00DEU)
#define VI_ATTR_MODEL_CODE (0x3FFF00DFU)
#define VI_ATTR_SLOT (0x3FFF00E8U)
#define VI_ATTR_INTF_INST_NAME (0xBFFF00E9U)
#define VI_ATTR_IMMEDIATE_SERV (0x3FFF0100U)
#define VI_ATTR_INTF_PARENT_NUM (0x3FFF0101U)
#define VI_ATTR_RSRC_SPEC_VERSION (0x3FFF0170U)
#define VI_ATTR_INTF_TYPE (0x3FFF0171U)
#define VI_ATTR_GPIB_PRIMARY_ADDR (0x3FFF0172U)
#define VI_ATTR_GPIB_SECONDARY_ADDR (0x3FFF0173U)
#define VI_ATTR_RSRC_MANF_NAME (0xBFFF0174U)
#define VI_ATTR_RSRC_MANF_ID (0x3FFF0175U)
#define VI_ATTR_INTF_NUM (0x3FFF0176U)
#define VI_ATTR_TRIG_ID (0x3FFF0177U)
#define VI_ATTR_GPIB_REN_STATE (0x3FFF0181U)
#define VI_ATTR_GPIB_UNADDR_EN (0x3FFF0184U)
#define VI_ATTR_DEV_STATUS_BYTE (0x3FFF0189U)
#define VI_ATTR_FILE_APPEND_EN (0x3FFF0192U)
#define VI_ATTR_VXI_TRIG_SUPPORT (0x3FFF0194U)
#define VI_ATTR_TCPIP_ADDR (0xBFFF0195U)
#define VI_ATTR_TCPIP_HOSTNAME (0xBFFF0196U)
#define VI_ATTR_TCPIP_PORT (0x3FFF0197U)
#define VI_ATTR_TCPIP_DEVICE_NAME (0xBFFF0199U)
#define VI_ATTR_TCPIP_NODELAY (0x3FFF019AU)
#define VI_ATTR_TCPIP_KEEPALIVE (0x3FFF019BU)
#define VI_ATTR_4882_COMPLIANT (0x3FFF019FU)
#define VI_ATTR_USB_SERIAL_NUM (0xBFFF01A0U)
#define VI_ATTR_USB_INTFC_NUM (0x3FFF01A1U)
#define VI_ATTR_USB_BULK_OUT_PIPE (0x3FFF01A2U)
#define VI_ATTR_USB_BULK_IN_PIPE (0x3FFF01A3U)
#define VI_ATTR_USB_INTR_IN_PIPE (0x3FFF01A4U)
#define VI_ATTR_USB_CLASS (0x3FFF01A5U)
#define VI_ATTR_USB_SUBCLASS (0x3FFF01A6U)
#define VI_ATTR_USB_PROTOCOL (0x3FFF01A7U)
#define VI_ATTR_USB_ALT_SETTING (0x3FFF01A8U)
#define VI_ATTR_USB_END_IN (0x3FFF01A9U)
#define VI_ATTR_USB_NUM_INTFCS (0x3FFF01AAU)
#define VI_ATTR_USB_NUM_PIPES (0x3FFF01ABU)
#define VI_ATTR_USB_BULK_OUT_STATUS (0x3FFF01ACU)
#define VI_ATTR_USB_BULK_IN_STATUS (0x3FFF01ADU)
#define VI_ATTR_USB_INTR_IN_STATUS (0x3FFF01AEU)
#define VI_ATTR_USB_MAX_INTR_SIZE (0x3FFF01AFU)
#define VI_ATTR_USB_CTRL_PIPE (0x3FFF01B0U)
#define VI_ATTR_ASRL_CONNECTED (0x3FFF01BBU)
#define VI_ATTR_ASRL_BREAK_STATE (0x3FFF01BCU)
#define VI_ATTR_ASRL_BREAK_LEN (0x3FFF01BDU)
#define VI_ATTR_ASRL_ALLOW_TRANSMIT (0x3FFF01BEU)
#define VI_ATTR_ASRL_WIRE_MODE (0x3FFF01BFU)
#define VI_ATTR_PXI_DEV_NUM (0x3FFF0201U)
#define VI_ATTR_PXI_FUNC_NUM (0x3FFF0202U)
#define VI_ATTR_PXI_BUS_NUM (0x3FFF0205U)
#define VI_ATTR_PXI_CHASSIS (0x3FFF0206U)
#define VI_ATTR_PXI_SLOTPATH (0xBFFF0207U)
#define VI_ATTR_PXI_SLOT_LBUS_LEFT (0x3FFF0208U)
#define VI_ATTR_PXI_SLOT_LBUS_RIGHT (0x3FFF0209U)
#define VI_ATTR_PXI_TRIG_BUS (0x3FFF020AU)
#define VI_ATTR_PXI_STAR_TRIG_BUS (0x3FFF020BU)
#define VI_ATTR_PXI_STAR_TRIG_LINE (0x3FFF020CU)
#define VI_ATTR_PXI_SRC_TRIG_BUS (0x3FFF020DU)
#define VI_ATTR_PXI_DEST_TRIG_BUS (0x3FFF020EU)
#define VI_ATTR_PXI_MEM_TYPE_BAR0 (0x3FFF0211U)
#define VI_ATTR_PXI_MEM_TYPE_BAR1 (0x3FFF0212U)
#define VI_ATTR_PXI_MEM_TYPE_BAR2 (0x3FFF0213U)
#define VI_ATTR_PXI_MEM_TYPE_BAR3 (0x3FFF0214U)
#define VI_ATTR_PXI_MEM_TYPE_BAR4 (0x3FFF0215U)
#define VI_ATTR_PXI_MEM_TYPE_BAR5 (0x3FFF0216U)
#define VI_ATTR_PXI_MEM_BASE_BAR0_32 (0x3FFF0221U)
#define VI_ATTR_PXI_MEM_BASE_BAR1_32 (0x3FFF0222U)
#define VI_ATTR_PXI_MEM_BASE_BAR2_32 (0x3FFF0223U)
#define VI_ATTR_PXI_MEM_BASE_BAR3_32 (0x3FFF0224U)
#define VI_ATTR_PXI_MEM_BASE_BAR4_32 (0x3FFF0225U)
#define VI_ATTR_PXI_MEM_BASE_BAR5_32 (0x3FFF0226U)
#define VI_ATTR_PXI_MEM_BASE_BAR0 (0x3FFF0228U)
#define VI_ATTR_PXI_MEM_BASE_BAR0_64 (0x3FFF0228U)
#define VI_ATTR_PXI_MEM_BASE_BAR1 (0x3FFF0229U)
#define VI_ATTR_PXI_MEM_BASE_BAR1_64 (0x3FFF0229U)
#define VI_ATTR_PXI_MEM_BASE_BAR2 (0x3FFF022AU)
#define VI_ATTR_PXI_MEM_BASE_BAR2_64 (0x3FFF022AU)
#define VI_ATTR_PXI_MEM_BASE_BAR3 (0x3FFF022BU)
#define VI_ATTR_PXI_MEM_BASE_BAR3_64 (0x3FFF022BU)
#define VI_ATTR_PXI_MEM_BASE_BAR4 (0x3FFF022CU)
#define VI_ATTR_PXI_MEM_BASE_BAR4_64 (0x3FFF022CU)
#define VI_ATTR_PXI_MEM_BASE_BAR5 (0x3FFF022DU)
#define VI_ATTR_PXI_MEM_BASE_BAR5_64 (0x3FFF022DU)
#define VI_ATTR_PXI_MEM_SIZE_BAR0_32 (0x3FFF0231U)
#define VI_ATTR_PXI_MEM_SIZE_BAR1_32 (0x3FFF0232U)
#define VI_ATTR_PXI_MEM_SIZE_BAR2_32 (0x3FFF0233U)
#define VI_ATTR_PXI_MEM_SIZE_BAR3_32 (0x3FFF0234U)
#define VI_ATTR_PXI_MEM_SIZE_BAR4_32 (0x3FFF0235U)
#define VI_ATTR_PXI_MEM_SIZE_BAR5_32 (0x3FFF0236U)
#define VI_ATTR_PXI_MEM_SIZE_BAR0 (0x3FFF0238U)
#define VI_ATTR_PXI_MEM_SIZE_BAR0_64 (0x3FFF0238U)
#define VI_ATTR_PXI_MEM_SIZE_BAR1 (0x3FFF0239U)
#define VI_ATTR_PXI_MEM_SIZE_BAR1_64 (0x3FFF0239U)
#define VI_ATTR_PXI_MEM_SIZE_BAR2 (0x3FFF023AU)
#define VI_ATTR_PXI_MEM_SIZE_BAR2_64 (0x3FFF023AU)
#define VI_ATTR_PXI_MEM_SIZE_BAR3 (0x3FFF023BU)
#define VI_ATTR_PXI_MEM_SIZE_BAR3_64 (0x3FFF023BU)
#define VI_ATTR_PXI_MEM_SIZE_BAR4 (0x3FFF023CU)
#define VI_ATTR_PXI_MEM_SIZE_BAR4_64 (0x3FFF023CU)
#define VI_ATTR_PXI_MEM_SIZE_BAR5 (0x3FFF023DU)
#define VI_ATTR_PXI_MEM_SIZE_BAR5_64 (0x3FFF023DU)
#define VI_ATTR_PXI_IS_EXPRESS (0x3FFF0240U)
#define VI_ATTR_PXI_SLOT_LWIDTH (0x3FFF0241U)
#define VI_ATTR_PXI_MAX_LWIDTH (0x3FFF0242U)
#define VI_ATTR_PXI_ACTUAL_LWIDTH (0x3FFF0243U)
#define VI_ATTR_PXI_DSTAR_BUS (0x3FFF0244U)
#define VI_ATTR_PXI_DSTAR_SET (0x3FFF0245U)
#define VI_ATTR_TCPIP_HISLIP_OVERLAP_EN (0x3FFF0300U)
#define VI_ATTR_TCPIP_HISLIP_VERSION (0x3FFF0301U)
#define VI_ATTR_TCPIP_HISLIP_MAX_MESSAGE_KB (0x3FFF0302U)
#define VI_ATTR_TCPIP_IS_HISLIP (0x3FFF0303U)
#define VI_ATTR_JOB_ID (0x3FFF4006U)
#define VI_ATTR_EVENT_TYPE (0x3FFF4010U)
#define VI_ATTR_SIGP_STATUS_ID (0x3FFF4011U)
#define VI_ATTR_RECV_TRIG_ID (0x3FFF4012U)
#define VI_ATTR_INTR_STATUS_ID (0x3FFF4023U)
#define VI_ATTR_STATUS (0x3FFF4025U)
#define VI_ATTR_RET_COUNT_32 (0x3FFF4026U)
#define VI_ATTR_BUFFER (0x3FFF4027U)
#define VI_ATTR_RET_COUNT (0x3FFF4028U)
#define VI_ATTR_RET_COUNT_64 (0x3FFF4028U)
#define VI_ATTR_RECV_INTR_LEVEL (0x3FFF4041U)
#define VI_ATTR_OPER_NAME (0xBFFF4042U)
#define VI_ATTR_VXI_TRIG_LINES_EN (0x3FFF4043U)
#define VI_ATTR_VXI_TRIG_DIR (0x3FFF4044U)
#define VI_ATTR_GPIB_RECV_CIC_STATE (0x3FFF4193U)
#define VI_ATTR_RECV_TCPIP_ADDR (0xBFFF4198U)
#define VI_ATTR_USB_RECV_INTR_SIZE (0x3FFF41B0U)
#define VI_ATTR_USB_RECV_INTR_DATA (0xBFFF41B1U)
#define VI_ATTR_PXI_RECV_INTR_SEQ (0x3FFF4240U)
#define VI_ATTR_PXI_RECV_INTR_DATA (0x3FFF4241U)

/* Attributes of this library */
#define QV_ATTR_DEVICE_NAME (0x3FFE0001U)
#define QV_ATTR_USB_INTR_OUT_PIPE (0x3FFE0002U)
#define QV_ATTR_CLASS (0x3FFE0003U)
#define QV_ATTR_CLASS_NAME (0x3FFE0004U)
#define QV_ATTR_INTERFACE_NAME (0x3FFE0005U)
#define QV_ATTR_BUILD_DATE_TIME (0x3FFE0006U)

/* USB class codes, the values of QV_ATTR_CLASS */
#define QV_CLASS_TMC (0x00FE0300)
#define QV_CLASS_TMC_USB488 (0x00FE0301)
#define QV_CLASS_DFU_RUNTIME (0x00FE0101)
#define QV_CLASS_DFU_DFU (3)
#define QV_CLASS_HID (0x00030000)
#define QV_CLASS_UNKNOWN (-1)

/* Events */
#define VI_EVENT_CLEAR (0x3FFF200DU)
#define VI_EVENT_EXCEPTION (0xBFFF200EU)
#define VI_EVENT_GPIB_CIC (0x3FFF2012U)
#define VI_EVENT_GPIB_LISTEN (0x3FFF2014U)
#define VI_EVENT_GPIB_TALK (0x3FFF2013U)
#define VI_EVENT_IO_COMPLETION (0x3FFF2009U)
#define VI_EVENT_PXI_INTR (0x3FFF2022U)
#define VI_EVENT_SERVICE_REQ (0x3FFF200BU)
#define VI_EVENT_TCPIP_CONNECT (0x3FFF2036U)
#define VI_EVENT_TRIG (0xBFFF200AU)
#define VI_EVENT_USB_INTR (0x3FFF2037U)
#define VI_EVENT_VXI_SIGP (0x3FFF2020U)
#define VI_EVENT_VXI_VME_INTR (0xBFFF2021U)
#define VI_EVENT_VXI_VME_SYSFAIL (0x3FFF201DU)
#define VI_EVENT_VXI_VME_SYSRESET (0x3FFF201EU)

/* Interface types */
#define VI_INTF_ASRL (4)
#define VI_INTF_FIREWIRE (9)
#define VI_INTF_GPIB (1)
#define VI_INTF_GPIB_VXI (3)
#define VI_INTF_PXI (5)
#define VI_INTF_RIO (8)
#define VI_INTF_TCPIP (6)
#define VI_INTF_USB (7)
#define VI_INTF_VXI (2)

/* Serial port values */
#define VI_ASRL488 (4)
#define VI_ASRL_END_BREAK (3)
#define VI_ASRL_END_LAST_BIT (1)
#define VI_ASRL_END_NONE (0)
#define VI_ASRL_END_TERMCHAR (2)
#define VI_ASRL_FLOW_DTR_DSR (4)
#define VI_ASRL_FLOW_NONE (0)
#define VI_ASRL_FLOW_RTS_CTS (2)
#define VI_ASRL_FLOW_XON_XOFF (1)
#define VI_ASRL_IN_BUF (16)
#define VI_ASRL_IN_BUF_DISCARD (64)
#define VI_ASRL_OUT_BUF (32)
#define VI_ASRL_OUT_BUF_DISCARD (128)
#define VI_ASRL_PAR_EVEN (2)
#define VI_ASRL_PAR_MARK (3)
#define VI_ASRL_PAR_NONE (0)
#define VI_ASRL_PAR_ODD (1)
#define VI_ASRL_PAR_SPACE (4)
#define VI_ASRL_STOP_ONE (10)
#define VI_ASRL_STOP_ONE5 (15)
#define VI_ASRL_STOP_TWO (20)
#define VI_ASRL_WIRE_232_AUTO (130)
#define VI_ASRL_WIRE_232_DCE (129)
#define VI_ASRL_WIRE_232_DTE (128)
#define VI_ASRL_WIRE_485_2_AUTO (3)
#define VI_ASRL_WIRE_485_2_DTR_CTRL (2)
#define VI_ASRL_WIRE_485_2_DTR_ECHO (1)
#define VI_ASRL_WIRE_485_4 (0)

/* I/O protocols */
#define VI_PROT_4882_STRS (4)
#define VI_PROT_FDC (2)
#define VI_PROT_HS488 (3)
#define VI_PROT_NORMAL (1)
#define VI_PROT_USBTMC_VENDOR (5)

/* GPIB values */
#define VI_GPIB_ATN_ASSERT (1)
#define VI_GPIB_ATN_ASSERT_IMMEDIATE (3)
#define VI_GPIB_ATN_DEASSERT (0)
#define VI_GPIB_ATN_DEASSERT_HANDSHAKE (2)
#define VI_GPIB_HS488_DISABLED (0)
#define VI_GPIB_HS488_NIMPL (-1)
#define VI_GPIB_LISTENER (2)
#define VI_GPIB_REN_ADDRESS_GTL (6)
#define VI_GPIB_REN_ASSERT (1)
#define VI_GPIB_REN_ASSERT_ADDRESS (3)
#define VI_GPIB_REN_ASSERT_ADDRESS_LLO (5)
#define VI_GPIB_REN_ASSERT_LLO (4)
#define VI_GPIB_REN_DEASSERT (0)
#define VI_GPIB_REN_DEASSERT_GTL (2)
#define VI_GPIB_TALKER (1)
#define VI_GPIB_UNADDRESSED (0)

/* USB values */
#define VI_USB_END_NONE (0)
#define VI_USB_END_SHORT (4)
#define VI_USB_END_SHORT_OR_COUNT (5)
#define VI_USB_PIPE_READY (0)
#define VI_USB_PIPE_STALLED (1)
#define VI_USB_PIPE_STATE_UNKNOWN (-1)

/* Line states */
#define VI_STATE_ASSERTED (1)
#define VI_STATE_UNASSERTED (0)
#define VI_STATE_UNKNOWN (-1)

/* Trigger values */
#define VI_TRIG_ALL (-2)
#define VI_TRIG_ECL0 (8)
#define VI_TRIG_ECL1 (9)
#define VI_TRIG_ECL2 (10)
#define VI_TRIG_ECL3 (11)
#define VI_TRIG_ECL4 (12)
#define VI_TRIG_ECL5 (13)
#define VI_TRIG_PANEL_IN (27)
#define VI_TRIG_PANEL_OUT (28)
#define VI_TRIG_PROT_DEFAULT (0)
#define VI_TRIG_PROT_OFF (2)
#define VI_TRIG_PROT_ON (1)
#define VI_TRIG_PROT_RESERVE (6)
#define VI_TRIG_PROT_SYNC (5)
#define VI_TRIG_PROT_UNRESERVE (7)
#define VI_TRIG_STAR_INSTR (26)
#define VI_TRIG_STAR_SLOT1 (14)
#define VI_TRIG_STAR_SLOT10 (23)
#define VI_TRIG_STAR_SLOT11 (24)
#define VI_TRIG_STAR_SLOT12 (25)
#define VI_TRIG_STAR_SLOT2 (15)
#define VI_TRIG_STAR_SLOT3 (16)
#define VI_TRIG_STAR_SLOT4 (17)
#define VI_TRIG_STAR_SLOT5 (18)
#define VI_TRIG_STAR_SLOT6 (19)
#define VI_TRIG_STAR_SLOT7 (20)
#define VI_TRIG_STAR_SLOT8 (21)
#define VI_TRIG_STAR_SLOT9 (22)
#define VI_TRIG_STAR_VXI0 (29)
#define VI_TRIG_STAR_VXI1 (30)
#define VI_TRIG_STAR_VXI2 (31)
#define VI_TRIG_SW (-1)
#define VI_TRIG_TTL0 (0)
#define VI_TRIG_TTL1 (1)
#define VI_TRIG_TTL10 (34)
#define VI_TRIG_TTL11 (35)
#define VI_TRIG_TTL2 (2)
#define VI_TRIG_TTL3 (3)
#define VI_TRIG_TTL4 (4)
#define VI_TRIG_TTL5 (5)
#define VI_TRIG_TTL6 (6)
#define VI_TRIG_TTL7 (7)
#define VI_TRIG_TTL8 (32)
#define VI_TRIG_TTL9 (33)

/* PXI values */
#define VI_PXI_ADDR_CFG (3)
#define VI_PXI_ADDR_IO (2)
#define VI_PXI_ADDR_MEM (1)
#define VI_PXI_ADDR_NONE (0)
#define VI_PXI_ALLOC_SPACE (9)
#define VI_PXI_BAR0_SPACE (11)
#define VI_PXI_BAR1_SPACE (12)
#define VI_PXI_BAR2_SPACE (13)
#define VI_PXI_BAR3_SPACE (14)
#define VI_PXI_BAR4_SPACE (15)
#define VI_PXI_BAR5_SPACE (16)
#define VI_PXI_CFG_SPACE (10)
#define VI_PXI_LBUS_NONE (0)
#define VI_PXI_LBUS_SCXI (2000)
#define VI_PXI_LBUS_STAR_TRIG_BUS_0 (1000)
#define VI_PXI_LBUS_STAR_TRIG_BUS_1 (1001)
#define VI_PXI_LBUS_STAR_TRIG_BUS_2 (1002)
#define VI_PXI_LBUS_STAR_TRIG_BUS_3 (1003)
#define VI_PXI_LBUS_STAR_TRIG_BUS_4 (1004)
#define VI_PXI_LBUS_STAR_TRIG_BUS_5 (1005)
#define VI_PXI_LBUS_STAR_TRIG_BUS_6 (1006)
#define VI_PXI_LBUS_STAR_TRIG_BUS_7 (1007)
#define VI_PXI_LBUS_STAR_TRIG_BUS_8 (1008)
#define VI_PXI_LBUS_STAR_TRIG_BUS_9 (1009)
#define VI_PXI_LBUS_UNKNOWN (-1)
#define VI_PXI_STAR_TRIG_CONTROLLER (1413)

/* VXI values */
#define VI_VXI_CLASS_EXTENDED (1)
#define VI_VXI_CLASS_MEMORY (0)
#define VI_VXI_CLASS_MESSAGE (2)
#define VI_VXI_CLASS_OTHER (4)
#define VI_VXI_CLASS_REGISTER (3)
#define VI_VXI_CMD16 (512)
#define VI_VXI_CMD16_RESP16 (514)
#define VI_VXI_CMD32 (1024)
#define VI_VXI_CMD32_RESP16 (1026)
#define VI_VXI_CMD32_RESP32 (1028)
#define VI_VXI_RESP16 (2)
#define VI_VXI_RESP32 (4)

/* Other constants */
#define VI_A16_SPACE (1)
#define VI_A24_SPACE (2)
#define VI_A32_SPACE (3)
#define VI_A64_SPACE (4)
#define VI_ALL_ENABLED_EVENTS (0x3FFF7FFFU)
#define VI_ALL_MECH (65535)
#define VI_ANY_HNDLR (0)
#define VI_ASSERT_IRQ1 (1)
#define VI_ASSERT_IRQ2 (2)
#define VI_ASSERT_IRQ3 (3)
#define VI_ASSERT_IRQ4 (4)
#define VI_ASSERT_IRQ5 (5)
#define VI_ASSERT_IRQ6 (6)
#define VI_ASSERT_IRQ7 (7)
#define VI_ASSERT_SIGNAL (-1)
#define VI_ASSERT_USE_ASSIGNED (0)
#define VI_BIG_ENDIAN (0)
#define VI_BLCK_NPRIV (5)
#define VI_BLCK_PRIV (4)
#define VI_D64_2EVME (8)
#define VI_D64_NPRIV (7)
#define VI_D64_PRIV (6)
#define VI_D64_SST160 (9)
#define VI_D64_SST267 (10)
#define VI_D64_SST320 (11)
#define VI_DATA_NPRIV (1)
#define VI_DATA_PRIV (0)
#define VI_DEREF_ADDR (3)
#define VI_EXCLUSIVE_LOCK (1)
#define VI_FDC (2)
#define VI_FDC_NORMAL (1)
#define VI_FDC_STREAM (2)
#define VI_FLUSH_DISABLE (3)
#define VI_FLUSH_ON_ACCESS (1)
#define VI_FLUSH_WHEN_FULL (2)
#define VI_HNDLR (2)
#define VI_HS488 (3)
#define VI_IO_IN_BUF (16)
#define VI_IO_IN_BUF_DISCARD (64)
#define VI_IO_OUT_BUF (32)
#define VI_IO_OUT_BUF_DISCARD (128)
#define VI_LITTLE_ENDIAN (1)
#define VI_LOAD_CONFIG (4)
#define VI_LOCAL_SPACE (0)
#define VI_NMAPPED (1)
#define VI_NORMAL (1)
#define VI_NO_LOCK (0)
#define VI_NO_SEC_ADDR (65535)
#define VI_OPAQUE_SPACE (65535)
#define VI_PROG_NPRIV (3)
#define VI_PROG_PRIV (2)
#define VI_QUEUE (1)
#define VI_READ_BUF (1)
#define VI_READ_BUF_DISCARD (4)
#define VI_SHARED_LOCK (2)
#define VI_SUSPEND_HNDLR (4)
#define VI_TMO_IMMEDIATE (0)
#define VI_TMO_INFINITE (0xFFFFFFFFU)
#define VI_UNKNOWN_LA (-1)
#define VI_UNKNOWN_LEVEL (-1)
#define VI_UNKNOWN_SLOT (-1)
#define VI_USE_OPERS (2)
#define VI_UTIL_ASSERT_SYSFAIL (2)
#define VI_UTIL_ASSERT_SYSRESET (1)
#define VI_UTIL_DEASSERT_SYSFAIL (3)
#define VI_WIDTH_16 (2)
#define VI_WIDTH_32 (4)
#define VI_WIDTH_64 (8)
#define VI_WIDTH_8 (1)
#define VI_WRITE_BUF (2)
#define VI_WRITE_BUF_DISCARD (8)

/* Operations. */

/**
 * @brief Starts the library, if it isn't up, and delivers the handle of the resource manager.
 *
 * May be called any number of times; nothing counts the calls. The library stays up for as long as a session or a find
 * list is open, whether or not the resource manager's handle was closed. The close of the last of these takes it down,
 * so that it has to be started again before the next search or open. A program that searches, closes the find list and
 * only then opens an instrument meets this: it calls QV_viOpenDefaultRM in between, or opens the instrument first.
 *
 * @param[out] vi  receives the handle, always 0x64190511; 0 on failure
 * @retval VI_SUCCESS             the library is up
 * @retval VI_ERROR_INV_OBJECT    vi is null
 * @retval VI_ERROR_SYSTEM_ERROR  another start, in this process or another of the same user, took longer than 1000 ms,
 *                                or ended in the middle; the call may be repeated. Also a USB failure
 * @retval VI_ERROR_ALLOC         no memory
 * @return Otherwise the status of the USB library's start. A start that failed isn't tried again in this process.
 * @see VPP-4.3, viOpenDefaultRM
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viOpenDefaultRM(ViPSession vi);

/**
 * @brief Searches the attached USB interfaces and serial ports.
 *
 * Listed are the interfaces of all USB instruments of vendor 0x7C5A that give their class per interface (those of other
 * vendors can be opened by name), and the system's serial ports. TCP/IP instruments are never listed. The answer is a
 * snapshot: USB resources first, then serial ports. Their names:
 *
 *     USB0::0x7C5A::0x0042::A1234::INSTR      USBTMC with USB488: vendor, product, serial number
 *     USB0::0x7C5A::0x0042::A1234::1::RAW     any other USB interface, with its number
 *     ASRL3::INSTR                            a serial port
 *
 * The expression is a regular part and, if wanted, an attribute part in braces behind it, with nothing but white space
 * behind that: `USB?*::INSTR{VI_ATTR_MODEL_CODE == 0x42}`. A resource is found when both agree.
 *
 * Regular part. It is looked for anywhere in the name (`::INSTR` finds all that contain it; `^` and `$` bind it to the
 * ends), case counts, and it has to match at least one character. Every `?*` in it is read as `.*`, any text, so that
 * the usual `?*::INSTR` works. A lone `?` doesn't mean "any character", as it does in VPP-4.3: it makes what stands
 * before it optional. One character, whichever, is `.`.
 *
 *     .  [abc]  [0-9]  [^abc]     any character; one out of a set, which may hold ranges; one that isn't in it
 *     *  +  ?                     after a character, a set or a group: any number, at least one, at most one
 *     *?  +?                      as * and +, but as few as possible
 *     ( ... )  |                  a group; alternatives, of a group or of the whole
 *     ^  $                        the start and the end of the name
 *     \d \s \S                    a digit, white space, anything else than white space
 *     \xHH                        the character with that hexadecimal code
 *     \. \* \? \+ \( \) \[ ...    the character itself
 *
 * Alternatives of the whole are written without groups, `USB?*|ASRL?*`, or within one group, `(USB|ASRL)?*`: groups in
 * more than one alternative, as in `(USB?*)|(ASRL?*)`, all stand for the text of the first, which here finds no ASRL.
 * What `?` or an alternative has taken isn't given back when the rest fails: `U?USB` finds nothing in a name that
 * begins with USB. Up to 99 groups and 100 bars are read. An expression that isn't valid, or that takes too many
 * attempts on a name (some thousands, far beyond what is written for a purpose), doesn't match.
 *
 * Attribute part. Comparisons (`==` `!=` `<` `<=` `>` `>=`) of an attribute and a number, in either order, decimal or
 * hexadecimal as in 0x7C5A, without a sign; `&&`, `||`, `!` and parentheses. `&&` binds closer than `||`, and `!` less
 * than both: it stands at the start of a level and negates all of that level, so that one term is negated as
 * `(!(VI_ATTR_USB_CLASS == 254))`, in parentheses of its own behind an operator. The attributes:
 *
 *     VI_ATTR_MANF_ID        the vendor; of a serial port that of its USB adapter, or 0
 *     VI_ATTR_MODEL_CODE     the product, likewise
 *     VI_ATTR_USB_CLASS      of a USB interface, as VI_ATTR_USB_SUBCLASS and VI_ATTR_USB_PROTOCOL
 *     VI_ATTR_ASRL_BAUD      115200 for each serial port, 0 for USB
 *
 * An attribute of the other bus doesn't exclude a resource: the USB class of a serial port, say, is that of the last
 * USB interface listed. Name the bus in the regular part. VI_ATTR_USB_SERIAL_NUM, VI_ATTR_MANF_NAME, VI_ATTR_MODEL_NAME
 * and text in quotation marks are read but can't be compared. What can be read but not evaluated finds nothing.
 *
 * @param[in]  sesn    the resource manager's handle
 * @param[in]  expr    the expression; its regular part holds at most 255 characters, its attribute part 4096
 * @param[out] vi      receives the handle of a find list, which the caller closes with QV_viClose; may be null, and
 *                     then no find list is made
 * @param[out] retCnt  receives the number of matches; may be null
 * @param[out] desc    receives the first match, up to VI_FIND_BUFLEN characters; may be null
 * @retval VI_SUCCESS              at least one match
 * @retval VI_ERROR_SYSTEM_ERROR   the library isn't up
 * @retval VI_ERROR_INV_OBJECT     sesn isn't the resource manager's handle, or expr is null
 * @retval VI_ERROR_RSRC_NFOUND    nothing matches, or the regular part isn't valid
 * @retval VI_ERROR_INV_RSRC_NAME  the attribute part can't be read, or a part is too long
 * @retval VI_ERROR_ALLOC          no memory, or 16 find lists are open
 * @return Otherwise the status of a failed enumeration. On every failure *vi and *retCnt are 0 and desc is empty.
 * @note Holds up every other operation's handle look-up until it returns.
 * @see VPP-4.3, viFindRsrc
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viFindRsrc(ViSession sesn, ViString expr, ViPFindList vi, ViPUInt32 retCnt,
                                              ViChar* desc);

/**
 * @brief Delivers the next resource name of a find list.
 *
 * Two threads on one find list get every result exactly once between them.
 *
 * @param[in]  vi    the find list's handle
 * @param[out] desc  receives the name, up to VI_FIND_BUFLEN characters
 * @retval VI_SUCCESS             a name was delivered
 * @retval VI_ERROR_SYSTEM_ERROR  the library isn't up
 * @retval VI_ERROR_INV_PARAMETER desc is null
 * @retval VI_ERROR_INV_OBJECT    vi isn't a find list
 * @retval VI_ERROR_RSRC_NFOUND   no result is left; desc is unchanged and the list stays open
 * @see VPP-4.3, viFindNext
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viFindNext(ViFindList vi, ViChar* desc);

/**
 * @brief Opens the instrument that a resource name tells.
 *
 * Names, by example: `USB0::0x7C5A::0x0042::A1234::INSTR`, `USB0::0x7C5A::0x0043::B5678::1::RAW`, `ASRL3::INSTR`,
 * `COM3::9600`, `TCPIP0::192.0.2.7::5025::SOCKET`, `TCPIP0::host::inst0::INSTR`.
 *
 * Opening one of several USB instruments with the same vendor and product touches the others for a moment: each in turn
 * is opened and its interface claimed (taken from a driver of the system and given back) before its serial number can
 * be read. One that another session or process holds stays undisturbed.
 *
 * @param[in]  sesn     the resource manager's handle
 * @param[in]  name     the resource name, NUL-terminated
 * @param[in]  mode     VI_NO_LOCK or VI_EXCLUSIVE_LOCK; only reported back as VI_ATTR_RSRC_LOCK_STATE
 * @param[in]  timeout  accepted and without effect
 * @param[out] vi       receives the session's handle, which the caller closes with QV_viClose; unchanged on failure
 * @retval VI_SUCCESS              the session is open
 * @retval VI_ERROR_SYSTEM_ERROR   the library isn't up; a TCP connection failed; a serial port is held by someone else
 * @retval VI_ERROR_INV_PARAMETER  sesn isn't the resource manager's handle, mode is above VI_EXCLUSIVE_LOCK, or name is
 *                                 null
 * @retval VI_ERROR_INV_RSRC_NAME  no bus knows the name
 * @retval VI_ERROR_RSRC_NFOUND    no such instrument, or it can't be opened or claimed
 * @retval VI_ERROR_INV_OBJECT     vi is null
 * @retval VI_ERROR_ALLOC          no memory, or 128 sessions are open
 * @retval VI_SUCCESS_DEV_NPRESENT (positive) the USB device went away during the open; there is no session
 * @return Otherwise the status of the bus's failing step.
 * @note Holds up every other operation's handle look-up while the instrument is searched and opened.
 * @see VPP-4.3, viOpen
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viOpen(ViSession sesn, ViRsrc name, ViAccessMode mode, ViUInt32 timeout,
                                          ViPSession vi);

/**
 * @brief Closes a session, a find list or the resource manager's handle.
 *
 * The handle is invalid from the call on. An operation of another thread that is still running on the session ends as
 * it would have, and the instrument is let go when the last one has ended. A serial line gets 1.5 s to send what was
 * written; what it holds up longer is dropped, and the close takes 2 s at most. The close that leaves no session and no
 * find list takes the library down, whatever was closed, and QV_viOpenDefaultRM has to start it again; closing the
 * resource manager's handle while others are open changes nothing.
 *
 * @param[in] vi  the handle
 * @retval VI_SUCCESS           closed, or the library isn't up
 * @retval VI_ERROR_INV_OBJECT  vi is no open object
 * @see VPP-4.3, viClose
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viClose(ViObject vi);

/**
 * @brief Sets an attribute of a session.
 *
 * VI_ATTR_TMO_VALUE is in milliseconds. On USB its ends are the opposite of VPP-4.3: VI_TMO_IMMEDIATE (0) waits for
 * ever, and VI_TMO_INFINITE is a limit of that many milliseconds, some 50 days.
 *
 * @param[in] vi         the session
 * @param[in] attrName   the attribute's code
 * @param[in] attrValue  the new value; attributes narrower than 32 bits take its low bits, but for the boolean ones,
 *                       which look at the whole value: only 0 is VI_FALSE, and 0x10000 is VI_TRUE
 * @retval VI_SUCCESS                set
 * @retval VI_ERROR_SYSTEM_ERROR     the library isn't up, or the port failed
 * @retval VI_ERROR_INV_OBJECT       vi is neither a session nor a find list
 * @retval VI_ERROR_NIMPL_OPER       vi is a find list, which has no attributes
 * @retval VI_ERROR_NSUP_ATTR        the session doesn't know the attribute
 * @retval VI_ERROR_NSUP_ATTR_STATE  the session doesn't take this value
 * @retval VI_ERROR_ATTR_READONLY    the attribute can't be set
 * @retval VI_ERROR_INV_ACC_MODE     USB: a protocol that the session doesn't speak, or no such endpoint
 * @retval VI_ERROR_NSUP_MODE        serial: the line doesn't offer this value
 * @retval VI_ERROR_INV_SETUP        serial: transmission can't be stopped without XON/XOFF flow control
 * @retval VI_ERROR_INV_PARAMETER    serial: a line state that the port refuses
 * @return On TCP/IP, -1 where the socket refused a time limit.
 * @see VPP-4.3, viSetAttribute
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viSetAttribute(ViObject vi, ViAttr attrName, ViAttrState attrValue);

/**
 * @brief Reads an attribute of a session.
 *
 * @param[in]  vi         the session
 * @param[in]  attrName   the attribute's code
 * @param[out] attrValue  receives the value in the width of the attribute's VISA type (1, 2 or 4 bytes); a string
 *                        attribute needs MAX_BUF_SIZE_ATTR characters. Null is VI_SUCCESS and reads nothing
 * @retval VI_SUCCESS             delivered
 * @retval VI_ERROR_SYSTEM_ERROR  the library isn't up, or the port failed
 * @retval VI_ERROR_INV_OBJECT    vi is neither a session nor a find list
 * @retval VI_ERROR_NIMPL_OPER    vi is a find list, which has no attributes
 * @retval VI_ERROR_NSUP_ATTR     the session doesn't know the attribute
 * @retval VI_ERROR_IO            TCP/IP: the socket didn't answer
 * @retval VI_WARN_NULL_OBJECT    USB: the state of a pipe isn't known; nothing is written
 * @see VPP-4.3, viGetAttribute
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viGetAttribute(ViObject vi, ViAttr attrName, void* attrValue);

/**
 * @brief Turns a status code into a line of text. Works also while the library isn't up.
 *
 * @param[in]  vi      not read
 * @param[in]  status  the code
 * @param[out] desc    receives the text; all MAX_STATUS_DESCRIPTION characters are written
 * @retval VI_SUCCESS              the code is known
 * @retval VI_WARN_UNKNOWN_STATUS  it isn't, and desc says so
 * @retval VI_ERROR_USER_BUF       desc is null
 * @see VPP-4.3, viStatusDesc
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viStatusDesc(ViObject vi, ViStatus status, ViChar* desc);

/**
 * @brief Reads from the instrument, blocking for up to the session's time limit.
 *
 * USBTMC: one whole response, see below. Raw USB: one bulk transfer; make cnt a multiple of the endpoint's packet size,
 * since a packet that doesn't fit is lost (VI_ERROR_QUEUE_OVERFLOW). Serial: up to the end condition of the session's
 * attributes or cnt bytes. TCP/IP: what one receive delivers; 0 bytes when the peer has closed.
 *
 * A USBTMC response arrives whole or not at all, and an instrument that is asked for less than it has fails the read,
 * so give room for 3060 bytes. Up to 2036 bytes always arrive. From 2037 to 3060 bytes the response comes in two
 * transfers, whose lengths have to add up: from an instrument that pads to a multiple of 4 bytes, as most do, only
 * lengths that are such a multiple arrive, and others are VI_ERROR_IO. Longer ones are VI_ERROR_IO. Ask for long data
 * in parts.
 *
 * Something can stay behind in the instrument: the rest of a response above 3060 bytes, or the empty packet that some
 * instruments send when a response, padding included, fills the transfers to the last byte (2036 or 3060 bytes). The
 * next read meets it, and from then on each read the answer to the one before: VI_ERROR_IO every time. QV_viClear ends
 * that.
 *
 * @param[in]  vi      the session
 * @param[out] buf     room for cnt bytes
 * @param[in]  cnt     size of buf in bytes
 * @param[out] retCnt  receives the number of bytes delivered; may be null
 * @retval VI_SUCCESS                     read, whatever ended it
 * @retval VI_ERROR_SYSTEM_ERROR          the library isn't up, or the port failed
 * @retval VI_ERROR_INV_OBJECT            vi isn't a session, or buf is null with cnt above 0
 * @retval VI_ERROR_TMO                   the time limit ran out
 * @retval VI_ERROR_INV_ACC_MODE          USB: the interface has no such endpoint
 * @retval VI_ERROR_IO                    USB: the device's answer isn't what the protocol asks for, or a bus error
 * @retval VI_ERROR_RESP_PENDING          USB: the device didn't finish the abort after a time-out
 * @retval VI_ERROR_INV_MODE              USB: the device refused the abort after a time-out
 * @retval QVVI_ERR_CTL_TRANSFER_STALLED  USB: the device stalled or lost the request
 * @retval VI_SUCCESS_DEV_NPRESENT        USB (positive): the device is gone; no data
 * @return On TCP/IP, -1 for any failure, the time limit included. Otherwise the status of the USB library's failure.
 * @see VPP-4.3, viRead
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viRead(ViSession vi, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt);

/**
 * @brief Writes to the instrument, blocking for up to the session's time limit.
 *
 * USBTMC: one message of at most 4084 bytes. Raw USB: one bulk transfer. Serial: the bytes and the end mark of the
 * session's attributes; under VI_ASRL_END_LAST_BIT and VI_ATTR_ASRL_DISCARD_NULL the caller's buffer is changed in
 * place. TCP/IP: one send, which may take fewer bytes.
 *
 * @param[in]     vi      the session
 * @param[in,out] buf     the bytes
 * @param[in]     cnt     their number
 * @param[out]    retCnt  receives the number of bytes sent; may be null
 * @retval VI_SUCCESS                     sent
 * @retval VI_ERROR_SYSTEM_ERROR          the library isn't up, or the port failed
 * @retval VI_ERROR_INV_OBJECT            vi isn't a session, or buf is null with cnt above 0
 * @retval VI_ERROR_TMO                   USB: the time limit ran out; *retCnt says how far it came
 * @retval VI_ERROR_INV_ACC_MODE          USB: the interface has no such endpoint
 * @retval VI_ERROR_INV_LENGTH            USB: more than 4084 bytes; nothing was sent
 * @retval VI_ERROR_IO                    USB: a bus error
 * @retval QVVI_ERR_CTL_TRANSFER_STALLED  USB: the device stalled
 * @retval VI_SUCCESS_DEV_NPRESENT        USB (positive): the device is gone
 * @return On TCP/IP, -1 for any failure. Otherwise the status of the USB library's failure.
 * @see VPP-4.3, viWrite
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viWrite(ViSession vi, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt);

/**
 * @brief Reads the status byte of a USBTMC instrument.
 *
 * @param[in]  vi      the session
 * @param[out] status  receives the status byte, in the low 8 bits; written on success only
 * @retval VI_SUCCESS             delivered
 * @retval VI_ERROR_SYSTEM_ERROR  the library isn't up
 * @retval VI_ERROR_INV_OBJECT    status is null, or vi isn't a session
 * @retval VI_ERROR_NSUP_OPER     not a USBTMC session
 * @retval VI_ERROR_TMO           no answer within the time limit
 * @retval VI_ERROR_IO            the answer is too short or carries another tag
 * @return Otherwise the status of the USB library's failure.
 * @see VPP-4.3, viReadSTB, USB488 1.0 section 4.3.1
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viReadSTB(ViSession vi, ViPUInt16 status);

/**
 * @brief Clears a USBTMC instrument: its input, its output and the message in progress.
 *
 * An instrument may halt its Bulk-OUT endpoint for the clear until it receives CLEAR_FEATURE, which isn't sent here. It
 * answers the next write with QVVI_ERR_CTL_TRANSFER_STALLED, and this cures it:
 *
 *     ViUInt16 endpoint;
 *     QV_viGetAttribute(vi, VI_ATTR_USB_BULK_OUT_PIPE, &endpoint);
 *     QV_viUsbControlOut(vi, 2, 1, 0, endpoint, 0, VI_NULL);
 *
 * @param[in] vi  the session
 * @retval VI_SUCCESS             cleared
 * @retval VI_ERROR_SYSTEM_ERROR  the library isn't up
 * @retval VI_ERROR_INV_OBJECT    vi isn't a session
 * @retval VI_ERROR_NSUP_OPER     not a USBTMC session
 * @retval QVVI_NEEDS_EQUIVALENT  the device refused, isn't done yet, or has data to be read first; may be repeated
 * @return Otherwise the status of the USB library's failure.
 * @see VPP-4.3, viClear, USBTMC 1.0 sections 4.2.1.6 and 4.2.1.7
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viClear(ViSession vi);

/**
 * @brief Does nothing: no bus buffers data.
 *
 * @param[in] vi    not read
 * @param[in] mask  not read
 * @retval VI_SUCCESS  always, also while the library isn't up
 * @see VPP-4.3, viFlush
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viFlush(ViSession vi, ViUInt16 mask);

/**
 * @brief Controls remote enable of a USB instrument.
 *
 * @param[in] vi    the session; on a raw one the device's answer decides
 * @param[in] mode  VI_GPIB_REN_DEASSERT to VI_GPIB_REN_ADDRESS_GTL
 * @retval VI_SUCCESS                     done
 * @retval VI_ERROR_SYSTEM_ERROR          the library isn't up
 * @retval VI_ERROR_INV_OBJECT            vi isn't a session
 * @retval VI_ERROR_NSUP_OPER             not a USB session
 * @retval VI_ERROR_INV_MODE              no such mode; nothing was sent
 * @retval VI_ERROR_IO                    the device answered with a failure
 * @retval QVVI_ERR_CTL_TRANSFER_STALLED  the device doesn't know the request
 * @return Otherwise the status of the USB library's failure.
 * @see VPP-4.3, viGpibControlREN, USB488 1.0 section 4.3.2
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viGpibControlREN(ViSession vi, ViUInt16 mode);

/**
 * @brief Sends a control request with data to the device, or without data.
 *
 * @param[in] vi             the session
 * @param[in] bmRequestType  the low 8 bits go to the wire; bit 7 must be 0
 * @param[in] bRequest       the low 8 bits go to the wire
 * @param[in] wValue         as on the wire
 * @param[in] wIndex         as on the wire
 * @param[in] wLength        number of bytes in buf
 * @param[in] buf            the data; may be null with wLength 0
 * @retval VI_SUCCESS                     sent
 * @retval VI_ERROR_SYSTEM_ERROR          the library isn't up
 * @retval VI_ERROR_INV_OBJECT            vi isn't a session, or buf is null with wLength above 0
 * @retval VI_ERROR_NSUP_OPER             not a USB session
 * @retval VI_ERROR_INV_PARAMETER         bit 7 of bmRequestType is 1
 * @retval QVVI_ERR_CTL_TRANSFER_STALLED  the device doesn't know the request
 * @return Otherwise the status of the USB library's failure.
 * @see VPP-4.3, viUsbControlOut
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viUsbControlOut(ViSession vi, ViInt16 bmRequestType, ViInt16 bRequest,
                                                   ViUInt16 wValue, ViUInt16 wIndex, ViUInt16 wLength, ViBuf buf);

/**
 * @brief Sends a control request and receives the device's data.
 *
 * @param[in]  vi             the session
 * @param[in]  bmRequestType  the low 8 bits go to the wire; bit 7 must be 1
 * @param[in]  bRequest       the low 8 bits go to the wire
 * @param[in]  wValue         as on the wire
 * @param[in]  wIndex         as on the wire
 * @param[in]  wLength        size of buf in bytes
 * @param[out] buf            receives the data; may be null with wLength 0
 * @param[out] retCnt         receives the number of bytes received, 0 on failure; may be null
 * @retval VI_SUCCESS                     received, possibly fewer bytes than wLength
 * @retval VI_ERROR_SYSTEM_ERROR          the library isn't up
 * @retval VI_ERROR_INV_OBJECT            vi isn't a session, or buf is null with wLength above 0
 * @retval VI_ERROR_NSUP_OPER             not a USB session
 * @retval VI_ERROR_INV_PARAMETER         bit 7 of bmRequestType is 0
 * @retval QVVI_ERR_CTL_TRANSFER_STALLED  the device doesn't know the request
 * @return Otherwise the status of the USB library's failure.
 * @see VPP-4.3, viUsbControlIn
 */
QVVISA_PUBLIC ViStatus _VI_FUNC QV_viUsbControlIn(ViSession vi, ViInt16 bmRequestType, ViInt16 bRequest,
                                                  ViUInt16 wValue, ViUInt16 wIndex, ViUInt16 wLength, ViPBuf buf,
                                                  ViPUInt16 retCnt);

#ifdef __cplusplus
}
#endif

#endif
