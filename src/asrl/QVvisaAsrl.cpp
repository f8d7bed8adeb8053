#include "QVvisaAsrl.h"

#include "DebugMalloc.h"
#include "QVvisaNumber.h"

#include <string_view>

namespace {

constexpr unsigned int kDefaultTimeout_ms = 3000;
constexpr ViUInt32 kDefaultBaudRate = 115200;

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
    .asrlBaudrate = kDefaultBaudRate,
    .asrlFlowCtrl = VI_ASRL_FLOW_NONE,
    .asrlEndIn = VI_ASRL_END_TERMCHAR,
    .asrlEndOut = VI_ASRL_END_NONE,
    .asrlReplChar = 0,
    .asrlDiscNul = VI_FALSE,
    .asrlBreakLen = QVVISA_ASRL_BREAK_LEN_DEF,
};

/// The machine's connected ports, for the time of one search.
class ConnectedPorts {
public:
  ConnectedPorts() {
    isFound_ = qvls_GetListOfSerialPorts(&list_, nullptr) == QVLS_SUCCESS &&
               qvls_GetNumFoundPorts(list_, &count_) == QVLS_SUCCESS;
  }
  ~ConnectedPorts() { qvls_DisposeListOfSerialPorts(&list_); }
  ConnectedPorts(const ConnectedPorts&) = delete;
  ConnectedPorts& operator=(const ConnectedPorts&) = delete;

  /// Whether discovery worked, also if it found none.
  bool isFound() const { return isFound_; }
  int count() const { return count_; }
  /// The node at a place in ring order, null if it can't be had.
  qvlsPort_t* at(int index) const {
    qvlsPort_t* node = nullptr;
    return qvls_GetPort(list_, index, &node) == QVLS_SUCCESS ? node : nullptr;
  }

private:
  qvlsPortList_t* list_ = nullptr;
  int count_ = 0;
  bool isFound_ = false;
};

/// What stands behind the first `pattern` in `text`; nothing without one.
std::optional<std::string_view> behind(std::string_view text, std::string_view pattern) {
  const size_t at = text.find(pattern);
  if (at == std::string_view::npos) return std::nullopt;
  return text.substr(at + pattern.size());
}

/// Takes the baud rate that may stand behind the separator of a COM name; false for one that fits no number.
bool takeBaudRate(std::string_view text, QVvisa_asrl_device_t& device) {
  const auto rate = QVvisa_leadingInteger(text);
  if (rate) device.asrlBaudrate = static_cast<ViUInt32>(*rate);
  return rate || !QVvisa_beginsWithInteger(text);
}

bool parseCom(std::string_view rest, QVvisa_asrl_device_t& device) {
  const auto port = QVvisa_leadingInteger(rest);
  if (!port) return false;
  device.comPort = *port;
  const auto rate = behind(rest, QVVISA_OPEN_PATTERN_SEP);
  return !rate || takeBaudRate(*rate, device);
}

bool parseAsrl(std::string_view rest, QVvisa_asrl_device_t& device) {
  const auto port = QVvisa_leadingInteger(rest);
  const auto tail = behind(rest, QVVISA_OPEN_PATTERN_SEP);
  if (!port || !tail) return false;
  const auto end = behind(*tail, QVVISA_OPEN_PATTERN_INSTR);
  if (!end || !end->empty()) return false;
  device.comPort = *port;
  return true;
}

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

ViStatus QVvisa_OpenHelperParseNameAsrl(char* name, QVvisa_asrl_device_t* pqvlsDev) {
  if (!name || !pqvlsDev) return VI_ERROR_INV_PARAMETER;
  bool isParsed = false;
  if (const auto com = behind(name, QVVISA_OPEN_PATTERN_COM))
    isParsed = parseCom(*com, *pqvlsDev);
  else if (const auto asrl = behind(name, QVVISA_OPEN_PATTERN_ASRL))
    isParsed = parseAsrl(*asrl, *pqvlsDev);
  return isParsed ? VI_SUCCESS : VI_ERROR_INV_RSRC_NAME;
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
