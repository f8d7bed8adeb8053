#include "deviceDatabaseDouble.h"
#include "testing.h"

DeviceDatabaseDouble deviceDatabase;

namespace {

/// A set is the places of its devices in the database.
using DeviceSet = std::vector<size_t>;

BOOL copyOut(const std::string& value, void* buffer, DWORD size) {
  if (value.size() > size) return FALSE;
  std::memcpy(buffer, value.data(), value.size());
  return TRUE;
}

}  // namespace

void DeviceDouble::setText(DWORD property, const std::string& text) {
  properties[property] = {REG_SZ, std::string(text.c_str(), text.size() + 1)};
}

DeviceDouble serialPortDevice(int comPort) {
  DeviceDouble device;
  const std::string number = std::to_string(comPort);
  device.setText(SPDRP_DRIVER, "{4d36e978-e325-11ce-bfc1-08002be10318}\\000" + number);
  device.setText(SPDRP_FRIENDLYNAME, "USB Serial Port (COM" + number + ")");
  device.setText(SPDRP_SERVICE, "ftdi_sio");
  device.setText(SPDRP_PHYSICAL_DEVICE_OBJECT_NAME, "/dev/ttyUSB" + number);
  device.setText(SPDRP_MFG, "Adapters Ltd");
  device.instanceId = "USB\\VID_1234&PID_5678\\A1B2";
  return device;
}

void DeviceDatabaseDouble::clear() {
  EXPECT_EQ(openSets, 0) << "sets of devices left open";
  *this = {};
}

HDEVINFO SetupDiGetClassDevsA(const GUID*, const char*, HWND, DWORD flags) {
  deviceDatabase.flags = flags;
  if (deviceDatabase.broken) return INVALID_HANDLE_VALUE;
  auto* const set = new DeviceSet;
  for (size_t i = 0; i < deviceDatabase.devices.size(); ++i) {
    if (deviceDatabase.devices[i].present || !(flags & DIGCF_PRESENT)) set->push_back(i);
  }
  ++deviceDatabase.openSets;
  return set;
}

BOOL SetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* device) {
  EXPECT_EQ(device->cbSize, sizeof(*device));
  const auto& places = *static_cast<DeviceSet*>(set);
  if (index >= places.size()) return FALSE;
  device->DevInst = static_cast<DWORD>(places[index]);
  return TRUE;
}

BOOL SetupDiGetDeviceRegistryPropertyA(HDEVINFO, SP_DEVINFO_DATA* device, DWORD property, DWORD* type, BYTE* buffer,
                                       DWORD size, DWORD* required) {
  const auto& properties = deviceDatabase.devices.at(device->DevInst).properties;
  const auto found = properties.find(property);
  if (found == properties.end()) return FALSE;
  if (type) *type = found->second.type;
  if (required) *required = static_cast<DWORD>(found->second.bytes.size());
  return copyOut(found->second.bytes, buffer, size);
}

BOOL SetupDiGetDeviceInstanceIdA(HDEVINFO, SP_DEVINFO_DATA* device, char* id, DWORD size, DWORD*) {
  const std::string& text = deviceDatabase.devices.at(device->DevInst).instanceId;
  return text.empty() ? FALSE : copyOut(std::string(text.c_str(), text.size() + 1), id, size);
}

BOOL SetupDiDestroyDeviceInfoList(HDEVINFO set) {
  delete static_cast<DeviceSet*>(set);
  --deviceDatabase.openSets;
  return TRUE;
}
