/**
 * @file QVvisa_std.h
 * @brief The operations of the VISA library standard (VPP-4.3) under the standard's names, over QVvisa.
 *
 * Types, constants, attributes and status codes are those of QVvisa.h, which this header includes. Programs link
 * `libQVvisa_std.so` alone. Usable from C99 and C++. What isn't said here is as VPP-4.3 says; docs/std.md lists what
 * the buses of this library can't do.
 *
 * Threads: any thread may call any operation. Operations on different sessions don't hold each other up, but for
 * viOpen, viFindRsrc and viClose, which run one after the other. On one session reads wait for reads and writes for
 * writes, a read and a write run side by side.
 *
 * Status: VI_SUCCESS, a negative error or a positive completion code, every one of them the standard's. Beside those
 * named at an operation, each may return VI_ERROR_INV_OBJECT for a handle that is none of its kind; operations that
 * reach an instrument VI_ERROR_RSRC_LOCKED while another session has locked it, VI_ERROR_CONN_LOST where the line or
 * the device is gone, VI_ERROR_IO where it misbehaved, VI_ERROR_ALLOC and VI_ERROR_SYSTEM_ERROR.
 */
#ifndef QVVISA_STD_H
#define QVVISA_STD_H

#include "QVvisa.h"

#include <stdarg.h>

#if defined(_WIN32)
#define _VI_FUNCC __cdecl
#else
#define _VI_FUNCC
#endif
#define _VI_FUNCH _VI_FUNC

#ifdef __cplusplus
extern "C" {
#endif

/** The version of the standard, as VI_ATTR_RSRC_SPEC_VERSION gives it. */
#define VI_SPEC_VERSION (0x00500000U)
#define VI_VERSION_MAJOR(ver) (((ViVersion)(ver)&0xFFF00000U) >> 20)
#define VI_VERSION_MINOR(ver) (((ViVersion)(ver)&0x000FFF00U) >> 8)
#define VI_VERSION_SUBMINOR(ver) ((ViVersion)(ver)&0x000000FFU)
#define VI_ERROR_INV_SESSION VI_ERROR_INV_OBJECT

/* Types of VPP-4.3 and VPP-4.3.2 that only these operations use. */

typedef const ViChar* ViConstString;
typedef const ViChar* ViConstRsrc;
typedef const ViByte* ViConstBuf;
typedef ViString ViKeyId;
typedef ViConstString ViConstKeyId;
typedef ViUInt32 ViEventFilter;
typedef ViUInt32 ViJobId;
typedef ViJobId* ViPJobId;
typedef ViEventType* ViPEventType;
typedef ViEvent* ViPEvent;
typedef ViAddr* ViPAddr;
typedef ViReal32* ViPReal32;
typedef ViReal64* ViPReal64;
typedef va_list ViVAList;
#if UINTPTR_MAX > 0xFFFFFFFFU
typedef ViUInt64 ViBusAddress;
typedef ViUInt64 ViBusSize;
/* An attribute's state has the width of an address. */
#undef VI_ATTR_USER_DATA
#define VI_ATTR_USER_DATA VI_ATTR_USER_DATA_64
#else
typedef ViUInt32 ViBusAddress;
typedef ViUInt32 ViBusSize;
#endif
typedef ViBusAddress* ViPBusAddress;
typedef ViUInt64 ViBusAddress64;
typedef ViBusAddress64* ViPBusAddress64;
typedef ViStatus(_VI_FUNCH* ViHndlr)(ViSession vi, ViEventType eventType, ViEvent event, ViAddr userHandle);

/* Resource manager */

/**
 * @brief Opens a session to the resource manager.
 *
 * Each call delivers a session of its own. Its viClose closes the sessions and find lists that were opened through it
 * and no others.
 *
 * @param[out] vi  receives the session; VI_NULL on failure
 * @retval VI_ERROR_USER_BUF  vi is null
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viOpenDefaultRM(ViPSession vi);

/**
 * @brief Searches the attached USB interfaces and serial ports; TCP/IP instruments are never listed.
 *
 * @param[in]  sesn    a session of the resource manager
 * @param[in]  expr    the expression: up to 255 characters, and an attribute part in braces if wanted. One that matches
 *                     nothing as it stands is tried again in upper case, the case of the names
 * @param[out] vi      receives a find list, which the caller closes; may be null
 * @param[out] retCnt  receives the number of matches; may be null
 * @param[out] desc    receives the first match, up to VI_FIND_BUFLEN characters
 * @retval VI_ERROR_RSRC_NFOUND  nothing matches
 * @retval VI_ERROR_INV_EXPR     the expression can't be read
 * @retval VI_ERROR_USER_BUF     desc is null
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viFindRsrc(ViSession sesn, ViConstString expr, ViPFindList vi, ViPUInt32 retCnt,
                                           ViChar* desc);

/**
 * @brief Delivers the next name of a find list, into room for VI_FIND_BUFLEN characters.
 * @retval VI_ERROR_RSRC_NFOUND  none is left
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viFindNext(ViFindList vi, ViChar* desc);

/**
 * @brief Tells the interface type and number of a resource name without opening it.
 * @retval VI_ERROR_INV_RSRC_NAME      not a name that this library can open
 * @retval VI_ERROR_INTF_NUM_NCONFIG   a USB board other than 0
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viParseRsrc(ViSession rmSesn, ViConstRsrc rsrcName, ViPUInt16 intfType,
                                            ViPUInt16 intfNum);

/**
 * @brief The same with the resource class, the name in full and an alias, of which there are none; each text may take
 * VI_FIND_BUFLEN characters, each pointer may be null.
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viParseRsrcEx(ViSession rmSesn, ViConstRsrc rsrcName, ViPUInt16 intfType,
                                              ViPUInt16 intfNum, ViChar* rsrcClass, ViChar* expandedUnaliasedName,
                                              ViChar* aliasIfExists);

/**
 * @brief Opens a session to an instrument.
 *
 * Names in any case, with or without the board number and `::INSTR`: `usb::0x7c5a::0x42::A1234`, `asrl3`,
 * `TCPIP::192.0.2.7::5025::SOCKET`; `COM3::9600` sets the rate as well.
 *
 * @param[in]  sesn        a session of the resource manager
 * @param[in]  name        the name
 * @param[in]  mode        VI_NO_LOCK, or VI_EXCLUSIVE_LOCK to hold that lock from the start, with VI_LOAD_CONFIG or not
 * @param[in]  openTimeout  how long to wait for the lock, in ms; not for the instrument
 * @param[out] vi          receives the session; VI_NULL on failure
 * @retval VI_WARN_CONFIG_NLOADED     (positive) open; there is no configuration to load
 * @retval VI_ERROR_INV_RSRC_NAME     not a name that this library can open
 * @retval VI_ERROR_INTF_NUM_NCONFIG  a USB board other than 0
 * @retval VI_ERROR_RSRC_NFOUND       no such instrument, or it can't be reached
 * @retval VI_ERROR_RSRC_BUSY         somebody else has the port or the USB interface
 * @retval VI_ERROR_TMO               another session kept the lock
 * @retval VI_ERROR_INV_ACC_MODE      another mode
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viOpen(ViSession sesn, ViConstRsrc name, ViAccessMode mode, ViUInt32 openTimeout,
                                       ViPSession vi);

/* Resource template */

/**
 * @brief Closes a session or a find list. The locks of a session go with it; what its write buffer holds isn't sent.
 * @retval VI_WARN_NULL_OBJECT  (positive) vi is VI_NULL
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viClose(ViObject vi);

/**
 * @brief Sets an attribute.
 * @retval VI_ERROR_NSUP_ATTR        the session doesn't know the attribute
 * @retval VI_ERROR_NSUP_ATTR_STATE  it doesn't take this value
 * @retval VI_ERROR_ATTR_READONLY    it can't be set
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viSetAttribute(ViObject vi, ViAttr attrName, ViBusSize attrValue);

/**
 * @brief Reads an attribute, in the width of its type; texts take up to 256 characters.
 * @retval VI_ERROR_NSUP_ATTR  the object doesn't know the attribute
 * @retval VI_ERROR_USER_BUF   attrValue is null
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viGetAttribute(ViObject vi, ViAttr attrName, void* attrValue);

/** @brief Describes a status in up to MAX_STATUS_DESCRIPTION characters. */
QVVISA_PUBLIC ViStatus _VI_FUNC viStatusDesc(ViObject vi, ViStatus status, ViChar* desc);

/**
 * @brief Locks a resource against the other sessions of this process that have opened it under the same name.
 *
 * Locks nest. A session with a shared lock may take an exclusive one on top, which keeps the other sharers out.
 *
 * @param[in]  vi            the session
 * @param[in]  lockType      VI_EXCLUSIVE_LOCK or VI_SHARED_LOCK
 * @param[in]  timeout       how long to wait for the others, in ms
 * @param[in]  requestedKey  the key of a shared lock, up to 255 characters; null for one of the library's making
 * @param[out] accessKey     receives the key of a shared lock in up to 256 characters; may be null
 * @retval VI_SUCCESS_NESTED_EXCLUSIVE, VI_SUCCESS_NESTED_SHARED  (positive) the session has this lock more than once
 * @retval VI_ERROR_TMO              others kept their lock
 * @retval VI_ERROR_INV_LOCK_TYPE    another type
 * @retval VI_ERROR_INV_ACCESS_KEY   the resource is shared under another key, or the key is too long
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viLock(ViSession vi, ViAccessMode lockType, ViUInt32 timeout, ViConstKeyId requestedKey,
                                       ViChar* accessKey);

/**
 * @brief Gives a lock back, an exclusive one first.
 * @retval VI_SUCCESS_NESTED_EXCLUSIVE, VI_SUCCESS_NESTED_SHARED  (positive) the session still has such a lock
 * @retval VI_ERROR_SESN_NLOCKED  it had none
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viUnlock(ViSession vi);

/* Events: there are none. Enabling one is refused, disabling and discarding succeed. */

/** @retval VI_ERROR_INV_EVENT */
QVVISA_PUBLIC ViStatus _VI_FUNC viEnableEvent(ViSession vi, ViEventType eventType, ViUInt16 mechanism,
                                              ViEventFilter context);
/** @retval VI_SUCCESS_EVENT_DIS */
QVVISA_PUBLIC ViStatus _VI_FUNC viDisableEvent(ViSession vi, ViEventType eventType, ViUInt16 mechanism);
/** @retval VI_SUCCESS_QUEUE_EMPTY */
QVVISA_PUBLIC ViStatus _VI_FUNC viDiscardEvents(ViSession vi, ViEventType eventType, ViUInt16 mechanism);
/** @retval VI_ERROR_NENABLED */
QVVISA_PUBLIC ViStatus _VI_FUNC viWaitOnEvent(ViSession vi, ViEventType inEventType, ViUInt32 timeout,
                                              ViPEventType outEventType, ViPEvent outContext);
/** @retval VI_ERROR_INV_EVENT */
QVVISA_PUBLIC ViStatus _VI_FUNC viInstallHandler(ViSession vi, ViEventType eventType, ViHndlr handler,
                                                 ViAddr userHandle);
/** @retval VI_ERROR_HNDLR_NINSTALLED */
QVVISA_PUBLIC ViStatus _VI_FUNC viUninstallHandler(ViSession vi, ViEventType eventType, ViHndlr handler,
                                                   ViAddr userHandle);

/* Basic I/O */

/**
 * @brief Reads up to the end of the message, the termination character, cnt bytes or the time limit.
 *
 * @param[in]  vi      the session
 * @param[out] buf     room for cnt bytes
 * @param[in]  cnt     its size
 * @param[out] retCnt  receives the number of bytes delivered, after an error too; may be null
 * @retval VI_SUCCESS            the end of a USB message or transfer, the end that VI_ATTR_ASRL_END_IN tells, or, with
 *                               VI_ATTR_SUPPRESS_END_EN off, all that a TCP connection had
 * @retval VI_SUCCESS_TERM_CHAR  (positive) VI_ATTR_TERMCHAR, which VI_ATTR_TERMCHAR_EN looks for
 * @retval VI_SUCCESS_MAX_CNT    (positive) cnt bytes; what follows is for the next read
 * @retval VI_ERROR_TMO          the time limit; what came until then is delivered
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viRead(ViSession vi, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt);

/**
 * @brief Writes all of a buffer, which stays as it is, and the end that the session's attributes tell.
 *
 * @param[in]  vi      the session
 * @param[in]  buf     the bytes
 * @param[in]  cnt     their number; up to 4084 for a USBTMC instrument, whose message they are
 * @param[out] retCnt  receives how many were sent, after an error too; may be null
 * @retval VI_ERROR_TMO         the time limit; TCP knows none for writing
 * @retval VI_ERROR_INV_LENGTH  too long for a USBTMC message; nothing was sent
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viWrite(ViSession vi, ViConstBuf buf, ViUInt32 cnt, ViPUInt32 retCnt);

/** @retval VI_ERROR_NSUP_OPER */
QVVISA_PUBLIC ViStatus _VI_FUNC viReadAsync(ViSession vi, ViPBuf buf, ViUInt32 cnt, ViPJobId jobId);
/** @retval VI_ERROR_NSUP_OPER */
QVVISA_PUBLIC ViStatus _VI_FUNC viWriteAsync(ViSession vi, ViConstBuf buf, ViUInt32 cnt, ViPJobId jobId);
/** @retval VI_ERROR_NSUP_OPER */
QVVISA_PUBLIC ViStatus _VI_FUNC viTerminate(ViObject vi, ViUInt16 degree, ViJobId jobId);

/**
 * @brief Reads cnt bytes, or up to an end as viRead does, into a file, replaced unless VI_ATTR_FILE_APPEND_EN is set.
 * @retval VI_ERROR_FILE_ACCESS  the file can't be opened
 * @retval VI_ERROR_FILE_IO      it can't be written
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viReadToFile(ViSession vi, ViConstString filename, ViUInt32 cnt, ViPUInt32 retCnt);

/**
 * @brief Writes up to cnt bytes of a file, as one message.
 * @retval VI_ERROR_FILE_ACCESS  the file can't be opened
 * @retval VI_ERROR_FILE_IO      it can't be read
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viWriteFromFile(ViSession vi, ViConstString filename, ViUInt32 cnt, ViPUInt32 retCnt);

/**
 * @brief Triggers an instrument: `*TRG` on serial ports and TCP with VI_ATTR_IO_PROT at VI_PROT_4882_STRS.
 * @retval VI_ERROR_INV_PROT   a protocol other than VI_TRIG_PROT_DEFAULT
 * @retval VI_ERROR_NSUP_OPER  without that protocol, and on USB
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viAssertTrigger(ViSession vi, ViUInt16 protocol);

/**
 * @brief Reads the status byte: of a USBTMC instrument beside its messages, on serial ports and TCP with
 * VI_ATTR_IO_PROT at VI_PROT_4882_STRS by `*STB?`.
 * @retval VI_ERROR_NSUP_OPER  on serial ports and TCP without that protocol, and on raw USB
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viReadSTB(ViSession vi, ViPUInt16 status);

/**
 * @brief Clears a USBTMC instrument; elsewhere empties the line, and sends `*CLS` with VI_PROT_4882_STRS. The session's
 * buffers are emptied with it.
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viClear(ViSession vi);

/* Formatted and buffered I/O */

/**
 * @brief Sends and discards what the formatted I/O buffers of mask hold, and sets their size.
 * @retval VI_WARN_NSUP_BUF   (positive) the mask names a buffer of the operating system's; the others have their size
 * @retval VI_ERROR_INV_MASK  the mask names none
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viSetBuf(ViSession vi, ViUInt16 mask, ViUInt32 bufSize);

/**
 * @brief Sends or discards what the buffers of mask hold. VI_IO_IN_BUF empties a serial line or a TCP connection.
 * @retval VI_ERROR_INV_MASK  the mask names none, or sends and discards one
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viFlush(ViSession vi, ViUInt16 mask);

/**
 * @brief Puts bytes into the write buffer, which is sent when it is full or as VI_ATTR_WR_BUF_OPER_MODE tells.
 *
 * @param[in]  vi      the session
 * @param[in]  buf     the bytes
 * @param[in]  cnt     their number
 * @param[out] retCnt  receives the number taken; may be null
 * @retval VI_ERROR_INV_LENGTH  a USBTMC message that is longer than the buffer, which can't go in parts; it is dropped
 */
QVVISA_PUBLIC ViStatus _VI_FUNC viBufWrite(ViSession vi, ViConstBuf buf, ViUInt32 cnt, ViPUInt32 retCnt);
/** @brief Reads as viRead does, through the read buffer that viScanf uses. */
QVVISA_PUBLIC ViStatus _VI_FUNC viBufRead(ViSession vi, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt);
/**
 * @brief Formats its arguments into the write buffer. A newline in writeFmt, not one in the data, ends the message and
 * sends the buffer.
 *
 * `%[flags][width][.precision][,size][@notation][!order][type]conversion`, any of the numbers as `*` from the
 * arguments:
 * - `d i o u x X`: an integer of 32 bits; `hh` 8, `h` 16, `l` 32, `ll` 64;
 * - `e E f F g G a A`: a double; `L` a long double;
 * - `,size` with either: an array of so many, sent with commas between them; of ViReal64, with `z` of ViReal32;
 * - `@1 @2 @3 @H @Q @B` with either: in a notation of IEEE 488.2, NR1 to NR3 or to base 16, 8, 2;
 * - `c s %`: as in C;
 * - `b`, `B`, `y`: width elements as a block with its length in front, as one up to the end of the message, or bare. Of
 *   8 bits; `h` 16, `l` 32, `ll` 64, `z` ViReal32, `Z` ViReal64; highest byte first, or with `!ol` last.
 *
 * Escape sequences that the language left in writeFmt (`\\n`) are taken as C's.
 *
 * @param[in] vi        the session
 * @param[in] writeFmt  the format
 * @retval VI_ERROR_INV_FMT     a directive that can't be read; the message is dropped, as after every error
 * @retval VI_ERROR_NSUP_FMT    a conversion that isn't among these
 * @retval VI_ERROR_INV_LENGTH  a USBTMC message that is longer than the buffer
 * @retval VI_ERROR_USER_BUF    a text or an array is null
 * @return Otherwise as viWrite.
 * @see VPP-4.3 section 6.2
 */
QVVISA_PUBLIC ViStatus _VI_FUNCC viPrintf(ViSession vi, ViConstString writeFmt, ...);
/** @brief viPrintf with the arguments in a list. */
QVVISA_PUBLIC ViStatus _VI_FUNC viVPrintf(ViSession vi, ViConstString writeFmt, ViVAList params);
/** @brief viPrintf into memory, which has to be large enough, with a NUL behind. */
QVVISA_PUBLIC ViStatus _VI_FUNCC viSPrintf(ViSession vi, ViPBuf buf, ViConstString writeFmt, ...);
/** @brief viSPrintf with the arguments in a list. */
QVVISA_PUBLIC ViStatus _VI_FUNC viVSPrintf(ViSession vi, ViPBuf buf, ViConstString writeFmt, ViVAList params);
/**
 * @brief Reads messages into the read buffer and takes values out of it; what is left stays for the next call, unless
 * VI_ATTR_RD_BUF_OPER_MODE is VI_FLUSH_ON_ACCESS.
 *
 * White space of readFmt stands for any of it that is there already, another character for itself.
 * `%[*][width][,size][!order][type]conversion`, where `*` assigns nothing and `#` for a width or a size takes it from a
 * ViUInt32, which receives what came:
 * - `d i o u x X`: an integer of 32 bits; `hh` 8, `h` 16, `l` 32, `ll` 64; also behind `#H`, `#Q`, `#B` of IEEE 488.2,
 *   and with a fraction or an exponent, rounded then;
 * - `e f g a`: a ViReal32; `l` a ViReal64, `L` a long double;
 * - `,size` with either: an array of at most so many, with commas between them;
 * - `c`: width characters, or one, without a NUL behind;
 * - `s`: up to white space; `[set]`: characters of the set; `t`: up to the end of the message; `T`: up to a newline,
 * and with it. A NUL comes behind, for which a size by `#` has to have room;
 * - `b`: a block of IEEE 488.2 with or without a length, `y`: bare elements, at most width of them, of which a block's
 *   others are dropped; types as with viPrintf.
 *
 * @param[in] vi       the session
 * @param[in] readFmt  the format
 * @retval VI_ERROR_INV_FMT   a directive that can't be read, or the message isn't what readFmt tells
 * @retval VI_ERROR_NSUP_FMT  a conversion that isn't among these
 * @retval VI_ERROR_USER_BUF  a pointer is null, or a size by `#` has no room for the NUL
 * @return Otherwise as viRead.
 * @see VPP-4.3 section 6.2
 */
QVVISA_PUBLIC ViStatus _VI_FUNCC viScanf(ViSession vi, ViConstString readFmt, ...);
/** @brief viScanf with the arguments in a list. */
QVVISA_PUBLIC ViStatus _VI_FUNC viVScanf(ViSession vi, ViConstString readFmt, ViVAList params);
/** @brief viScanf from a text in memory, which is one message. */
QVVISA_PUBLIC ViStatus _VI_FUNCC viSScanf(ViSession vi, ViConstBuf buf, ViConstString readFmt, ...);
/** @brief viSScanf with the arguments in a list. */
QVVISA_PUBLIC ViStatus _VI_FUNC viVSScanf(ViSession vi, ViConstBuf buf, ViConstString readFmt, ViVAList params);
/** @brief Drops what the read buffer holds, prints by writeFmt, sends it and scans the answer by readFmt. */
QVVISA_PUBLIC ViStatus _VI_FUNCC viQueryf(ViSession vi, ViConstString writeFmt, ViConstString readFmt, ...);
/** @brief viQueryf with the arguments in a list. */
QVVISA_PUBLIC ViStatus _VI_FUNC viVQueryf(ViSession vi, ViConstString writeFmt, ViConstString readFmt, ViVAList params);

/* USB */

/** @retval VI_ERROR_NSUP_OPER  not a USB session */
QVVISA_PUBLIC ViStatus _VI_FUNC viGpibControlREN(ViSession vi, ViUInt16 mode);
/** @retval VI_ERROR_NSUP_OPER  not a USB session */
QVVISA_PUBLIC ViStatus _VI_FUNC viUsbControlOut(ViSession vi, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue,
                                                ViUInt16 wIndex, ViUInt16 wLength, ViConstBuf buf);
/** @retval VI_ERROR_NSUP_OPER  not a USB session */
QVVISA_PUBLIC ViStatus _VI_FUNC viUsbControlIn(ViSession vi, ViInt16 bmRequestType, ViInt16 bRequest, ViUInt16 wValue,
                                               ViUInt16 wIndex, ViUInt16 wLength, ViPBuf buf, ViPUInt16 retCnt);

/*
 * Operations of buses that this library doesn't have. On a session each returns VI_ERROR_NSUP_OPER and touches nothing;
 * those without a status do nothing.
 */

QVVISA_PUBLIC ViStatus _VI_FUNC viIn8(ViSession vi, ViUInt16 space, ViBusAddress offset, ViPUInt8 val8);
QVVISA_PUBLIC ViStatus _VI_FUNC viOut8(ViSession vi, ViUInt16 space, ViBusAddress offset, ViUInt8 val8);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveIn8(ViSession vi, ViUInt16 space, ViBusAddress offset, ViBusSize length,
                                          ViPUInt8 buf8);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveOut8(ViSession vi, ViUInt16 space, ViBusAddress offset, ViBusSize length,
                                           ViPUInt8 buf8);
QVVISA_PUBLIC ViStatus _VI_FUNC viIn8Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViPUInt8 val8);
QVVISA_PUBLIC ViStatus _VI_FUNC viOut8Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViUInt8 val8);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveIn8Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViBusSize length,
                                            ViPUInt8 buf8);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveOut8Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViBusSize length,
                                             ViPUInt8 buf8);
QVVISA_PUBLIC ViStatus _VI_FUNC viIn16(ViSession vi, ViUInt16 space, ViBusAddress offset, ViPUInt16 val16);
QVVISA_PUBLIC ViStatus _VI_FUNC viOut16(ViSession vi, ViUInt16 space, ViBusAddress offset, ViUInt16 val16);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveIn16(ViSession vi, ViUInt16 space, ViBusAddress offset, ViBusSize length,
                                           ViPUInt16 buf16);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveOut16(ViSession vi, ViUInt16 space, ViBusAddress offset, ViBusSize length,
                                            ViPUInt16 buf16);
QVVISA_PUBLIC ViStatus _VI_FUNC viIn16Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViPUInt16 val16);
QVVISA_PUBLIC ViStatus _VI_FUNC viOut16Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViUInt16 val16);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveIn16Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViBusSize length,
                                             ViPUInt16 buf16);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveOut16Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViBusSize length,
                                              ViPUInt16 buf16);
QVVISA_PUBLIC ViStatus _VI_FUNC viIn32(ViSession vi, ViUInt16 space, ViBusAddress offset, ViPUInt32 val32);
QVVISA_PUBLIC ViStatus _VI_FUNC viOut32(ViSession vi, ViUInt16 space, ViBusAddress offset, ViUInt32 val32);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveIn32(ViSession vi, ViUInt16 space, ViBusAddress offset, ViBusSize length,
                                           ViPUInt32 buf32);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveOut32(ViSession vi, ViUInt16 space, ViBusAddress offset, ViBusSize length,
                                            ViPUInt32 buf32);
QVVISA_PUBLIC ViStatus _VI_FUNC viIn32Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViPUInt32 val32);
QVVISA_PUBLIC ViStatus _VI_FUNC viOut32Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViUInt32 val32);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveIn32Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViBusSize length,
                                             ViPUInt32 buf32);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveOut32Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViBusSize length,
                                              ViPUInt32 buf32);
QVVISA_PUBLIC ViStatus _VI_FUNC viIn64(ViSession vi, ViUInt16 space, ViBusAddress offset, ViPUInt64 val64);
QVVISA_PUBLIC ViStatus _VI_FUNC viOut64(ViSession vi, ViUInt16 space, ViBusAddress offset, ViUInt64 val64);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveIn64(ViSession vi, ViUInt16 space, ViBusAddress offset, ViBusSize length,
                                           ViPUInt64 buf64);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveOut64(ViSession vi, ViUInt16 space, ViBusAddress offset, ViBusSize length,
                                            ViPUInt64 buf64);
QVVISA_PUBLIC ViStatus _VI_FUNC viIn64Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViPUInt64 val64);
QVVISA_PUBLIC ViStatus _VI_FUNC viOut64Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViUInt64 val64);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveIn64Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViBusSize length,
                                             ViPUInt64 buf64);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveOut64Ex(ViSession vi, ViUInt16 space, ViBusAddress64 offset, ViBusSize length,
                                              ViPUInt64 buf64);
QVVISA_PUBLIC ViStatus _VI_FUNC viMove(ViSession vi, ViUInt16 srcSpace, ViBusAddress srcOffset, ViUInt16 srcWidth,
                                       ViUInt16 destSpace, ViBusAddress destOffset, ViUInt16 destWidth,
                                       ViBusSize srcLength);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveAsync(ViSession vi, ViUInt16 srcSpace, ViBusAddress srcOffset, ViUInt16 srcWidth,
                                            ViUInt16 destSpace, ViBusAddress destOffset, ViUInt16 destWidth,
                                            ViBusSize srcLength, ViPJobId jobId);
QVVISA_PUBLIC ViStatus _VI_FUNC viMapAddress(ViSession vi, ViUInt16 mapSpace, ViBusAddress mapOffset, ViBusSize mapSize,
                                             ViBoolean access, ViAddr suggested, ViPAddr address);
QVVISA_PUBLIC ViStatus _VI_FUNC viMemAlloc(ViSession vi, ViBusSize size, ViPBusAddress offset);
QVVISA_PUBLIC ViStatus _VI_FUNC viMemFree(ViSession vi, ViBusAddress offset);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveEx(ViSession vi, ViUInt16 srcSpace, ViBusAddress64 srcOffset, ViUInt16 srcWidth,
                                         ViUInt16 destSpace, ViBusAddress64 destOffset, ViUInt16 destWidth,
                                         ViBusSize srcLength);
QVVISA_PUBLIC ViStatus _VI_FUNC viMoveAsyncEx(ViSession vi, ViUInt16 srcSpace, ViBusAddress64 srcOffset,
                                              ViUInt16 srcWidth, ViUInt16 destSpace, ViBusAddress64 destOffset,
                                              ViUInt16 destWidth, ViBusSize srcLength, ViPJobId jobId);
QVVISA_PUBLIC ViStatus _VI_FUNC viMapAddressEx(ViSession vi, ViUInt16 mapSpace, ViBusAddress64 mapOffset,
                                               ViBusSize mapSize, ViBoolean access, ViAddr suggested, ViPAddr address);
QVVISA_PUBLIC ViStatus _VI_FUNC viMemAllocEx(ViSession vi, ViBusSize size, ViPBusAddress64 offset);
QVVISA_PUBLIC ViStatus _VI_FUNC viMemFreeEx(ViSession vi, ViBusAddress64 offset);
QVVISA_PUBLIC ViStatus _VI_FUNC viUnmapAddress(ViSession vi);
QVVISA_PUBLIC void _VI_FUNC viPeek8(ViSession vi, ViAddr address, ViPUInt8 val8);
QVVISA_PUBLIC void _VI_FUNC viPoke8(ViSession vi, ViAddr address, ViUInt8 val8);
QVVISA_PUBLIC void _VI_FUNC viPeek16(ViSession vi, ViAddr address, ViPUInt16 val16);
QVVISA_PUBLIC void _VI_FUNC viPoke16(ViSession vi, ViAddr address, ViUInt16 val16);
QVVISA_PUBLIC void _VI_FUNC viPeek32(ViSession vi, ViAddr address, ViPUInt32 val32);
QVVISA_PUBLIC void _VI_FUNC viPoke32(ViSession vi, ViAddr address, ViUInt32 val32);
QVVISA_PUBLIC void _VI_FUNC viPeek64(ViSession vi, ViAddr address, ViPUInt64 val64);
QVVISA_PUBLIC void _VI_FUNC viPoke64(ViSession vi, ViAddr address, ViUInt64 val64);
QVVISA_PUBLIC ViStatus _VI_FUNC viGpibControlATN(ViSession vi, ViUInt16 mode);
QVVISA_PUBLIC ViStatus _VI_FUNC viGpibSendIFC(ViSession vi);
QVVISA_PUBLIC ViStatus _VI_FUNC viGpibCommand(ViSession vi, ViConstBuf cmd, ViUInt32 cnt, ViPUInt32 retCnt);
QVVISA_PUBLIC ViStatus _VI_FUNC viGpibPassControl(ViSession vi, ViUInt16 primAddr, ViUInt16 secAddr);
QVVISA_PUBLIC ViStatus _VI_FUNC viVxiCommandQuery(ViSession vi, ViUInt16 mode, ViUInt32 cmd, ViPUInt32 response);
QVVISA_PUBLIC ViStatus _VI_FUNC viAssertUtilSignal(ViSession vi, ViUInt16 line);
QVVISA_PUBLIC ViStatus _VI_FUNC viAssertIntrSignal(ViSession vi, ViInt16 mode, ViUInt32 statusID);
QVVISA_PUBLIC ViStatus _VI_FUNC viMapTrigger(ViSession vi, ViInt16 trigSrc, ViInt16 trigDest, ViUInt16 mode);
QVVISA_PUBLIC ViStatus _VI_FUNC viUnmapTrigger(ViSession vi, ViInt16 trigSrc, ViInt16 trigDest);
QVVISA_PUBLIC ViStatus _VI_FUNC viPxiReserveTriggers(ViSession vi, ViInt16 cnt, ViPInt16 trigBuses, ViPInt16 trigLines,
                                                     ViPInt16 failureIndex);

#ifdef __cplusplus
}
#endif

#endif
