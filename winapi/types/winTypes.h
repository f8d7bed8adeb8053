/// The platform's basic types. On Windows the system's own; elsewhere records of the same names, fields and widths, so
/// that the logic above reads the same on both.
#pragma once

#if defined(_WIN32)

// winsock2.h has to come before windows.h, which would bring in its predecessor.
#include <winsock2.h>

#include <windows.h>

#else

#include <cstdint>

using BOOL = int;
using BYTE = uint8_t;
using WORD = uint16_t;
using DWORD = uint32_t;
using LONG = int32_t;
using LONGLONG = int64_t;
using PVOID = void*;
using LPVOID = void*;
using HANDLE = void*;
using HWND = void*;
using ULONG_PTR = uintptr_t;
using WCHAR = char16_t;

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;
constexpr DWORD INFINITE = 0xFFFFFFFF;
constexpr DWORD STILL_ACTIVE = 259;
constexpr int MAX_PATH = 260;
/// What a function that gives a handle answers on failure; a macro on Windows as well, since no pointer is constexpr.
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<intptr_t>(-1)))

struct GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
};

/// A calendar time, to the millisecond, in no particular time zone.
struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth;
  WORD wDayOfWeek;
  WORD wDay;
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};

/// A 64-bit count of 100 ns ticks since 1601-01-01, in two halves.
struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

/// A signed 64-bit number.
struct LARGE_INTEGER {
  LONGLONG QuadPart;
};

#endif
