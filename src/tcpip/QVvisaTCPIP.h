/// TCP/IP sessions: a plain client socket. The name gives host and port, the open connects, a transfer is one call of
/// the socket; no instrument protocol runs on top. Opening and failing transfers print to standard output.
///
/// Naming and opening belong to one thread; attributes and transfers may run on several, which then share the stream.
/// Only the time limit has a lock, which no transfer holds.
#pragma once

#include "QVvisaBackends.h"
#include "QVvisaTCPIPAttributes.h"
#include "QVvisaTCPIPDevice.h"
#include "QVvisaTCPIPName.h"
#include "QVvisaTCPIPTransfer.h"

extern "C" {

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

/// Resolves the host and connects, over IPv4 and without a time limit. The caller holds the fast lock. On failure the
/// socket is closed and the use of Winsock ended.
/// @retval VI_SUCCESS             connected
/// @retval VI_ERROR_INV_OBJECT    null argument
/// @retval VI_ERROR_SYSTEM_ERROR  no socket, or no connection
QVVISA_API ViStatus QVvisa_OpenHelperFindOpenDevTCPIP(QVvisa_tcpip_device_t* pqvlsDev);
}

/// The bus's row of functions.
extern const QVvisa_backend_t QVvisa_tcpipBackend;
