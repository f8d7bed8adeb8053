#include "QVvisaPrivate.h"

#include "QVvisaAttributes.h"
#include "QVvisaDefaults.h"
#include "QVvisaLock.h"

using namespace attribute;

namespace {

using Device = QVvisa_device_t;

ViStatus buildStamp(Device&, ViAttr, void* attrValue) {
  return QVvisa_deliverText(attrValue, QVvisaBuild);
}

ViStatus manufacturer(Device&, ViAttr, void* attrValue) {
  return QVvisa_deliverText(attrValue, "KESTRIX");
}

/// The attributes that a bus leaves to all.
constexpr QVvisa_attribute_t<Device> kCommonAttributes[] = {
    {VI_ATTR_RM_SESSION, constant<QV_DEFAULT_RM_SESSION_HANDLE>, readOnly},
    {VI_ATTR_RSRC_LOCK_STATE, field<&Device::mode>, readOnly},
    {VI_ATTR_USER_DATA_32, field<&Device::userData>, store<&Device::userData>},
    {QV_ATTR_BUILD_DATE_TIME, buildStamp, readOnly},
    {VI_ATTR_RSRC_MANF_NAME, manufacturer, readOnly},
    {VI_ATTR_RSRC_MANF_ID, constant<ViUInt16{QVVISA_VENDOR_ID}>, readOnly},
    {VI_ATTR_INTF_INST_NAME, notHere, readOnly},
    {VI_ATTR_INTF_TYPE, notHere, readOnly},
};

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
  if (!pdev) return VI_ERROR_NSUP_ATTR;
  const QVvisa_backend_t* backend = QVvisa_backendOf(pdev);
  const ViStatus status = backend ? backend->getAttribute(pdev, attrName, attrValue) : VI_ERROR_NSUP_ATTR;
  return status == VI_ERROR_NSUP_ATTR ? QVvisa_getAttribute(kCommonAttributes, *pdev, attrName, attrValue) : status;
}

ViStatus QVvisa_SetAttributeToDevice(QVvisa_device_t* pdev, ViAttr attrName, ViAttrState attrValue) {
  if (!pdev) return VI_ERROR_NSUP_ATTR;
  const QVvisa_backend_t* backend = QVvisa_backendOf(pdev);
  const ViStatus status = backend ? backend->setAttribute(pdev, attrName, attrValue) : VI_ERROR_NSUP_ATTR;
  return status == VI_ERROR_NSUP_ATTR ? QVvisa_setAttribute(kCommonAttributes, *pdev, attrName, attrValue) : status;
}

ViStatus QVvisa_GetAttributeFromFindlist(QVvisa_findList_t*, ViAttr, void*) {
  return VI_ERROR_NIMPL_OPER;
}

ViStatus QVvisa_SetAttributeToFindlist(QVvisa_findList_t*, ViAttr, ViAttrState) {
  return VI_ERROR_NIMPL_OPER;
}
