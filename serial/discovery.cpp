#include "QVlibserial.h"
#include "helper.h"

namespace {

/// Fills the node from one device of the set, as far as the device turns out to be a port that fits.
qv_status examineDevice(HDEVINFO set, SP_DEVINFO_DATA* device, const qvlsTblPortSrchCrit_t* criteria,
                        qvlsPort_t* node) {
  // The port test stands first: a device of another class costs one query.
  constexpr decltype(&qvls_CheckSerialPort) queries[] = {
      qvls_CheckSerialPort, qvls_GetDeviceInstanceData, qvls_GetFriendlyNameComPort,
      qvls_GetService,      qvls_GetPhysDevName,        qvls_GetManufDevName,
  };
  for (const auto query : queries) {
    if (const qv_status status = query(set, device, node); status != QVLS_SUCCESS) return status;
  }
  return qvls_CheckMatch(criteria, node);
}

qv_status collectPorts(HDEVINFO set, const qvlsTblPortSrchCrit_t* criteria, qvlsPortList_t* list) {
  qv_status status = QVLS_SUCCESS;
  qvlsPort_t* spare = nullptr;
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof(device);
  for (DWORD index = 0; SetupDiEnumDeviceInfo(set, index, &device); ++index) {
    if (!spare) status = qvls_InitSerialPortNode(&spare);
    if (status != QVLS_SUCCESS) break;
    if (examineDevice(set, &device, criteria, spare) != QVLS_SUCCESS) continue;
    qvls_AddSerialPortNodeToRing(list, spare);
    spare = nullptr;
  }
  qvls_CloseSerialPortNode(spare);
  return status;
}

}  // namespace

qv_status qvls_GetListOfSerialPorts(qvlsPortList_t** ppqvlsPList, qvlsTblPortSrchCrit_t* pPortTblSrchCrit) {
  if (!ppqvlsPList) return QVLS_ERR_INVAL_PARAM1;
  if (const qv_status status = qvls_InitListOfSerialPorts(ppqvlsPList); status != QVLS_SUCCESS) return status;

  const bool connectedOnly = !pPortTblSrchCrit || pPortTblSrchCrit->disCon == QVLS_ONLY_CONNECTED;
  const DWORD flags = connectedOnly ? DIGCF_ALLCLASSES | DIGCF_PRESENT : DIGCF_ALLCLASSES;
  const HDEVINFO set = SetupDiGetClassDevsA(&RS232GUID, nullptr, nullptr, flags);
  if (set == INVALID_HANDLE_VALUE) return QVLS_ERR_SDI_GETCLASSDEVS;
  const qv_status status = collectPorts(set, pPortTblSrchCrit, *ppqvlsPList);
  SetupDiDestroyDeviceInfoList(set);
  return status;
}
