/// The session core behind the public operations: start and stop of the library, and the routing of names and
/// attributes to the buses.
#pragma once

#include "QVvisaBackends.h"
#include "QVvisaLock.h"
#include "QVvisaMemory.h"
#include "osAbstraction.h"

extern "C" {

/// Size of the start mutex's name, and the longest wait for it.
constexpr int PROCES_MUTEX_NAME_LEN = 60;
constexpr uint32_t PROCES_MUTEX_TIMEOUT_MS = 1000;

/// Where the start sequence finds what it sets up.
struct QVvisa_init_t {
  int* pQVVisaInitialized;
  libusb_context** ppContext;
  os_fastlock_t* pCritSection;
  QVvisa_work_t** qvvisa;
  char* buildDateTime;
};

QVVISA_API extern QVvisa_init_t gQVvisaInit;
/// 1 from the first step of a start until the end of a close; a start that failed leaves it 1.
QVVISA_API extern int QVvisaInitialized;
/// When the library was built, from the first start on.
QVVISA_API extern char QVvisaBuild[32];
/// The status of the last start that ran its sequence.
QVVISA_API extern ViStatus visaErr;
QVVISA_API extern PVOID g_InitOnce;

/// Runs the start sequence unless the library is up or a start has failed. The caller holds the start mutex.
/// @param InitOnce   not read
/// @param Parameter  the QVvisa_init_t
/// @param lpContext  receives the address of `visaErr`
/// @return true when the library is up
QVVISA_API BOOL QVvisa_initLibrary(PVOID* InitOnce, PVOID Parameter, PVOID* lpContext);
/// Takes the library down, sessions and find lists included. Does nothing on a library that isn't started.
QVVISA_API void QVvisa_closeLibrary();
/// Takes the library down if no session and no find list is left; while an operation is still using a closed session,
/// or an open is under way, its end does it.
QVVISA_API void QVvisa_checkClose();
/// Makes up for a close that was put off, unless a start has called it off since or another operation is still under
/// way.
QVVISA_API void QVvisa_closeIfDeferred();
/// Creates the empty table.
/// @retval VI_SUCCESS, VI_ERROR_INV_PARAMETER for null, VI_ERROR_ALLOC
QVVISA_API ViStatus QVvisa_initWork(QVvisa_work_t** ppqvvisa);
/// Closes all sessions, then all find lists, and frees the table. The caller holds the fast lock.
QVVISA_API void QVvisa_closeWork();

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

/// Keeps the library up for the length of an open, which holds the fast lock only now and then.
class OpenInProgress {
public:
  OpenInProgress();
  ~OpenInProgress();
  OpenInProgress(const OpenInProgress&) = delete;
  OpenInProgress& operator=(const OpenInProgress&) = delete;

  /// False when the library was already down.
  bool isUp() const { return isUp_; }

private:
  bool isUp_;
};
