/// The lifetime of the library: start, stop, and the references that put a stop off.
///
///              start fails
///      Down ────────────────▶ Failed, until the process ends
///      │  ▲
///      │  │ closed
///      │  └────────────────────────── Closing
///      │ start                        ▲    ▲
///      │    last object closed,       │    │ last reference dropped
///      ▼    no references             │    │
///      Up ────────────────────────────┘    │
///      │  ▲                                │
///      │  │ start, or an object registered │
///      │  └───────────────────────────┐    │
///      │                              │    │
///      └─────────────────────────────▶ Close deferred
///           last object closed,
///           references left
///
/// An object is a session or a find list in the table. A reference is an open under way or an operation that still runs
/// on a session closed by another thread. Nothing counts the handle of the resource manager. A deferred close is for
/// callers as good as up. All changes of state are made under the fast lock, but for a start that calls a deferred
/// close off: the lock may be held by a slow search, while the start mutex keeps all other starts of the user waiting.
#pragma once

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
/// Takes the library down if no object is left, or defers that while there are references.
QVVISA_API void QVvisa_checkClose();
/// Carries a deferred close out, if no reference is left.
QVVISA_API void QVvisa_closeIfDeferred();
/// Creates the empty table.
/// @retval VI_SUCCESS, VI_ERROR_INV_PARAMETER for null, VI_ERROR_ALLOC
QVVISA_API ViStatus QVvisa_initWork(QVvisa_work_t** ppqvvisa);
/// Closes all sessions, then all find lists, and frees the table. The caller holds the fast lock.
QVVISA_API void QVvisa_closeWork();
/// Whether the library is up, for a caller without the fast lock. It may go down right after.
QVVISA_API bool QVvisa_isUp();

/// Finds the record of a session and counts a use of it: until QVvisa_unpinDevice the record stays whole, whatever
/// other threads close, and the library stays up.
/// @retval VI_SUCCESS          found
/// @retval VI_ERROR_INV_OBJECT `vi` is no session
QVVISA_API ViStatus QVvisa_pinDevice(ViSession vi, QVvisa_device_t** ppdev);
/// Gives a use back. If the session was closed meanwhile and this was the last use, closes the record, and the library
/// if its close was deferred; only then it takes the fast lock.
QVVISA_API void QVvisa_unpinDevice(QVvisa_device_t* pdev);
}

/// Starts the library, or finds it up, under the start mutex.
/// @retval VI_SUCCESS            up
/// @retval VI_ERROR_SYSTEM_ERROR the start mutex can't be had
/// @return Otherwise the status of the start that failed, now or earlier.
ViStatus QVvisa_startLibrary();

/// A session's record, pinned for the length of an operation.
class PinnedDevice {
public:
  explicit PinnedDevice(ViSession vi) { QVvisa_pinDevice(vi, &device_); }
  ~PinnedDevice() {
    if (device_) QVvisa_unpinDevice(device_);
  }
  PinnedDevice(const PinnedDevice&) = delete;
  PinnedDevice& operator=(const PinnedDevice&) = delete;

  /// Null when the handle is no session.
  QVvisa_device_t* get() const { return device_; }

private:
  QVvisa_device_t* device_ = nullptr;
};

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
