/// The routing of names and attributes to the buses, behind the public operations.
#pragma once

#include "QVvisaBackends.h"
#include "QVvisaLifetime.h"
#include "QVvisaMemory.h"

extern "C" {

/// Offers a name to the buses in order; the first that accepts it sets its found flag.
/// @retval VI_SUCCESS             a bus knows the name
/// @retval VI_ERROR_INV_PARAMETER an argument is null
/// @return Otherwise the status of the last bus's parser.
QVVISA_API ViStatus QVvisa_OpenHelperParseName(char* name, QVvisa_device_t* pdev);
/// Finds and opens the instrument of a parsed name. Takes the fast lock for all of it.
/// @retval VI_SUCCESS           open
/// @retval VI_ERROR_INV_OBJECT  null record
/// @retval VI_ERROR_RSRC_NFOUND no such instrument, or a record without a bus
/// @return Otherwise the bus's status.
QVVISA_API ViStatus QVvisa_OpenHelperFindOpenDev(QVvisa_device_t* pdev);
/// @return QVVISA_DEVICE_TYPE_..., by the first sub-record present
QVVISA_API int QVvisa_GetDeviceType(QVvisa_device_t* pdev);
/// Reads an attribute: the bus first, then the attributes common to all. A null `attrValue` is VI_SUCCESS.
QVVISA_API ViStatus QVvisa_GetAttributeFromDevice(QVvisa_device_t* pdev, ViAttr attrName, void* attrValue);
/// Sets an attribute, in the same order.
QVVISA_API ViStatus QVvisa_SetAttributeToDevice(QVvisa_device_t* pdev, ViAttr attrName, ViAttrState attrValue);
/// Find lists have no attributes. @retval VI_ERROR_NIMPL_OPER always
QVVISA_API ViStatus QVvisa_GetAttributeFromFindlist(QVvisa_findList_t* pfl, ViAttr attrName, void* attrValue);
QVVISA_API ViStatus QVvisa_SetAttributeToFindlist(QVvisa_findList_t* pfl, ViAttr attrName, ViAttrState attrValue);
}
