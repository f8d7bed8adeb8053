/// The registry: handles, the table of open instruments and find lists, and the records in it.
///
/// Every `init` operation stores a new record through its pointer argument and answers VI_SUCCESS,
/// VI_ERROR_INV_PARAMETER for a null argument or VI_ERROR_ALLOC without memory; every `close` operation frees the
/// record with all it owns, nulls the pointer and does nothing for a null argument or target.
#pragma once

#include "QVvisaDevice.h"
#include "QVvisaInterfaces.h"
#include "QVvisaLibusb.h"
#include "export.h"

extern "C" {

enum { QVVISA_MAX_DEVICES = 128, QVVISA_MAX_FINDLISTS = 16 };

/// Classes of handle.
enum {
  QVVISA_HANDLE_TYPE_UNKNOWN = 0,
  QVVISA_HANDLE_TYPE_DEVICE = 1,
  QVVISA_HANDLE_TYPE_FINDLIST = 2,
  QVVISA_HANDLE_TYPE_RM = 3,
  QVVISA_HANDLE_TYPE_EVENT = 4,
};

constexpr ViSession QV_UNINIT_RM_SESSION_HANDLE = 0;
constexpr ViSession QV_DEFAULT_RM_SESSION_HANDLE = 0x64190511;
constexpr ViFindList QV_UNINIT_FINDLIST_HANDLE = 0;
constexpr ViUInt32 QV_FIRST_SESSION_ID = 0x00001017;
constexpr ViUInt32 QV_INCR_SESSION_ID = 0x00000ABC;
/// First value that the handle sequence doesn't reach.
constexpr ViUInt32 QV_MAX_SESSION_ID = QV_DEFAULT_RM_SESSION_HANDLE - QV_INCR_SESSION_ID - 1;

/// What the resource name of a USB result is printed from.
struct QVvisa_findListUsb_result_t {
  ViUInt8 intf;
  ViUInt16 vid;
  ViUInt16 pid;
  ViUInt8 class_;
  ViUInt8 subClass;
  ViUInt8 protocol;
  unsigned char sn[128];  ///< NUL-terminated
};

/// What the resource name of a serial result is printed from.
struct QVvisa_findListAsrl_result_t {
  ViInt32 comPort;
};

/// A result of any other bus.
struct QVvisa_findListOther_result_t {
  char name[VI_FIND_BUFLEN];
};

/// The frozen answer of one search. The arrays end in a null pointer; an empty result is no array at all.
struct QVvisa_findList_t {
  ViSession ID;                            ///< the find list's handle; the first field, which look-ups compare
  QVvisa_findListUsb_result_t** ppflrUsb;  ///< owned
  int idxUsb;                              ///< next USB result to deliver
  int numUsb;
  QVvisa_findListAsrl_result_t** ppflrAsrl;  ///< owned
  int idxAsrl;                               ///< next serial result to deliver
  int numAsrl;
  int numTot;

  QVvisa_findListOther_result_t** ppflrOther;  ///< owned
  int idxOther;                                ///< next other result to deliver
  int numOther;
};

/// The table. It owns its records.
struct QVvisa_work_t {
  QVvisa_device_t* device[QVVISA_MAX_DEVICES];  ///< null marks a free slot
  int numDevs;
  QVvisa_findList_t* findList[QVVISA_MAX_FINDLISTS];  ///< null marks a free slot
  int numFindLists;

  int numRetired;  ///< closed sessions whose record an operation still uses
};

/// The table; non-null means that the library is up. Written under the fast lock; a reader without it goes through
/// QVvisa_isUp.
QVVISA_API extern QVvisa_work_t* gpQvvisa;

/// @return the next handle of the one sequence that sessions and find lists draw from; a value in use is skipped
QVVISA_API ViUInt32 QVvisa_GetNextSessionID();

/// Gives the record a slot and a handle, which goes to `*vi`. The caller holds the fast lock. On failure the record is
/// closed, instrument included, and `*ppdev` null.
/// @retval VI_SUCCESS            registered; the table owns the record
/// @retval VI_ERROR_INV_OBJECT   an argument or `*ppdev` is null
/// @retval VI_ERROR_ALLOC        128 sessions are open
/// @retval VI_ERROR_SYSTEM_ERROR the library is down
QVVISA_API ViStatus QVvisa_AddHandleDevice(QVvisa_device_t** ppdev, ViSession* vi);
/// Takes a record out of its slot, given by its address, and closes it; one that an operation uses is retired, and
/// closed when its last use ends. The caller holds the fast lock.
/// @retval VI_SUCCESS always
QVVISA_API ViStatus QVvisa_RemoveHandleDevice(QVvisa_device_t** ppdev);
/// As QVvisa_AddHandleDevice, for at most 16 find lists.
QVVISA_API ViStatus QVvisa_AddHandleFindList(QVvisa_findList_t** ppfl, ViSession* vi);
/// As QVvisa_RemoveHandleDevice.
QVVISA_API ViStatus QVvisa_RemoveHandleFindList(QVvisa_findList_t** ppfl);

/// Finds the record of a session. It is good for as long as the caller holds the fast lock, or knows by other means
/// that nobody closes the session; an operation uses QVvisa_pinDevice.
/// @retval VI_SUCCESS          found
/// @retval VI_ERROR_INV_OBJECT `ppdev` null, or `vi` is no session
QVVISA_API ViStatus QVvisa_LookupHandleDevice(ViSession vi, QVvisa_device_t** ppdev);
/// Finds a find list; as QVvisa_LookupHandleDevice.
QVVISA_API ViStatus QVvisa_LookupHandleFindList(ViSession vi, QVvisa_findList_t** ppfl);
/// Classifies a handle. Takes the fast lock, but not for the resource manager's handle.
/// @param[out] typeOfElement  the class
/// @param[out] object   the record of a session or find list; may be null
/// @param[out] pObject  the address of its slot; may be null
/// @retval VI_SUCCESS          known
/// @retval VI_ERROR_INV_OBJECT unknown, or `typeOfElement` null
QVVISA_API ViStatus QVvisa_GetTypeIdxOfSession(ViSession vi, int* typeOfElement, void** object, void** pObject);

/// Creates a device record with one sub-record per bus.
QVVISA_API ViStatus QVvisa_initDevListElem(QVvisa_device_t** ppdev);
/// Closes the instrument and frees the record.
QVVISA_API void QVvisa_closeDevListElem(QVvisa_device_t** ppdev);

QVVISA_API ViStatus QVvisa_initFindResultListElemUsb(QVvisa_findListUsb_result_t** ppflr);
QVVISA_API void QVvisa_closeFindResultListElemUsb(QVvisa_findListUsb_result_t** ppflr);
QVVISA_API ViStatus QVvisa_initFindResultListElemAsrl(QVvisa_findListAsrl_result_t** ppflr);
QVVISA_API void QVvisa_closeFindResultListElemAsrl(QVvisa_findListAsrl_result_t** ppflr);

/// Makes an array of `cnt` plus one null pointers. A negative `cnt` is VI_ERROR_INV_PARAMETER.
QVVISA_API ViStatus QVvisa_initFindResultListArrUsb(QVvisa_findListUsb_result_t*** pppflr, int cnt);
/// Closes the results up to the first null pointer, and the array.
QVVISA_API void QVvisa_closeFindResultListArrUsb(QVvisa_findListUsb_result_t*** pppflr);
QVVISA_API ViStatus QVvisa_initFindResultListArrAsrl(QVvisa_findListAsrl_result_t*** pppflr, int cnt);
QVVISA_API void QVvisa_closeFindResultListArrAsrl(QVvisa_findListAsrl_result_t*** pppflr);

/// Makes an empty find list; its handle is given at registration.
QVVISA_API ViStatus QVvisa_initFindListElem(QVvisa_findList_t** ppfl);
/// Frees a find list with its result arrays.
QVVISA_API void QVvisa_closeFindListElem(QVvisa_findList_t** ppfl);
}

/// As the operations for USB and serial results.
ViStatus QVvisa_initFindResultListElemOther(QVvisa_findListOther_result_t** ppflr);
ViStatus QVvisa_initFindResultListArrOther(QVvisa_findListOther_result_t*** pppflr, int cnt);
void QVvisa_closeFindResultListArrOther(QVvisa_findListOther_result_t*** pppflr);

/// The record of a session, null for a handle that is none. The caller holds the fast lock.
QVvisa_device_t* QVvisa_findDevice(ViSession vi);

/// Closes a record that was taken out of its slot while an operation used it. The caller holds the fast lock.
void QVvisa_closeRetiredDevice(QVvisa_device_t* pdev);
