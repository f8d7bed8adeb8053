/// The serial backend: resource names, opening and closing, and the listing of ports for a search. Its transfers and
/// attributes have units of their own, included here.
#pragma once

#include "QVvisaAsrlAttributes.h"
#include "QVvisaAsrlDevice.h"
#include "QVvisaAsrlTransfer.h"
#include "QVvisaBackends.h"
#include "QVvisaInterfaces.h"
#include "QVvisaNamePatterns.h"

extern "C" {

/// Makes a record with the defaults.
/// @retval VI_SUCCESS, VI_ERROR_INV_PARAMETER for null, VI_ERROR_ALLOC
QVVISA_API ViStatus QVvisa_initAsrlDevListElem(QVvisa_asrl_device_t** ppqvlsDev);
/// Closes the port, frees the record and nulls the pointer; does nothing for null.
QVVISA_API void QVvisa_closeAsrlDevListElem(QVvisa_asrl_device_t** ppqvlsDev);

/// Reads `COM<n>` with an optional `::<baud>`, or `ASRL<n>::...INSTR`. The word may stand anywhere in the name, COM
/// before ASRL.
/// @retval VI_SUCCESS, VI_ERROR_INV_PARAMETER for a null argument, VI_ERROR_INV_RSRC_NAME
QVVISA_API ViStatus QVvisa_OpenHelperParseNameAsrl(char* name, QVvisa_asrl_device_t* pqvlsDev);
/// Finds the named port among the connected ones and opens it. The caller holds the fast lock.
/// @retval VI_SUCCESS            open
/// @retval VI_ERROR_INV_OBJECT   null record
/// @retval VI_ERROR_RSRC_NFOUND  no such port, or it couldn't be opened and another port follows it in the list
/// @return Otherwise the status of the failed open.
QVVISA_API ViStatus QVvisa_OpenHelperFindOpenDevAsrl(QVvisa_asrl_device_t* pqvlsDev);
/// Opens the port of a node if it is the one wanted.
/// @retval VI_SUCCESS, VI_ERROR_INV_OBJECT for a null argument, VI_ERROR_RSRC_NFOUND for another port
QVVISA_API ViStatus QVvisa_OpenHelperTestOneAsrlDev(QVvisa_asrl_device_t* pqvlsDev, qvlsPort_t* pPortNode);
/// Appends one entry per connected port to a list, which it makes if `*ppdilAsrl` is null. No port is opened.
/// @retval VI_SUCCESS, VI_ERROR_INV_OBJECT for null, VI_ERROR_RSRC_NFOUND without a port
/// @retval VI_ERROR_ALLOC  the whole list is gone
QVVISA_API ViStatus QVvisa_GetAllDevIntfAsrl(QVvisa_devIntfListAsrl_t** ppdilAsrl);
}

/// The bus's row of functions.
extern const QVvisa_backend_t QVvisa_asrlBackend;
