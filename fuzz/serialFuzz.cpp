/// Fuzzes what the device database says of serial ports, and the criteria of a search for them.
#include "QVlibserial.h"
#include "doubles.h"
#include "fuzz.h"
#include "helper.h"
#include "support/deviceDatabaseDouble.h"

namespace {

constexpr DWORD PROPERTIES[] = {SPDRP_DRIVER, SPDRP_FRIENDLYNAME, SPDRP_SERVICE, SPDRP_PHYSICAL_DEVICE_OBJECT_NAME,
                                SPDRP_MFG,    SPDRP_HARDWAREID};

void addDevice(FuzzedDataProvider& input) {
  DeviceDouble device = serialPortDevice(input.ConsumeIntegralInRange(0, 9));
  for (const DWORD property : PROPERTIES) {
    switch (input.ConsumeIntegralInRange(0, 5)) {
    case 0:
      device.properties.erase(property);
      break;
    case 1:
      device.setText(property, input.ConsumeRandomLengthString(300));
      break;
    case 2:
      device.properties[property] = {input.ConsumeIntegralInRange<DWORD>(0, 12), input.ConsumeRandomLengthString(300)};
      break;
    default:
      break;
    }
  }
  if (input.ConsumeBool()) device.instanceId = input.ConsumeRandomLengthString(300);
  device.present = input.ConsumeBool();
  deviceDatabase.devices.push_back(device);
}

/// Null now and then, as callers pass it.
struct OptionalText {
  explicit OptionalText(FuzzedDataProvider& input)
      : isThere(input.ConsumeBool()), text(isThere ? input.ConsumeRandomLengthString(80) : "") {}
  const char* get() const { return isThere ? text.c_str() : nullptr; }
  bool isThere;
  std::string text;
};

qvlsTblPortSrchCrit_t* criteria(FuzzedDataProvider& input) {
  qvlsTblPortSrchCrit_t* table = nullptr;
  const int rows = input.ConsumeIntegralInRange(-1, 3);
  if (qvls_InitTblDevSrchCrit(&table, rows) != QVLS_SUCCESS) return nullptr;
  for (int row = -1; row <= rows; ++row) {
    const OptionalText service(input), name(input), maker(input);
    const qv_status status =
        qvls_SetDevSrchCrit(table, row, input.ConsumeIntegralInRange(-1, 1001), service.get(), name.get(), maker.get());
    require(status == QVLS_SUCCESS || status == QVLS_ERR_INVAL_PARAM2 || status == QVLS_ERR_INVAL_PARAM3, "criterion");
  }
  qvls_SetPortPresentSrchCrit(table, input.ConsumeIntegralInRange(-2, 2));
  return table;
}

void lookAt(const qvlsPort_t* node) {
  int number = 0, present = 0, vid = 0, pid = 0;
  unsigned int instance = 0;
  require(qvls_GetPortComPort(node, &number, &present) == QVLS_SUCCESS, "port number");
  char id[200], service[64], name[256], physical[256], maker[64];
  require(qvls_DevNodeInstancdId(node, &instance, id) == QVLS_SUCCESS && ends(id), "instance ID");
  require(qvls_GetPortService(node, service) == QVLS_SUCCESS && ends(service), "service");
  require(qvls_GetPortFriendlyName(node, name) == QVLS_SUCCESS && ends(name), "friendly name");
  require(qvls_GetPortPhysDevName(node, physical) == QVLS_SUCCESS && ends(physical), "physical name");
  require(qvls_GetPortManufName(node, maker) == QVLS_SUCCESS && ends(maker), "maker");
  qvls_GetVid(node, &vid);
  qvls_GetPid(node, &pid);
  require(vid >= 0 && vid <= 0xFFFF, "vendor ID");
}

void discover(qvlsTblPortSrchCrit_t* table) {
  qvlsPortList_t* list = nullptr;
  require(qvls_GetListOfSerialPorts(&list, table) == QVLS_SUCCESS, "discovery");
  int count = 0;
  require(qvls_GetNumFoundPorts(list, &count) == QVLS_SUCCESS, "number of ports");
  for (int i = 0; i < count; ++i) {
    qvlsPort_t* node = nullptr;
    require(qvls_GetPort(list, i, &node) == QVLS_SUCCESS && node, "port of the list");
    require(qvls_CheckMatch(table, node) == QVLS_SUCCESS, "a port that doesn't fit");
    lookAt(node);
  }
  require(qvls_DisposeListOfSerialPorts(&list) == QVLS_SUCCESS && !list, "list isn't freed");
}

void texts(const std::string& text) {
  const ExactText exact(text);
  std::string cut(text.size() + 1, '\0');
  const int number = qvh_GetComPortFromFriendlyName(exact.get(), cut.data());
  require(qvh_GetComPortFromFriendlyName(exact.get(), exact.get()) == number, "cut in place");
  GUID guid;
  qvh_GenerateGuidFromGuidstring(&guid, reinterpret_cast<unsigned char*>(ExactText(text).get()));
  const std::string_view joined = qvh_PrintRegMultiSz(", ", text.data(), static_cast<unsigned int>(text.size()));
  require(joined.size() < REGMULTISZ_MAXBUF, "joined strings");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  for (int i = input.ConsumeIntegralInRange(0, 3); i > 0; --i) addDevice(input);
  qvlsTblPortSrchCrit_t* table = criteria(input);
  discover(table);
  qvls_CloseTblPortSrchCrit(&table);
  texts(input.ConsumeRemainingBytesAsString());
  deviceDatabase.clear();
  return 0;
}
