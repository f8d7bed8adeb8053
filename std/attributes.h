/// Attributes: those kept here, and the library's own.
#pragma once

#include "session.h"

namespace qvstd {

/// viSetAttribute and viGetAttribute, by kind of object.
ViStatus setAttribute(Instrument& instrument, ViAttr name, ViUInt64 value);
ViStatus getAttribute(Instrument& instrument, ViAttr name, void* value);
ViStatus setAttribute(Manager& manager, ViAttr name, ViUInt64 value);
ViStatus getAttribute(Manager& manager, ViAttr name, void* value);

}  // namespace qvstd
