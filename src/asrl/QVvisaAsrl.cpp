#include "QVvisaAsrl.h"

#include "DebugMalloc.h"
#include "QVvisaDefaults.h"

namespace {

constexpr unsigned int kDefaultTimeout_ms = 3000;

/// Leaves a line setting as it is.
constexpr int kUnchanged = -1;

constexpr QVvisa_asrl_device_t kDefaults = {
    .asrlDev = nullptr,
    .comPort = -1,
    .asrlTimo_ms = kDefaultTimeout_ms,
    .asrlIoProt = VI_PROT_NORMAL,
    .termCharEna = VI_FALSE,
    .suppressEndEna = VI_FALSE,
    .sendEndEna = VI_TRUE,
    .termChar = 0x0A,
    .termCharMask = 0x80,
    .asrlBaudrate = QVVISA_DEFAULT_BAUD_RATE,
    .asrlFlowCtrl = VI_ASRL_FLOW_NONE,
    .asrlEndIn = VI_ASRL_END_TERMCHAR,
    .asrlEndOut = VI_ASRL_END_NONE,
    .asrlReplChar = 0,
    .asrlDiscNul = VI_FALSE,
    .asrlBreakLen = QVVISA_ASRL_BREAK_LEN_DEF,
};

}  // namespace

ViStatus QVvisa_initAsrlDevListElem(QVvisa_asrl_device_t** ppqvlsDev) {
  if (!ppqvlsDev) return VI_ERROR_INV_PARAMETER;
  auto* device = static_cast<QVvisa_asrl_device_t*>(DEBUG_MALLOC(sizeof(QVvisa_asrl_device_t)));
  if (!device) return VI_ERROR_ALLOC;
  *device = kDefaults;
  *ppqvlsDev = device;
  return VI_SUCCESS;
}

void QVvisa_closeAsrlDevListElem(QVvisa_asrl_device_t** ppqvlsDev) {
  if (!ppqvlsDev || !*ppqvlsDev) return;
  qvls_ClosePort(&(*ppqvlsDev)->asrlDev);
  DEBUG_FREE(*ppqvlsDev);
  *ppqvlsDev = nullptr;
}

ViStatus QVvisa_OpenHelperFindOpenDevAsrl(QVvisa_asrl_device_t* pqvlsDev) {
  if (!pqvlsDev) return VI_ERROR_INV_OBJECT;
  const ConnectedPorts ports;
  if (!ports.isFound()) return VI_ERROR_RSRC_NFOUND;
  ViStatus status = VI_ERROR_RSRC_NFOUND;
  for (int i = 0; i < ports.count() && status != VI_SUCCESS; ++i) {
    qvlsPort_t* node = ports.at(i);
    if (!node) return VI_ERROR_RSRC_NFOUND;
    status = QVvisa_OpenHelperTestOneAsrlDev(pqvlsDev, node);
  }
  return status;
}

ViStatus QVvisa_OpenHelperTestOneAsrlDev(QVvisa_asrl_device_t* pqvlsDev, qvlsPort_t* pPortNode) {
  if (!pqvlsDev || !pPortNode) return VI_ERROR_INV_OBJECT;
  int comPort = 0;
  if (qvls_GetPortComPort(pPortNode, &comPort, nullptr) != QVLS_SUCCESS || comPort != pqvlsDev->comPort) {
    return VI_ERROR_RSRC_NFOUND;
  }
  const qv_status opened = qvls_OpenPort(&pqvlsDev->asrlDev, comPort);
  if (opened != QVLS_SUCCESS) return libserial2QVvisaStatus(opened);
  // A rate that the port refuses leaves it with its own, and the session open.
  qvls_SetPortMode(pqvlsDev->asrlDev, static_cast<int>(pqvlsDev->asrlBaudrate), kUnchanged, kUnchanged, kUnchanged);
  return VI_SUCCESS;
}
