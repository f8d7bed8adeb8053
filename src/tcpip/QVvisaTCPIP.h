/// TCP/IP sessions: a plain client socket. The name gives host and port, the open connects, a transfer is one call of
/// the socket; no instrument protocol runs on top. Opening and failing transfers print to standard output.
///
/// Naming and opening belong to one thread; attributes and transfers may run on several, which then share the stream.
/// Only the time limit has a lock, which no transfer holds.
#pragma once

#include "QVvisa.h"
#include "QVvisaBackends.h"
#include "QVvisaNamePatterns.h"
#include "export.h"
#include "osAbstraction.h"

#include <cstdint>

constexpr uint16_t TCPIP_PORT = 2000;
constexpr uint32_t TCPIP_TIMEOUT = 2000;

extern "C" {

/// The TCP/IP part of a session.
struct QVvisa_tcpip_device_t {
  int clientSocket;         ///< the socket; -1 while there is none
  char hostName[128];       ///< the name's host field, after the open the text of the address that was used
  char lanDeviceName[128];  ///< the name's device field; only stored
  uint16_t port;
  uint32_t tcpip_Timo_ms;  ///< receive time limit in ms, as last read from the socket

  bool usesWinsock;             ///< a WSAStartup of this record waits for its WSACleanup
  os_fastlock_t timeLimitLock;  ///< keeps the next fields and `tcpip_Timo_ms` in step with the socket
  bool timeLimitWasSet;         ///< the next two fields are valid
  uint32_t timeLimitSet;        ///< receive time limit in ms, as last set
  uint32_t timeLimitHeld;       ///< what the socket made of it: some round it to their clock tick
};

/// Makes a record with default port, time limit and the local loopback host, and starts a use of Winsock.
/// @param ppqvlsDev  receives the record, which the caller gives back to QVvisa_closeTCPIPDevListElem; unchanged on
///                   failure
/// @retval VI_SUCCESS              made
/// @retval VI_ERROR_INV_PARAMETER  null argument
/// @retval VI_ERROR_ALLOC          no memory
/// @retval VI_ERROR_SYSTEM_ERROR   Winsock doesn't start
QVVISA_API ViStatus QVvisa_initTCPIPDevListElem(QVvisa_tcpip_device_t** ppqvlsDev);

/// Closes the socket, ends the use of Winsock unless a failed open has done so, frees the record and nulls the pointer.
/// Null arguments are ignored.
QVVISA_API void QVvisa_closeTCPIPDevListElem(QVvisa_tcpip_device_t** ppqvlsDev);

/// Reads a resource name such as `TCPIP0::192.0.2.7::5025::SOCKET` or `TCPIP0::host::inst0::INSTR` into the record.
/// @retval VI_SUCCESS              the name is one of this bus
/// @retval VI_ERROR_INV_PARAMETER  null argument
/// @retval VI_ERROR_INV_RSRC_NAME  not a TCP/IP name, a field above 127 characters, or no port in the SOCKET form
QVVISA_API ViStatus QVvisa_OpenHelperParseNameTCPIP(char* name, QVvisa_tcpip_device_t* deviceObj);

/// Reads the port of the SOCKET form: a decimal number at the start of `cp`, whatever follows it.
/// @retval VI_SUCCESS              `port` is set
/// @retval VI_ERROR_INV_PARAMETER  null argument
/// @retval VI_ERROR_INV_RSRC_NAME  no number, or not one of 0 to 65535
QVVISA_API ViStatus QVvisa_OpenHelperParseNameTCPIP_Socket(const char* cp, QVvisa_tcpip_device_t* deviceObj);

/// Resolves the host and connects, over IPv4 and without a time limit. The caller holds the fast lock. On failure the
/// socket is closed and the use of Winsock ended.
/// @retval VI_SUCCESS             connected
/// @retval VI_ERROR_INV_OBJECT    null argument
/// @retval VI_ERROR_SYSTEM_ERROR  no socket, or no connection
QVVISA_API ViStatus QVvisa_OpenHelperFindOpenDevTCPIP(QVvisa_tcpip_device_t* pqvlsDev);

/// Zeroes `buf` and receives once; with `cnt` 0 there is nothing to ask the socket for.
/// @param cnt     size of `buf` in bytes
/// @param retCnt  receives the number of bytes, 0 once the peer has closed; may be null; unchanged on failure
/// @retval VI_SUCCESS           received, possibly fewer than `cnt` bytes
/// @retval VI_ERROR_INV_OBJECT  `pqvlsDev` is null, or `buf` is null with `cnt` above 0
/// @retval -1                   the receive failed or ran into the time limit
QVVISA_API ViStatus QVvisa_TCPIP_Read(QVvisa_tcpip_device_t* pqvlsDev, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt);

/// Sends once.
/// @param cnt     number of bytes in `buf`
/// @param retCnt  receives the number of bytes sent; may be null; unchanged on failure
/// @retval VI_SUCCESS           sent, possibly fewer than `cnt` bytes
/// @retval VI_ERROR_INV_OBJECT  `pqvlsDev` is null, or `buf` is null with `cnt` above 0
/// @retval -1                   the send failed
QVVISA_API ViStatus QVvisa_TCPIP_Write(QVvisa_tcpip_device_t* pqvlsDev, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt);

/// @param attrValue  room for the attribute's type, 256 characters for a text
/// @retval VI_SUCCESS           written; for VI_ATTR_TMO_VALUE of a socket that doesn't answer, nothing is written
/// @retval VI_ERROR_INV_OBJECT  `pqvlsDev` is null
/// @retval VI_ERROR_IO          the socket doesn't answer
/// @retval VI_ERROR_NSUP_ATTR   not answered here
QVVISA_API ViStatus QVvisa_TCPIP_GetAttribute(QVvisa_tcpip_device_t* pqvlsDev, ViAttr attrName, void* attrValue);

/// VI_ATTR_TMO_VALUE, in ms, is all that can be set. 0 is no limit.
/// @retval VI_SUCCESS              set
/// @retval VI_ERROR_INV_OBJECT     `pqvlsDev` is null
/// @retval VI_ERROR_ATTR_READONLY  known here, and not to be changed
/// @retval VI_ERROR_NSUP_ATTR      unknown here
/// @retval -1                      the socket refused
QVVISA_API ViStatus QVvisa_TCPIP_SetAttribute(QVvisa_tcpip_device_t* pqvlsDev, ViAttr attrName, ViAttrState attrValue);
}

/// The bus's row of functions.
extern const QVvisa_backend_t QVvisa_tcpipBackend;
