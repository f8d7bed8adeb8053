/// The grammar of serial resource names.
#pragma once

#include "QVvisaAsrlDevice.h"

extern "C" {

/// Reads `COM<n>` with an optional `::<baud>`, or `ASRL<n>::...INSTR`. The word may stand anywhere in the name, COM
/// before ASRL.
/// @retval VI_SUCCESS, VI_ERROR_INV_PARAMETER for a null argument, VI_ERROR_INV_RSRC_NAME
QVVISA_API ViStatus QVvisa_OpenHelperParseNameAsrl(char* name, QVvisa_asrl_device_t* pqvlsDev);
}
