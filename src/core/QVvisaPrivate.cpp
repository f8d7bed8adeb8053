#include "QVvisaPrivate.h"

#include "QVvisaAttributeValue.h"
#include "QVvisaLock.h"

#include <atomic>

namespace {

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

ViStatus QVvisa_OpenHelperParseName(char* name, QVvisa_device_t* pdev) {
  if (!name || !pdev) return VI_ERROR_INV_PARAMETER;
  ViStatus status = VI_ERROR_INV_RSRC_NAME;
  for (const QVvisa_backend_t* backend : QVvisa_backends()) {
    status = backend->parseName(pdev, name);
    if (status == VI_SUCCESS) break;
  }
  return status;
}

ViStatus QVvisa_OpenHelperFindOpenDev(QVvisa_device_t* pdev) {
  if (!pdev) return VI_ERROR_INV_OBJECT;
  const CoreLock lock;
  ViStatus status = VI_ERROR_RSRC_NFOUND;
  bool isTried = false;
  for (const QVvisa_backend_t* backend : QVvisa_backends()) {
    if (!backend->present(pdev) || (isTried && !backend->opensBesideOthers)) continue;
    status = backend->findOpen(pdev);
    isTried = true;
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
