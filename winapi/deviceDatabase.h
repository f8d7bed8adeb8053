/// The device installation functions of the Windows interface, as far as the serial port library calls them. On Windows
/// the system's own; elsewhere a stand-in over udev and sysfs that knows one class of devices, the serial ports.
///
/// A call that answers FALSE (SetupDiGetClassDevsA: INVALID_HANDLE_VALUE) leaves an errno number in the thread's last
/// error (OS_getLastError).
#pragma once

#include "winTypes.h"

/// The highest COM number that a port can be opened by.
constexpr int kMaxComPort = 1000;

#if defined(_WIN32)

#include <setupapi.h>

#else

#include <cstddef>

using HDEVINFO = PVOID;

/// One device of a set; the caller fills `cbSize` with the record's size.
struct SP_DEVINFO_DATA {
  DWORD cbSize;
  GUID ClassGuid;
  DWORD DevInst;
  ULONG_PTR Reserved;
};

// SetupDiGetClassDevsA
constexpr DWORD DIGCF_PRESENT = 2;
constexpr DWORD DIGCF_ALLCLASSES = 4;

// Property codes
constexpr DWORD SPDRP_HARDWAREID = 1;
constexpr DWORD SPDRP_SERVICE = 4;
constexpr DWORD SPDRP_DRIVER = 9;
constexpr DWORD SPDRP_MFG = 11;
constexpr DWORD SPDRP_FRIENDLYNAME = 12;
constexpr DWORD SPDRP_PHYSICAL_DEVICE_OBJECT_NAME = 14;
constexpr DWORD SPDRP_MAXIMUM_PROPERTY = 36;

// Types of a property's value
constexpr DWORD REG_NONE = 0;
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_EXPAND_SZ = 2;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;
constexpr DWORD REG_DWORD_BIG_ENDIAN = 5;
constexpr DWORD REG_LINK = 6;
constexpr DWORD REG_MULTI_SZ = 7;
constexpr DWORD REG_RESOURCE_LIST = 8;
constexpr DWORD REG_FULL_RESOURCE_DESCRIPTOR = 9;
constexpr DWORD REG_RESOURCE_REQUIREMENTS_LIST = 10;
constexpr DWORD REG_QWORD = 11;

/// Takes a snapshot of the machine's serial ports, those added by QVVISA_SERIAL_PORTS included, in the order of their
/// COM numbers.
/// @param classGuid   looked at only without DIGCF_ALLCLASSES: any class but that of ports gives an empty set
/// @param enumerator  must be null
/// @param parent      must be null
/// @param flags       DIGCF_PRESENT leaves out ports that have no device node
/// @return a set for SetupDiDestroyDeviceInfoList, or INVALID_HANDLE_VALUE
HDEVINFO SetupDiGetClassDevsA(const GUID* classGuid, const char* enumerator, HWND parent, DWORD flags);

/// Fills `*device` for the place `index` of the set, from 0. FALSE (ENOENT) behind the last one.
BOOL SetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* device);

/// Copies a property of a device of the set. SPDRP_HARDWAREID is a REG_MULTI_SZ, the others are REG_SZ.
/// @param type      the value's type; may be null
/// @param buffer    the value, its NUL included; may be null if `size` is 0
/// @param required  the value's size in bytes, also when it doesn't fit; may be null
/// @return FALSE if the device lacks the property (ENOENT) or the value doesn't fit (ENOBUFS)
BOOL SetupDiGetDeviceRegistryPropertyA(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD property, DWORD* type, BYTE* buffer,
                                       DWORD size, DWORD* required);

/// Copies the instance ID of a device of the set, such as `USB\VID_1234&PID_5678\A1B2`.
/// @param required  the text's size in bytes with its NUL, also when it doesn't fit; may be null
BOOL SetupDiGetDeviceInstanceIdA(HDEVINFO set, SP_DEVINFO_DATA* device, char* id, DWORD size, DWORD* required);

/// Releases the set.
BOOL SetupDiDestroyDeviceInfoList(HDEVINFO set);

/// Finds the device node of a connected port, by the rules that make up a set.
/// @param path  the node's path, `size` bytes with its NUL
/// @return false if there is no such port (ENOENT), the path doesn't fit (ENOBUFS) or the database can't be read
bool findComPortPath(int comPort, char* path, size_t size);

#endif
