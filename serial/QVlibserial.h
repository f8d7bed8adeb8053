/// The serial port library: finds the machine's serial ports, opens one by its number, configures it and moves bytes.
///
/// A port is described by a node (qvlsPort_t). Discovery gives a list of nodes without handles, a snapshot of the
/// moment; qvls_OpenPort gives a node of its own with the open port in it, which its opener closes with qvls_ClosePort.
///
/// Arguments are checked in their order, before anything is changed: QVLS_ERR_INVAL_PARAM1 to 3 name the faulty one by
/// its place. After QVLS_ERR_WINDOWS, `wErr` and `wErrBuf` of the node tell what the platform said.
///
/// Threads: a node is opened and closed by one thread, while no other uses it. In between, any thread may call anything
/// on it: settings and bytes stay whole, of two changes of one setting the later one holds, two reads share the bytes
/// that come, and a call that waits holds up no other, except that a change of the line's settings waits for the end of
/// one under way. The text of the last failure is the node's, so that another thread's failure may replace it. Lists
/// and tables of criteria must not be used from two threads at once.
#pragma once

#include "QVvisa.h"  // the standard's numbers of attributes, and its VI_ERROR_NSUP_MODE
#include "qvls_helper.h"

#define QVLS_APPTITLE "QVlibserial"
#define QVLS_APPTITLE_LONG "QVlibserial - Kestrix RS232 library"
#define LIBUSAGE "AS CODE LIBRARY"
#define QVLS_VERSION_INFO "UNKNOWN BUILD CONFIGURATION - PLEASE REPORT"
#define QVLS_BUILD_DATE __DATE__
#define QVLS_WELCOME_STRING                                                                                            \
  QVLS_APPTITLE " - " QVLS_APPTITLE_LONG " " LIBUSAGE "\n"                                                             \
                "BUILD: " QVLS_VERSION_INFO "\n"                                                                       \
                "DATE : " QVLS_BUILD_DATE "\n"

/// Presence filter of a search: which of the known devices qualify.
constexpr int QVLS_ONLY_CONNECTED = -1;
constexpr int QVLS_ALL_DEVICES = 0;
constexpr int QVLS_ONLY_DISCON = 1;

/// One criterion of a search; a port fits it if all fields fit. Texts compare exactly.
struct qvlsPortSrchCrit_t {
  int comPort;                             ///< required port number; negative matches any
  char svc[QVLS_SERVICE_STR_SIZE];         ///< required service; empty matches any
  char friendNam[QVLS_FRNAME_SIZE];        ///< required friendly name, without the port; empty matches any
  char manufacturer[QVLS_MANUF_STR_SIZE];  ///< required manufacturer; empty matches any
};

/// A table of criteria of which one must fit.
struct qvlsTblPortSrchCrit_t {
  qvlsPortSrchCrit_t* tbl;
  int listLen;  ///< number of rows
  int disCon;   ///< presence filter
};

extern "C" {

// --- Discovery -------------------------------------------------------------------------------------------------------

/// Lists the machine's serial ports that fit the criteria. No port is opened.
///
/// @param ppqvlsPList       receives the list; whatever the result, one that isn't null is the caller's to dispose of
/// @param pPortTblSrchCrit  the criteria; null stands for every connected port
/// @retval QVLS_ERR_INVAL_PARAM1      null pointer
/// @retval QVLS_ERR_ALLOC             no memory; the list holds the ports that were found before, or is null
/// @retval QVLS_ERR_SDI_GETCLASSDEVS  the device database can't be had; the list is empty
QVVISA_API qv_status qvls_GetListOfSerialPorts(qvlsPortList_t** ppqvlsPList, qvlsTblPortSrchCrit_t* pPortTblSrchCrit);

/// Frees the list with all its nodes and nulls the pointer; a pointer to null is success.
/// @retval QVLS_ERR_INVAL_PARAM1  null pointer
QVVISA_API qv_status qvls_DisposeListOfSerialPorts(qvlsPortList_t** ppqvlsPList);

/// @retval QVLS_ERR_INVAL_PARAM1  null list
/// @retval QVLS_ERR_INVAL_PARAM2  null `numFound`
QVVISA_API qv_status qvls_GetNumFoundPorts(const qvlsPortList_t* pqvlsPList, int* numFound);

/// Lends the node at a place of the list, counted from 0; it stays the list's and must not be closed.
/// @retval QVLS_ERR_INVAL_PARAM1  null list
/// @retval QVLS_ERR_INVAL_PARAM2  negative `idx`
/// @retval QVLS_ERR_INVAL_PARAM3  null `ppPortNode`
/// @retval QVLS_ERR_NFOUND        the list has no such place
QVVISA_API qv_status qvls_GetPort(const qvlsPortList_t* pqvlsPList, int idx, qvlsPort_t** ppPortNode);

// What a node knows of its port. All give QVLS_ERR_INVAL_PARAM1 for a null node and skip a null result. The texts are
// padded with NULs to the size of their field, which the destination must have.

QVVISA_API qv_status qvls_GetPortComPort(const qvlsPort_t* pPortNode, int* comPort, int* present);
/// @param devInstIdStr  QVLS_DEVINSTID_STR_SIZE bytes
QVVISA_API qv_status qvls_DevNodeInstancdId(const qvlsPort_t* pPortNode, unsigned int* devInstId, char* devInstIdStr);
/// @param serviceStr  QVLS_SERVICE_STR_SIZE bytes
QVVISA_API qv_status qvls_GetPortService(const qvlsPort_t* pPortNode, char* serviceStr);
/// @param fName  QVLS_FRNAME_SIZE bytes
QVVISA_API qv_status qvls_GetPortFriendlyName(const qvlsPort_t* pPortNode, char* fName);
/// @param phyDevName  QVLS_OBJ_STR_SIZE bytes
QVVISA_API qv_status qvls_GetPortPhysDevName(const qvlsPort_t* pPortNode, char* phyDevName);
/// @param manufName  QVLS_MANUF_STR_SIZE bytes
QVVISA_API qv_status qvls_GetPortManufName(const qvlsPort_t* pPortNode, char* manufName);

/// The vendor ID in the instance ID text, 16 bits, or 0 if there is none.
/// @retval QVLS_ERR_INVAL_PARAM1  null node
/// @retval QVLS_ERR_INVAL_PARAM2  null `vid`
QVVISA_API qv_status qvls_GetVid(const qvlsPort_t* pPortNode, int* vid);

/// The product ID in the instance ID text, not cut to 16 bits, or 0 if there is none.
/// @retval QVLS_ERR_INVAL_PARAM1  null node
/// @retval QVLS_ERR_INVAL_PARAM2  null `pid`
QVVISA_API qv_status qvls_GetPid(const qvlsPort_t* pPortNode, int* pid);

// --- Search criteria -------------------------------------------------------------------------------------------------

/// Makes the row match any port. Always success; the row must exist.
QVVISA_API qv_status qvls_InitPortSrchCrit(qvlsPortSrchCrit_t* pPSC);

/// Makes a table of rows that match any port, for connected ports only. The caller closes it.
/// @param num  number of rows; a table without rows leaves the presence filter alone to decide
/// @retval QVLS_ERR_INVAL_PARAM1  null pointer
/// @retval QVLS_ERR_INVAL_PARAM2  negative `num`
/// @retval QVLS_ERR_ALLOC         no memory; `*ppPortSrchCrit` is null
QVVISA_API qv_status qvls_InitTblDevSrchCrit(qvlsTblPortSrchCrit_t** ppPortSrchCrit, int num);

/// Sets one row of the table.
/// @param comPort       required port number; 0 leaves it as it is
/// @param serv          required service, at most 64 characters; null for any, as with the other texts
/// @param fName         required friendly name, at most 64 characters
/// @param manufacturer  required manufacturer, at most 64 characters
/// @retval QVLS_ERR_INVAL_PARAM1  null table
/// @retval QVLS_ERR_INVAL_PARAM2  no row `idx`
/// @retval QVLS_ERR_INVAL_PARAM3  negative `comPort`
QVVISA_API qv_status qvls_SetDevSrchCrit(qvlsTblPortSrchCrit_t* pPortSrchCrit, int idx, int comPort, const char* serv,
                                         const char* fName, const char* manufacturer);

/// Delivers pointers to the texts of one row; a null result is skipped. A text that fills its 64 bytes has no NUL.
/// @retval QVLS_ERR_INVAL_PARAM1  null table
/// @retval QVLS_ERR_INVAL_PARAM2  no row `idx`
QVVISA_API qv_status qvls_GetDevSrchCrit(qvlsTblPortSrchCrit_t* pPortSrchCrit, int idx, char** serv, char** fName,
                                         char** manufacturer);

/// Sets the presence filter: QVLS_ONLY_CONNECTED, QVLS_ALL_DEVICES or QVLS_ONLY_DISCON.
/// @retval QVLS_ERR_INVAL_PARAM1  null table
/// @retval QVLS_ERR_INVAL_PARAM2  no such filter
QVVISA_API qv_status qvls_SetPortPresentSrchCrit(qvlsTblPortSrchCrit_t* pPortSrchCrit, int present);

/// @retval QVLS_ERR_INVAL_PARAM1  null table
/// @retval QVLS_ERR_INVAL_PARAM2  null `present`
QVVISA_API qv_status qvls_GetPortPresentSrchCrit(const qvlsTblPortSrchCrit_t* pPortSrchCrit, int* present);

/// Frees the table and nulls the pointer; a pointer to null is success.
/// @retval QVLS_ERR_INVAL_PARAM1  null pointer
QVVISA_API qv_status qvls_CloseTblPortSrchCrit(qvlsTblPortSrchCrit_t** ppPortSrchCrit);

/// Whether a port qualifies: it must pass the presence filter, and fit a row if there are any. Without a table every
/// connected port qualifies.
/// @retval QVLS_ERR_NFOUND  it doesn't
QVVISA_API qv_status qvls_CheckMatch(const qvlsTblPortSrchCrit_t* pPortTblSrchCrit, const qvlsPort_t* pNode);

// --- Open and close --------------------------------------------------------------------------------------------------

/// Opens a connected port, exclusively, with its settings as they are and timeouts of QVLIBSERIAL_DEF_RD_TIMEOUT and
/// QVLIBSERIAL_DEF_WR_TIMEOUT.
///
/// @param ppPortNode  receives the node, which the caller closes with qvls_ClosePort, or null on a failure behind the
///                    argument checks
/// @param comPort     number of the port, 1 to 1000
/// @retval QVLS_ERR_INVAL_PARAM1      null pointer
/// @retval QVLS_ERR_INVAL_PARAM2      `comPort` out of range
/// @retval QVLS_ERR_NFOUND            no connected port, or more than one, has the number
/// @retval QVLS_ERR_ALLOC             no memory
/// @retval QVLS_ERR_SDI_GETCLASSDEVS  the device database can't be had
/// @retval QVLS_ERR_WINDOWS           the port is in use, or doesn't answer like a port
QVVISA_API qv_status qvls_OpenPort(qvlsPort_t** ppPortNode, int comPort);

/// Closes the port, frees the node and nulls the pointer; a pointer to null is success.
/// @retval QVLS_ERR_INVAL_PARAM1  null pointer
/// @retval QVLS_ERR_WINDOWS       the port's handle didn't close; the node is freed all the same
QVVISA_API qv_status qvls_ClosePort(qvlsPort_t** ppPortNode);

/// Opens the port of the node's number in the node, which must exist and not be open.
/// @retval QVLS_ERR_WINDOWS  a platform call failed; the node isn't open
QVVISA_API qv_status qvls_OpenComPort(qvlsPort_t* pNode);

/// Delivers 1 if the node's port is open, else 0.
/// @retval QVLS_ERR_INVAL_PARAM1  null node
/// @retval QVLS_ERR_INVAL_PARAM2  null `isOpen`
QVVISA_API qv_status qvls_GetPortOpenState(const qvlsPort_t* pNode, int* isOpen);

// --- Settings --------------------------------------------------------------------------------------------------------
// All give QVLS_ERR_INVAL_PARAM1 for a null node and QVLS_ERR_PORT_NOT_OPEN for one that isn't open. A null result is
// skipped. A negative value leaves its setting; the platform is called all the same. A refused value is
// QVLS_ERR_WINDOWS and leaves the port and the node's copy of the settings as they were.

/// Delivers the settings that the node holds, without asking the port.
/// @param parity    0 to 4 for none, odd, even, mark, space, which are the VI_ASRL_PAR_ values
/// @param stopBits  10, 15 or 20, which are the VI_ASRL_STOP_ values
/// @retval VI_ERROR_NSUP_MODE  the status of the VISA numbers: parity or stop bits are none of these; nothing is
///                             delivered
QVVISA_API qv_status qvls_GetPortMode(const qvlsPort_t* pNode, int* baudRate, int* dataBits, int* parity,
                                      int* stopBits);

/// Sets line parameters, in the numbers of qvls_GetPortMode.
/// @retval VI_ERROR_NSUP_MODE  parity or stop bits are none of these; the platform isn't called
QVVISA_API qv_status qvls_SetPortMode(qvlsPort_t* pNode, int baudRate, int dataBits, int parity, int stopBits);

/// Delivers the handshake settings that the node holds: output stopped by CTS or DSR (0 or 1), control of RTS (0 low,
/// 1 high, 2 handshake, 3 high while sending) and of DTR (0 low, 1 high, 2 handshake).
QVVISA_API qv_status qvls_GetPortHandshake(const qvlsPort_t* pNode, int* fOutCtsFlow, int* fOutDrsFlow,
                                           int* fRtsControl, int* fDtrControl);

/// Sets the handshake, in the numbers of qvls_GetPortHandshake.
QVVISA_API qv_status qvls_SetPortHandshake(qvlsPort_t* pNode, int fOutCtsFlow, int fOutDrsFlow, int fRtsControl,
                                           int fDtrControl);

QVVISA_API qv_status qvls_GetTimeouts(const qvlsPort_t* pNode, int* readTimo_ms, int* writeTimo_ms);

/// Sets the timeouts. A read of n bytes with a timeout of T ms ends after T + n ms at the latest, or when T ms pass
/// between two bytes; with 0 it returns what is there. A write of n bytes may take `writeTimo_ms` + n ms.
/// @retval QVLS_ERR_WINDOWS  the port refused; the node has the new numbers all the same
QVVISA_API qv_status qvls_SetTimeouts(qvlsPort_t* pNode, int readTimo_ms, int writeTimo_ms);

/// Reads an attribute VI_ATTR_ASRL_...: the waiting bytes, a line (for DTR and RTS how it is controlled, -1 under
/// handshake), a flow control character (sign-extended) or whether transmission is free.
/// @retval QVLS_ERR_INVAL_PARAM1  also: `attr` isn't known or can't be read
/// @retval QVLS_ERR_INVAL_PARAM3  null `attrVal`, tested before the node's being open
/// @retval QVLS_ERR_MISMATCH      the port reports a DTR control that doesn't exist
/// @retval QVLS_ERR_WINDOWS       a platform call failed
QVVISA_API qv_status qvls_GetAttribute(qvlsPort_t* pNode, unsigned int attr, unsigned int* attrVal);

/// Sets an attribute VI_ATTR_ASRL_...: a line (0 or 1), a flow control character, the break state, or whether
/// transmission is free.
/// @retval QVLS_ERR_INVAL_PARAM1      also: `attr` isn't known
/// @retval QVLS_ERR_INVAL_PARAM3      DTR or RTS to something else than 0 and 1
/// @retval QVLS_ERR_PARAM_READ_ONLY   the attribute can only be read
/// @retval QVLS_ERR_ASRL_PARAM_WRONG  the port refused DTR or RTS as a wrong parameter
/// @retval QVLS_ERR_WINDOWS           a platform call failed
QVVISA_API qv_status qvls_SetAttribute(qvlsPort_t* pNode, unsigned int attr, unsigned int attrVal);

// --- Transfer --------------------------------------------------------------------------------------------------------
// Both give QVLS_ERR_INVAL_PARAM1 for a null node, QVLS_ERR_PORT_NOT_OPEN for one that isn't open and QVLS_ERR_WINDOWS
// when the platform call failed. The count is delivered after a failed call too; a null count is skipped.

/// Reads up to `bufSize` bytes. Fewer than that, or none, with success means that the timeout ran out.
QVVISA_API qv_status qvls_Read(qvlsPort_t* pNode, char* buf, unsigned int bufSize, unsigned int* readBytes);

/// Takes bytes that a read has already brought in beyond what it was asked for, as long as `isWanted` holds for them,
/// by byte value. It never waits and never fails; there may be none.
/// @param taken  receives their number, at most `bufSize`
qv_status qvls_TakeReceived(qvlsPort_t* pNode, char* buf, unsigned int bufSize, const bool (&isWanted)[256],
                            unsigned int* taken);

/// Writes `bufSize` bytes. A write that its timeout cut short is success with the smaller count.
QVVISA_API qv_status qvls_Write(qvlsPort_t* pNode, const char* buf, unsigned int bufSize, unsigned int* writtenBytes);

/// Turns the result of a platform call into a status: a failure is QVLS_ERR_WINDOWS, and its number and text go to the
/// node, where a success leaves those of the last failure.
QVVISA_API qv_status qvls_UpdateWindowsError(qvlsPort_t* pNode, BOOL wResult);

// --- Texts -----------------------------------------------------------------------------------------------------------
// None of these is freed by the caller.

/// The text of a status; for QVLS_ERR_WINDOWS that of the node's last platform failure, which lives as long as the
/// node.
/// @param pNode  may be null
QVVISA_API const char* qvls_GetErrMsg(const qvlsPort_t* pNode, qv_status tErr);

/// A banner of three lines.
QVVISA_API const char* qvls_welcome();

/// Reports the library's live blocks, in the diagnostics configuration.
QVVISA_API void qvls_print_debug_malloc_list();

// The port's own codes, the fields of DCB, in words. Stop bits are 0, 1, 2 here.

QVVISA_API const char* qvls_HelperPrintParity(int parity);
QVVISA_API const char* qvls_HelperStopBits(int stopBits);
QVVISA_API const char* qvls_HelperRtsControl(int fRtsControl);
QVVISA_API const char* qvls_HelperDtrControl(int fDtrControl);
QVVISA_API const char* qvls_HelperCtsFlow(int fOutCtsFlow);
QVVISA_API const char* qvls_HelperDrsFlow(int fOutDrsFlow);
}
