#include "QVvisaAsrl.h"

using Device = QVvisa_device_t;

const QVvisa_backend_t QVvisa_asrlBackend = {
    .deviceType = QVVISA_DEVICE_TYPE_ASRL,
    .present = [](const Device* device) { return device->qvlsDev != nullptr; },
    .found = [](const Device* device) { return device->foundAsrlDev != 0; },
    .init = [](Device* device) { return QVvisa_initAsrlDevListElem(&device->qvlsDev); },
    .close = [](Device* device) { QVvisa_closeAsrlDevListElem(&device->qvlsDev); },
    .parseName =
        [](Device* device, char* name) {
          const ViStatus status = QVvisa_OpenHelperParseNameAsrl(name, device->qvlsDev);
          device->foundAsrlDev = status == VI_SUCCESS;
          return status;
        },
    .findOpen = [](Device* device) { return QVvisa_OpenHelperFindOpenDevAsrl(device->qvlsDev); },
    .getAttribute = [](Device* device, ViAttr name,
                       void* value) { return QVvisa_AsrlGetAttribute(device->qvlsDev, name, value); },
    .setAttribute = [](Device* device, ViAttr name,
                       ViAttrState value) { return QVvisa_AsrlSetAttribute(device->qvlsDev, name, value); },
    .read = [](Device* device, ViPBuf buf, ViUInt32 cnt,
               ViPUInt32 retCnt) { return QVvisa_AsrlRead(device->qvlsDev, buf, cnt, retCnt); },
    .write = [](Device* device, ViBuf buf, ViUInt32 cnt,
                ViPUInt32 retCnt) { return QVvisa_AsrlWrite(device->qvlsDev, buf, cnt, retCnt); },
    .enumerate = [](QVvisa_devList_t* found) { return QVvisa_GetAllDevIntfAsrl(&found->asrlList); },
};
