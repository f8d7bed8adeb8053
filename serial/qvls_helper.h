/// The records of the serial port library, the ring of port nodes, and what discovery asks about one device.
///
/// Nothing here takes a lock: a list, a table and a node that isn't open belong to the thread that made them. An open
/// node may be used by several threads through QVlibserial.h, up to its close.
#pragma once

#include "communications.h"
#include "deviceDatabase.h"
#include "export.h"
#include "osAbstraction.h"

/// Status of the serial port library: 0 success, negative errors, positive warnings.
using qv_status = int;

constexpr qv_status QVLS_SUCCESS = 0;
constexpr qv_status QVLS_ERR_ALLOC = -1;              ///< no memory
constexpr qv_status QVLS_ERR_INVAL_PARAM1 = -3;       ///< first argument wrong; also an unknown attribute
constexpr qv_status QVLS_ERR_INVAL_PARAM2 = -4;       ///< second argument wrong
constexpr qv_status QVLS_ERR_INVAL_PARAM3 = -5;       ///< third argument wrong
constexpr qv_status QVLS_ERR_NFOUND = -8;             ///< not in the list or ring; a device doesn't qualify
constexpr qv_status QVLS_ERR_NINIT = -9;              ///< something isn't initialised
constexpr qv_status QVLS_ERR_SDI_GETCLASSDEVS = -10;  ///< the device database can't be had
constexpr qv_status QVLS_ERR_SDI_GETDINSTID = -11;    ///< a device has no instance ID
constexpr qv_status QVLS_ERR_MISMATCH = -13;          ///< the port reports a line control that isn't known
constexpr qv_status QVLS_ERR_PORT_NOT_OPEN = -20;     ///< the node has no handle
constexpr qv_status QVLS_ERR_ASRL_PARAM_WRONG = -21;  ///< the port refused a value as a wrong parameter
constexpr qv_status QVLS_ERR_PARAM_READ_ONLY = -22;   ///< attempt to set a read-only attribute
constexpr qv_status QVLS_ERR_GROUP = -40;             ///< reserved
constexpr qv_status QVLS_WRN_NO_ADMIN = 90;           ///< administrator rights are missing
constexpr qv_status QVLS_ERR_NYET_IMPL = -96;         ///< not yet implemented
constexpr qv_status QVLS_ERR_WINDOWS = -99;           ///< a platform call failed; the node tells why

constexpr int QVLS_SERVICE_STR_SIZE = 64;
constexpr int QVLS_MANUF_STR_SIZE = 64;
constexpr int QVLS_FRNAME_SIZE = 256;
constexpr int QVLS_OBJ_STR_SIZE = 256;
constexpr int QVLS_DEVINSTID_STR_SIZE = 200;
constexpr int QVLS_WINERR_BUF_SIZE = 1024;

/// Whether a device is connected, as the device database says.
constexpr int PRESENCE_UNKNOWN = -1;
constexpr int PRESENCE_DISCON = 0;
constexpr int PRESENCE_CONNECTED = 1;

constexpr int QVLIBSERIAL_DEF_COMPORT = -1;
constexpr int QVLIBSERIAL_DEF_RD_TIMEOUT = 1000;  ///< in ms
constexpr int QVLIBSERIAL_DEF_WR_TIMEOUT = 1000;  ///< in ms

/// All that is known about one port and, while it is open, its handle. Nodes form a ring without a sentinel: one that
/// stands alone points to itself both ways.
struct qvlsPort_t {
  qvlsPort_t* prev;
  qvlsPort_t* next;
  int comPort;                                 ///< number of the port, or QVLIBSERIAL_DEF_COMPORT
  int present;                                 ///< a PRESENCE_ value
  char service[QVLS_SERVICE_STR_SIZE];         ///< name of the device's service
  int driverInstance;                          ///< instance number of the driver key, or -1
  char frdlyNameRaw[QVLS_FRNAME_SIZE];         ///< the friendly name with the port in brackets
  char friendlyName[QVLS_FRNAME_SIZE];         ///< the friendly name without the port
  char phyDevName[QVLS_OBJ_STR_SIZE];          ///< name of the physical device object
  char manufName[QVLS_MANUF_STR_SIZE];         ///< manufacturer
  DWORD DevInst;                               ///< the platform's handle of the device instance
  char DevInstIdBuf[QVLS_DEVINSTID_STR_SIZE];  ///< the device instance ID
  DWORD wErr;                                  ///< number of the last platform failure; no success clears it
  char wErrBuf[QVLS_WINERR_BUF_SIZE];          ///< its text
  HANDLE wHdl;                                 ///< the open port, or null
  char devFileName[16];                        ///< the name under which the port is opened
  DCB cDcb;                                    ///< the port's settings, as last read or successfully set
  COMMPROP cProp;                              ///< the port's properties, read at open
  COMMTIMEOUTS cTimo;                          ///< the port's timeouts
  int tReadTimo_ms;                            ///< read timeout
  int tWriteTimo_ms;                           ///< write timeout
  os_fastlock_t changing;      ///< held for the length of a change of `cDcb`, which may wait for the line; exists while
                               ///< the port is open, as does the next one
  mutable os_fastlock_t lock;  ///< guards `wErr` to `tWriteTimo_ms`; never held across a wait; taken after `changing`
};

/// The head of a ring. It owns its nodes.
struct qvlsPortList_t {
  int numDev;        ///< number of nodes
  qvlsPort_t* list;  ///< the head node, null in an empty list
};

extern "C" {

/// Makes an empty list.
/// @retval QVLS_ERR_INVAL_PARAM1  null pointer
/// @retval QVLS_ERR_ALLOC         no memory; `*ppqvlsPList` is null
QVVISA_API qv_status qvls_InitListOfSerialPorts(qvlsPortList_t** ppqvlsPList);

/// Frees the list with all its nodes and nulls the pointer; a pointer to null is success. The nodes of a list aren't
/// open; behind one that is and whose handle doesn't close, the others are left to whoever else knows them.
/// @retval QVLS_ERR_INVAL_PARAM1  null pointer
QVVISA_API qv_status qvls_CloseListOfSerialPorts(qvlsPortList_t** ppqvlsPList);

/// Makes a node that stands alone, with nothing known about its port. Whoever holds it closes it.
/// @retval QVLS_ERR_INVAL_PARAM1  null pointer
/// @retval QVLS_ERR_ALLOC         no memory; `*ppNode` is null
QVVISA_API qv_status qvls_InitSerialPortNode(qvlsPort_t** ppNode);

/// Gives the node to the list. The first node of a list is its head and stays it; every other goes directly behind the
/// head, so that a walk from the head meets the first node added, then the others from the last back to the second.
/// @retval QVLS_ERR_INVAL_PARAM1  null list
/// @retval QVLS_ERR_INVAL_PARAM2  null node
QVVISA_API qv_status qvls_AddSerialPortNodeToRing(qvlsPortList_t* pPortList, qvlsPort_t* pNode);

/// Closes the port if it is open, and frees the node, which must not be in a list. A null node is success.
/// @retval QVLS_ERR_WINDOWS  the port's handle didn't close; the node is freed all the same
QVVISA_API qv_status qvls_CloseSerialPortNode(qvlsPort_t* pNode);

/// Closes the node's port, if it is open; false if its handle didn't close. The node is closed all the same.
bool qvls_CloseHandle(qvlsPort_t* pNode);

/// Whether the device is a serial port, by its driver key: notes the number of the driver's instance.
/// @retval QVLS_ERR_NFOUND  it isn't
QVVISA_API qv_status qvls_CheckSerialPort(HDEVINFO DeviceInfoSet, SP_DEVINFO_DATA* pDeviceData, qvlsPort_t* pNode);

/// Notes the device's instance handle and instance ID.
/// @retval QVLS_ERR_SDI_GETDINSTID  it has no instance ID that fits
QVVISA_API qv_status qvls_GetDeviceInstanceData(HDEVINFO DeviceInfoSet, SP_DEVINFO_DATA* pDeviceData,
                                                qvlsPort_t* pNode);

/// Notes the device's friendly name, and out of it the port number, which has no other source.
/// @retval QVLS_ERR_NFOUND  no friendly name that fits, or no port number above 0 in it
QVVISA_API qv_status qvls_GetFriendlyNameComPort(HDEVINFO DeviceInfoSet, SP_DEVINFO_DATA* pDeviceData,
                                                 qvlsPort_t* pNode);

/// Notes the name of the device's service.
/// @retval QVLS_ERR_NFOUND  it has none that fits
QVVISA_API qv_status qvls_GetService(HDEVINFO DeviceInfoSet, SP_DEVINFO_DATA* pDeviceData, qvlsPort_t* pNode);

/// Notes the name of the physical device object, and that the device is connected if it has one. Never fails.
QVVISA_API qv_status qvls_GetPhysDevName(HDEVINFO DeviceInfoSet, SP_DEVINFO_DATA* pDeviceData, qvlsPort_t* pNode);

/// Notes the device's manufacturer.
/// @retval QVLS_ERR_NFOUND  it has none that fits
QVVISA_API qv_status qvls_GetManufDevName(HDEVINFO DeviceInfoSet, SP_DEVINFO_DATA* pDeviceData, qvlsPort_t* pNode);
}
