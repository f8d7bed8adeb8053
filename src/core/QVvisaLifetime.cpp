#include "QVvisaLifetime.h"

#include "DebugDll.h"
#include "DebugMalloc.h"
#include "QVvisaLock.h"

#include <atomic>
#include <cstdio>

int QVvisaInitialized = 0;
char QVvisaBuild[32] = "JAN-01-2000 00:00:00";
ViStatus visaErr = VI_ERROR_SYSTEM_ERROR;
PVOID g_InitOnce = nullptr;
QVvisa_init_t gQVvisaInit = {&QVvisaInitialized, &QVlibusbCtx, &flock_QVvisa, &gpQvvisa, QVvisaBuild};

namespace {

/// How far a close of the library has come. Changed under the fast lock, but for a start that calls a deferred one off.
enum class Closing { No, Deferred, Running };
std::atomic<Closing> closing{Closing::No};

bool changeClosing(Closing from, Closing to) {
  return closing.compare_exchange_strong(from, to);
}

/// Opens under way. Under the fast lock.
int numOpening = 0;

/// Whether something under way still refers to the library, beside what is open.
bool isReferenced() {
  return numOpening > 0 || gpQvvisa->numRetired > 0;
}

/// The named mutex that keeps starts apart, between threads and between processes.
class StartMutex {
public:
  StartMutex() {
    char name[PROCES_MUTEX_NAME_LEN];
    snprintf(name, sizeof name, "%s", "MutexQVVisa");
    isMade_ = OS_constructMutex(nullptr, &handle_, name);
    isHeld_ = isMade_ && OS_lockMutex(handle_, PROCES_MUTEX_TIMEOUT_MS) == MUTEX_TOOK;
  }
  ~StartMutex() {
    if (isHeld_) OS_unlockMutex(handle_);
    if (isMade_) OS_destructMutex(handle_);
  }
  StartMutex(const StartMutex&) = delete;
  StartMutex& operator=(const StartMutex&) = delete;

  bool isHeld() const { return isHeld_; }

private:
  MutexHandle handle_ = nullptr;
  bool isMade_ = false;
  bool isHeld_ = false;
};

/// The part of a start that can fail.
ViStatus startServices(const QVvisa_init_t& init) {
  ViStatus status = QVvisa_initLibUsb(init.ppContext);
  if (status == VI_SUCCESS && !*init.qvvisa) {
    QVvisa_work_t* table = nullptr;
    status = QVvisa_initWork(&table);
    if (status == VI_SUCCESS) std::atomic_ref(*init.qvvisa).store(table, std::memory_order_release);
  }
  char variable[] = "QVVISA_LOGFILE";
  initLogFile(variable);
  return status;
}

}  // namespace

ViStatus QVvisa_startLibrary() {
  const StartMutex mutex;
  if (!mutex.isHeld()) return VI_ERROR_SYSTEM_ERROR;
  void* retainedStatus = nullptr;
  const BOOL isUp = QVvisa_initLibrary(&g_InitOnce, &gQVvisaInit, &retainedStatus);
  return isUp ? VI_SUCCESS : *static_cast<ViStatus*>(retainedStatus);
}

BOOL QVvisa_initLibrary(PVOID*, PVOID Parameter, PVOID* lpContext) {
  if (!Parameter || !lpContext) return FALSE;
  const auto& init = *static_cast<QVvisa_init_t*>(Parameter);
  *lpContext = &visaErr;
  // A library that is up stays up, also one whose close waits for an operation to end. The fast lock is not for this:
  // a slow open or search may hold it, while the caller's start mutex keeps all other starts of the user waiting.
  changeClosing(Closing::Deferred, Closing::No);
  if (closing != Closing::Running && QVvisa_isUp() && init.qvvisa == gQVvisaInit.qvvisa) return TRUE;
  const CoreLock lock;
  changeClosing(Closing::Deferred, Closing::No);
  if (init.pQVVisaInitialized && *init.pQVVisaInitialized == 0) {
    *init.pQVVisaInitialized = 1;
    // The stamp stands before another thread can open a session that reads it.
    snprintf(init.buildDateTime, sizeof QVvisaBuild, "%s", __DATE__ " " __TIME__);
    visaErr = startServices(init);
  }
  return visaErr == VI_SUCCESS;
}

void QVvisa_closeLibrary() {
  if (!gQVvisaInit.pQVVisaInitialized) return;
  const CoreLock lock;
  if (*gQVvisaInit.pQVVisaInitialized != 1) return;
  closing = Closing::Running;
  QVvisa_closeWork();
  libusb_exit(QVlibusbCtx);
  QVlibusbCtx = nullptr;
  debug_mem_list();
  closeLogFile();
  *gQVvisaInit.pQVVisaInitialized = 0;
  closing = Closing::No;
}

void QVvisa_checkClose() {
  const CoreLock lock;
  if (!gpQvvisa) return;
  const bool isEmpty = gpQvvisa->numDevs == 0 && gpQvvisa->numFindLists == 0;
  if (isEmpty && !isReferenced())
    QVvisa_closeLibrary();
  else
    closing = isEmpty ? Closing::Deferred : Closing::No;
}

void QVvisa_closeIfDeferred() {
  const CoreLock lock;
  if (changeClosing(Closing::Deferred, Closing::Running)) QVvisa_checkClose();
}

ViStatus QVvisa_initWork(QVvisa_work_t** ppqvvisa) {
  if (!ppqvvisa) return VI_ERROR_INV_PARAMETER;
  auto* table = static_cast<QVvisa_work_t*>(DEBUG_CALLOC(1, sizeof(QVvisa_work_t)));
  if (!table) return VI_ERROR_ALLOC;
  *ppqvvisa = table;
  return VI_SUCCESS;
}

void QVvisa_closeWork() {
  if (!gpQvvisa) return;
  for (auto& device : gpQvvisa->device) QVvisa_RemoveHandleDevice(&device);
  for (auto& findList : gpQvvisa->findList) QVvisa_RemoveHandleFindList(&findList);
  QVvisa_work_t* table = gpQvvisa;
  std::atomic_ref(gpQvvisa).store(nullptr, std::memory_order_release);
  DEBUG_FREE(table);
}

bool QVvisa_isUp() {
  return std::atomic_ref(gpQvvisa).load(std::memory_order_acquire) != nullptr;
}

ViStatus QVvisa_pinDevice(ViSession vi, QVvisa_device_t** ppdev) {
  const CoreLock lock;
  QVvisa_device_t* device = QVvisa_findDevice(vi);
  if (!device) return VI_ERROR_INV_OBJECT;
  QVvisa_addUse(*device);
  *ppdev = device;
  return VI_SUCCESS;
}

void QVvisa_unpinDevice(QVvisa_device_t* pdev) {
  if (!QVvisa_dropUse(*pdev)) return;
  const CoreLock lock;
  QVvisa_closeRetiredDevice(pdev);
  QVvisa_closeIfDeferred();
}

OpenInProgress::OpenInProgress() {
  const CoreLock lock;
  isUp_ = gpQvvisa != nullptr;
  if (isUp_) ++numOpening;
}

OpenInProgress::~OpenInProgress() {
  if (!isUp_) return;
  const CoreLock lock;
  --numOpening;
  QVvisa_closeIfDeferred();
}
