/// The USB devices of this machine, as they are seen without the library.
#pragma once

#include "deviceNode.h"
#include "resourceName.h"

#include <optional>

/// Why the device that the name tells can't be used; nothing if no cause shows.
std::optional<Diagnosis> whyNoUsbDevice(const ResourceName& name);
