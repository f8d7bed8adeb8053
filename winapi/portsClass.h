/// The device setup class of ports, as number and as text in lower case.
#pragma once

#include "winTypes.h"

constexpr GUID PORTS_CLASS = {0x4D36E978, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
#define PORTS_CLASS_TEXT "{4d36e978-e325-11ce-bfc1-08002be10318}"
