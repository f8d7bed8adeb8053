/// Numbers that several units agree on.
#pragma once

#include <cstdint>

/// The vendor whose USB instruments a search lists, and VI_ATTR_RSRC_MANF_ID.
constexpr uint16_t QVVISA_VENDOR_ID = 0x7C5A;

/// The baud rate that a name without one sets, and with which searches compare.
constexpr uint32_t QVVISA_DEFAULT_BAUD_RATE = 115200;
