#include "QVvisaTCPIP.h"

using Device = QVvisa_device_t;

const QVvisa_backend_t QVvisa_tcpipBackend = {
    .deviceType = QVVISA_DEVICE_TYPE_TCPIP,
    .opensBesideOthers = true,
    .present = [](const Device* device) { return device->ttcpDev != nullptr; },
    .found = [](const Device* device) { return device->foundTCPIP_Dev != 0; },
    .init = [](Device* device) { return QVvisa_initTCPIPDevListElem(&device->ttcpDev); },
    .close = [](Device* device) { QVvisa_closeTCPIPDevListElem(&device->ttcpDev); },
    .parseName =
        [](Device* device, char* name) {
          const ViStatus status = QVvisa_OpenHelperParseNameTCPIP(name, device->ttcpDev);
          device->foundTCPIP_Dev = status == VI_SUCCESS;
          return status;
        },
    .findOpen = [](Device* device) { return QVvisa_OpenHelperFindOpenDevTCPIP(device->ttcpDev); },
    .getAttribute = [](Device* device, ViAttr name,
                       void* value) { return QVvisa_TCPIP_GetAttribute(device->ttcpDev, name, value); },
    .setAttribute = [](Device* device, ViAttr name,
                       ViAttrState value) { return QVvisa_TCPIP_SetAttribute(device->ttcpDev, name, value); },
    .read = [](Device* device, ViPBuf buf, ViUInt32 cnt,
               ViPUInt32 retCnt) { return QVvisa_TCPIP_Read(device->ttcpDev, buf, cnt, retCnt); },
    .write = [](Device* device, ViBuf buf, ViUInt32 cnt,
                ViPUInt32 retCnt) { return QVvisa_TCPIP_Write(device->ttcpDev, buf, cnt, retCnt); },
};
