/// The words that resource names are made of.
#pragma once

constexpr const char* QVVISA_OPEN_PATTERN_SEP = "::";
constexpr const char* QVVISA_OPEN_PATTERN_INSTR = "INSTR";

constexpr const char* QVVISA_OPEN_PATTERN_USB = "USB0";
constexpr const char* QVVISA_OPEN_PATTERN_RAW = "RAW";

constexpr const char* QVVISA_OPEN_PATTERN_COM = "COM";
constexpr const char* QVVISA_OPEN_PATTERN_ASRL = "ASRL";

constexpr const char* QVVISA_OPEN_PATTERN_TCPIP = "TCPIP";
constexpr const char* QVVISA_OPEN_PATTERN_SOCKET = "SOCKET";
