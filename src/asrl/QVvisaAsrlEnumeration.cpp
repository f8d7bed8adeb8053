#include "QVvisaAsrlEnumeration.h"

namespace {

/// Fills the next entry of the list from a node; false when the node can't tell its port.
bool fillEntry(QVvisa_devIntfAsrl_t& entry, const qvlsPort_t* node) {
  int comPort = 0;
  if (!node || qvls_GetPortComPort(node, &comPort, nullptr) != QVLS_SUCCESS) return false;
  entry.comPort = comPort;
  qvls_GetVid(node, &entry.vid);
  qvls_GetPid(node, &entry.pid);
  return true;
}

}  // namespace

ViStatus QVvisa_GetAllDevIntfAsrl(QVvisa_devIntfListAsrl_t** ppdilAsrl) {
  if (!ppdilAsrl) return VI_ERROR_INV_OBJECT;
  const ConnectedPorts ports;
  if (!ports.isFound() || ports.count() == 0) return VI_ERROR_RSRC_NFOUND;
  int next = *ppdilAsrl ? (*ppdilAsrl)->numDevIntfAsrl : 0;
  const ViStatus status = QVvisa_reInitDevIntfListAsrl(ppdilAsrl, ports.count());
  if (status != VI_SUCCESS) return status;
  for (int i = 0; i < ports.count(); ++i) {
    if (fillEntry((*ppdilAsrl)->intfAsrl[next], ports.at(i))) ++next;
  }
  // Places that stayed free aren't listed.
  (*ppdilAsrl)->numDevIntfAsrl = next;
  return VI_SUCCESS;
}
