#include "QVvisaBackends.h"

#include "QVvisaAsrl.h"
#include "QVvisaTCPIP.h"
#include "QVvisaUSB.h"

namespace {

/// Makes a row of the operations that a backend names, which take its own sub-record.
template <int Type, auto SubRecord, auto Found, auto Init, auto Close, auto Parse, auto FindOpen, auto Get, auto Set,
          auto Read, auto Write>
constexpr QVvisa_backend_t row(ViStatus (*enumerate)(QVvisa_devList_t*)) {
  return {
      Type,
      [](const QVvisa_device_t* d) { return d->*SubRecord != nullptr; },
      [](QVvisa_device_t* d) { return Init(&(d->*SubRecord)); },
      [](QVvisa_device_t* d) { Close(&(d->*SubRecord)); },
      [](QVvisa_device_t* d, char* name) {
        const ViStatus status = Parse(name, d->*SubRecord);
        d->*Found = status == VI_SUCCESS;
        return status;
      },
      [](const QVvisa_device_t* d) { return d->*Found != 0; },
      [](QVvisa_device_t* d) { return FindOpen(d->*SubRecord); },
      [](QVvisa_device_t* d, ViAttr name, void* value) {
        // The USB backend's get takes the whole record.
        if constexpr (requires { Get(d, name, value); })
          return Get(d, name, value);
        else
          return Get(d->*SubRecord, name, value);
      },
      [](QVvisa_device_t* d, ViAttr name, ViAttrState value) { return Set(d->*SubRecord, name, value); },
      [](QVvisa_device_t* d, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
        return Read(d->*SubRecord, buf, cnt, retCnt);
      },
      [](QVvisa_device_t* d, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
        return Write(d->*SubRecord, buf, cnt, retCnt);
      },
      enumerate,
  };
}

using Device = QVvisa_device_t;

constexpr QVvisa_backend_t kBackends[] = {
    row<QVVISA_DEVICE_TYPE_USB, &Device::tusbDev, &Device::foundUsbDev, QVvisa_initUsbDevListElem,
        QVvisa_closeUsbDevListElem, QVvisa_OpenHelperParseNameUsb, QVvisa_OpenHelperFindOpenDevUsb,
        QVvisa_UsbGetAttribute, QVvisa_UsbSetAttribute, QVvisa_UsbRead, QVvisa_UsbWrite>(
        [](QVvisa_devList_t* lists) { return QVvisa_GetAllDevIntfUsb(&lists->usbList); }),
    row<QVVISA_DEVICE_TYPE_ASRL, &Device::qvlsDev, &Device::foundAsrlDev, QVvisa_initAsrlDevListElem,
        QVvisa_closeAsrlDevListElem, QVvisa_OpenHelperParseNameAsrl, QVvisa_OpenHelperFindOpenDevAsrl,
        QVvisa_AsrlGetAttribute, QVvisa_AsrlSetAttribute, QVvisa_AsrlRead, QVvisa_AsrlWrite>(
        [](QVvisa_devList_t* lists) { return QVvisa_GetAllDevIntfAsrl(&lists->asrlList); }),
    row<QVVISA_DEVICE_TYPE_TCPIP, &Device::ttcpDev, &Device::foundTCPIP_Dev, QVvisa_initTCPIPDevListElem,
        QVvisa_closeTCPIPDevListElem, QVvisa_OpenHelperParseNameTCPIP, QVvisa_OpenHelperFindOpenDevTCPIP,
        QVvisa_TCPIP_GetAttribute, QVvisa_TCPIP_SetAttribute, QVvisa_TCPIP_Read, QVvisa_TCPIP_Write>(nullptr),
};

}  // namespace

std::span<const QVvisa_backend_t> QVvisa_backends() {
  return kBackends;
}

const QVvisa_backend_t* QVvisa_backendOf(const QVvisa_device_t* pdev) {
  if (!pdev) return nullptr;
  for (const QVvisa_backend_t& backend : QVvisa_backends()) {
    if (backend.present(pdev)) return &backend;
  }
  return nullptr;
}
