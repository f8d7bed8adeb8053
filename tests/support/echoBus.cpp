// A bus of two boxes that send back what they get, as small as a bus can be: one file and one row in the table.

#include "QVvisaAttributeValue.h"
#include "QVvisaBackends.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <string>

extern const QVvisa_backend_t echoBackend;

namespace {

using Device = QVvisa_device_t;

constexpr int kBoxes = 2;

struct Echo {
  int number;
  std::string stored;
};

Echo& echo(Device* device) {
  return *static_cast<Echo*>(device->otherDev);
}

void close(Device* device) {
  if (device->otherBus != &echoBackend) return;
  delete &echo(device);
  device->otherDev = nullptr;
  device->otherBus = nullptr;
}

ViStatus parseName(Device* device, char* name) {
  int number = 0, length = 0;
  if (sscanf(name, "ECHO%d::INSTR%n", &number, &length) != 1 || name[length] != '\0') return VI_ERROR_INV_RSRC_NAME;
  device->otherDev = new (std::nothrow) Echo{number, {}};
  if (!device->otherDev) return VI_ERROR_ALLOC;
  device->otherBus = &echoBackend;
  return VI_SUCCESS;
}

ViStatus findOpen(Device* device) {
  return echo(device).number < kBoxes ? VI_SUCCESS : VI_ERROR_RSRC_NFOUND;
}

ViStatus getAttribute(Device* device, ViAttr name, void* value) {
  if (name == VI_ATTR_INTF_NUM) return QVvisa_deliver(value, static_cast<ViUInt16>(echo(device).number));
  return VI_ERROR_NSUP_ATTR;
}

ViStatus setAttribute(Device*, ViAttr name, ViAttrState) {
  return name == VI_ATTR_INTF_NUM ? VI_ERROR_ATTR_READONLY : VI_ERROR_NSUP_ATTR;
}

ViStatus read(Device* device, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  std::string& stored = echo(device).stored;
  if (stored.empty()) return VI_ERROR_TMO;
  *retCnt = static_cast<ViUInt32>(stored.copy(reinterpret_cast<char*>(buf), cnt));
  stored.erase(0, *retCnt);
  return VI_SUCCESS;
}

ViStatus write(Device* device, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  echo(device).stored.append(reinterpret_cast<const char*>(buf), cnt);
  *retCnt = cnt;
  return VI_SUCCESS;
}

ViStatus enumerate(QVvisa_devList_t* found) {
  ViStatus status = VI_SUCCESS;
  for (int number = 0; number < kBoxes && status == VI_SUCCESS; ++number) {
    QVvisa_resource_t box = {};
    snprintf(box.name, sizeof box.name, "ECHO%d::INSTR", number);
    box.numbers[0] = {VI_ATTR_MODEL_CODE, 100 + number};
    status = QVvisa_addResource(found, box);
  }
  return status;
}

}  // namespace

const QVvisa_backend_t echoBackend = {
    .deviceType = QVVISA_DEVICE_TYPE_OTHER,
    .present = [](const Device* device) { return device->otherBus == &echoBackend; },
    .found = [](const Device* device) { return device->otherBus == &echoBackend; },
    .close = close,
    .parseName = parseName,
    .findOpen = findOpen,
    .getAttribute = getAttribute,
    .setAttribute = setAttribute,
    .read = read,
    .write = write,
    .clear =
        [](Device* device) {
          echo(device).stored.clear();
          return VI_SUCCESS;
        },
    .enumerate = enumerate,
};
