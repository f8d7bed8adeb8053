/// The serial backend: this header brings in all of it, and declares the birth, the opening and the end of a session.
#pragma once

#include "QVvisaAsrlAttributes.h"
#include "QVvisaAsrlDevice.h"
#include "QVvisaAsrlEnumeration.h"
#include "QVvisaAsrlName.h"
#include "QVvisaAsrlTransfer.h"
#include "QVvisaBackends.h"

extern "C" {

/// Makes a record with the defaults.
/// @retval VI_SUCCESS, VI_ERROR_INV_PARAMETER for null, VI_ERROR_ALLOC
QVVISA_API ViStatus QVvisa_initAsrlDevListElem(QVvisa_asrl_device_t** ppqvlsDev);
/// Closes the port, frees the record and nulls the pointer; does nothing for null.
QVVISA_API void QVvisa_closeAsrlDevListElem(QVvisa_asrl_device_t** ppqvlsDev);

/// Finds the named port among the connected ones and opens it. The caller holds the fast lock.
/// @retval VI_SUCCESS            open
/// @retval VI_ERROR_INV_OBJECT   null record
/// @retval VI_ERROR_RSRC_NFOUND  no such port, or it couldn't be opened and another port follows it in the list
/// @return Otherwise the status of the failed open.
QVVISA_API ViStatus QVvisa_OpenHelperFindOpenDevAsrl(QVvisa_asrl_device_t* pqvlsDev);
/// Opens the port of a node if it is the one wanted.
/// @retval VI_SUCCESS, VI_ERROR_INV_OBJECT for a null argument, VI_ERROR_RSRC_NFOUND for another port
QVVISA_API ViStatus QVvisa_OpenHelperTestOneAsrlDev(QVvisa_asrl_device_t* pqvlsDev, qvlsPort_t* pPortNode);
}

/// The bus's row of functions.
extern const QVvisa_backend_t QVvisa_asrlBackend;
