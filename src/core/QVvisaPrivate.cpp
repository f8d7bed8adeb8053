#include "QVvisaPrivate.h"

#include "DebugDll.h"
#include "DebugMalloc.h"
#include "QVvisaAttributeValue.h"

#include <atomic>
#include <cstdio>

int QVvisaInitialized = 0;
char QVvisaBuild[32] = "JAN-01-2000 00:00:00";
ViStatus visaErr = VI_ERROR_SYSTEM_ERROR;
PVOID g_InitOnce = nullptr;
QVvisa_init_t gQVvisaInit = {&QVvisaInitialized, &QVlibusbCtx, &flock_QVvisa, &gpQvvisa, QVvisaBuild};

namespace {

/// A close of the library that has to wait for operations under way, or that runs.
enum class Closing { No, Deferred, Running };
std::atomic<Closing> closing{Closing::No};

bool changeClosing(Closing from, Closing to) {
  return closing.compare_exchange_strong(from, to);
}

/// The part of a start that can fail.
ViStatus startServices(const QVvisa_init_t& init) {
  ViStatus status = libusb2QVvisaStatus(libusb_init(init.ppContext));
  if (status == VI_SUCCESS && !*init.qvvisa) {
    QVvisa_work_t* table = nullptr;
    status = QVvisa_initWork(&table);
    if (status == VI_SUCCESS) std::atomic_ref(*init.qvvisa).store(table, std::memory_order_release);
  }
  char variable[] = "QVVISA_LOGFILE";
  initLogFile(variable);
  return status;
}

ViStatus getCommonAttribute(QVvisa_device_t* pdev, ViAttr attrName, void* attrValue) {
  switch (attrName) {
  case VI_ATTR_RM_SESSION:
    return QVvisa_deliver<ViSession>(attrValue, QV_DEFAULT_RM_SESSION_HANDLE);
  case VI_ATTR_RSRC_LOCK_STATE:
    return QVvisa_deliver<ViAccessMode>(attrValue, pdev->mode);
  case VI_ATTR_USER_DATA_32:
    return QVvisa_deliver<ViAttrState>(attrValue,
                                       std::atomic_ref<ViAttrState>(pdev->userData).load(std::memory_order_relaxed));
  case QV_ATTR_BUILD_DATE_TIME:
    return QVvisa_deliverText(attrValue, QVvisaBuild);
  case VI_ATTR_RSRC_MANF_NAME:
    return QVvisa_deliverText(attrValue, "KESTRIX");
  case VI_ATTR_RSRC_MANF_ID:
    return QVvisa_deliver<ViUInt16>(attrValue, 0x7C5A);
  default:
    return VI_ERROR_NSUP_ATTR;
  }
}

ViStatus setCommonAttribute(QVvisa_device_t* pdev, ViAttr attrName, ViAttrState attrValue) {
  switch (attrName) {
  case VI_ATTR_USER_DATA_32:
    std::atomic_ref<ViAttrState>(pdev->userData).store(attrValue, std::memory_order_relaxed);
    return VI_SUCCESS;
  case VI_ATTR_RM_SESSION:
  case VI_ATTR_RSRC_LOCK_STATE:
  case QV_ATTR_BUILD_DATE_TIME:
  case VI_ATTR_RSRC_MANF_NAME:
  case VI_ATTR_RSRC_MANF_ID:
  case VI_ATTR_INTF_INST_NAME:
  case VI_ATTR_INTF_TYPE:
    return VI_ERROR_ATTR_READONLY;
  default:
    return VI_ERROR_NSUP_ATTR;
  }
}

}  // namespace

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
  if (isEmpty && gpQvvisa->numBusy == 0)
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

OpenInProgress::OpenInProgress() {
  const CoreLock lock;
  isUp_ = gpQvvisa != nullptr;
  if (isUp_) ++gpQvvisa->numBusy;
}

OpenInProgress::~OpenInProgress() {
  if (!isUp_) return;
  const CoreLock lock;
  --gpQvvisa->numBusy;
  QVvisa_closeIfDeferred();
}

ViStatus QVvisa_OpenHelperParseName(char* name, QVvisa_device_t* pdev) {
  if (!name || !pdev) return VI_ERROR_INV_PARAMETER;
  ViStatus status = VI_ERROR_INV_RSRC_NAME;
  for (const QVvisa_backend_t& backend : QVvisa_backends()) {
    status = backend.parseName(pdev, name);
    if (status == VI_SUCCESS) break;
  }
  return status;
}

ViStatus QVvisa_OpenHelperFindOpenDev(QVvisa_device_t* pdev) {
  if (!pdev) return VI_ERROR_INV_OBJECT;
  const CoreLock lock;
  ViStatus status = VI_ERROR_RSRC_NFOUND;
  bool isSearched = false;
  for (const QVvisa_backend_t& backend : QVvisa_backends()) {
    if (!backend.present(pdev)) continue;
    // Only one of the buses that can be searched is; a TCP/IP sub-record beside it has the last word.
    if (isSearched && backend.deviceType != QVVISA_DEVICE_TYPE_TCPIP) continue;
    status = backend.findOpen(pdev);
    isSearched = true;
  }
  return status;
}

int QVvisa_GetDeviceType(QVvisa_device_t* pdev) {
  const QVvisa_backend_t* backend = QVvisa_backendOf(pdev);
  return backend ? backend->deviceType : QVVISA_DEVICE_TYPE_UNKNOWN;
}

ViStatus QVvisa_GetAttributeFromDevice(QVvisa_device_t* pdev, ViAttr attrName, void* attrValue) {
  if (!attrValue) return VI_SUCCESS;
  const QVvisa_backend_t* backend = QVvisa_backendOf(pdev);
  const ViStatus status = backend ? backend->getAttribute(pdev, attrName, attrValue) : VI_ERROR_NSUP_ATTR;
  return status == VI_ERROR_NSUP_ATTR ? getCommonAttribute(pdev, attrName, attrValue) : status;
}

ViStatus QVvisa_SetAttributeToDevice(QVvisa_device_t* pdev, ViAttr attrName, ViAttrState attrValue) {
  const QVvisa_backend_t* backend = QVvisa_backendOf(pdev);
  const ViStatus status = backend ? backend->setAttribute(pdev, attrName, attrValue) : VI_ERROR_NSUP_ATTR;
  return status == VI_ERROR_NSUP_ATTR ? setCommonAttribute(pdev, attrName, attrValue) : status;
}

ViStatus QVvisa_GetAttributeFromFindlist(QVvisa_findList_t*, ViAttr, void*) {
  return VI_ERROR_NIMPL_OPER;
}

ViStatus QVvisa_SetAttributeToFindlist(QVvisa_findList_t*, ViAttr, ViAttrState) {
  return VI_ERROR_NIMPL_OPER;
}
