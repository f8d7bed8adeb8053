// The device database on a mocked /sys and /dev, for the most part as the serial port library reads it.
#include "deviceDatabase.h"
#include "QVlibserial.h"
#include "QVvisa.h"
#include "QVvisaPrivate.h"
#include "osAbstraction.h"
#include "privileges.h"
#include "support/failingAlloc.h"
#include "support/startLibrary.h"
#include "support/testing.h"

#include <libudev.h>
#include <sys/ioctl.h>
#include <umockdev.h>

namespace {

using std::string;

bool isPrivileged = false;
int failAt = -1;  ///< so many calls of libudev from now one fails

bool fails() {
  return failAt >= 0 && failAt-- == 0;
}

// The linker sends the calls of libudev through these.
extern "C" {
udev* __real_udev_new();
udev_enumerate* __real_udev_enumerate_new(udev* context);
int __real_udev_enumerate_add_match_subsystem(udev_enumerate* list, const char* name);
int __real_udev_enumerate_add_match_sysname(udev_enumerate* list, const char* name);
int __real_udev_enumerate_scan_devices(udev_enumerate* list);
udev_device* __real_udev_device_new_from_syspath(udev* context, const char* path);

udev* __wrap_udev_new() {
  return fails() ? nullptr : __real_udev_new();
}
udev_enumerate* __wrap_udev_enumerate_new(udev* context) {
  return fails() ? nullptr : __real_udev_enumerate_new(context);
}
int __wrap_udev_enumerate_add_match_subsystem(udev_enumerate* list, const char* name) {
  return fails() ? -ENOMEM : __real_udev_enumerate_add_match_subsystem(list, name);
}
int __wrap_udev_enumerate_add_match_sysname(udev_enumerate* list, const char* name) {
  return fails() ? -ENOMEM : __real_udev_enumerate_add_match_sysname(list, name);
}
int __wrap_udev_enumerate_scan_devices(udev_enumerate* list) {
  return fails() ? -EIO : __real_udev_enumerate_scan_devices(list);
}
udev_device* __wrap_udev_device_new_from_syspath(udev* context, const char* path) {
  return fails() ? nullptr : __real_udev_device_new_from_syspath(context, path);
}
}

string device(const string& path, const string& subsystem, const string& more = "") {
  return "P: /devices/" + path + "\nE: SUBSYSTEM=" + subsystem + "\n" + more + "\n";
}
string driver(const string& name) {
  return "L: driver=../drivers/" + name + "\n";
}
string attribute(const string& name, const string& value) {
  return "A: " + name + "=" + value + "\\n\n";
}
string tty(const string& parent, const string& name, const string& more = "", bool hasNode = true) {
  const string node = hasNode ? "N: " + name + "\n" : "";
  return device(parent + "/tty/" + name, "tty", node + "E: DEVNAME=/dev/" + name + "\n" + more);
}
string usbAdapter(const string& name, const string& product, const string& serial, bool hasNode) {
  const string path = "usb1/" + name;
  const string port = path + "/" + name + ":1.0/" + name;
  return device(path, "usb",
                "E: DEVTYPE=usb_device\n" + attribute("idVendor", "0403") + attribute("idProduct", "6001") +
                    attribute("product", product) + attribute("manufacturer", "FTDI") + attribute("serial", serial)) +
         device(path + "/" + name + ":1.0", "usb", "E: DEVTYPE=usb_interface\n") +
         device(port, "usb-serial", driver("ftdi_sio")) + tty(port, name, "", hasNode);
}

class DeviceDatabase : public testing::Test {
protected:
  void SetUp() override { bed_ = umockdev_testbed_new(); }
  void TearDown() override {
    unsetenv("QVVISA_SERIAL_PORTS");
    isPrivileged = false;
    g_object_unref(bed_);
  }
  void add(const string& devices) {
    ASSERT_TRUE(umockdev_testbed_add_from_string(bed_, devices.c_str(), nullptr)) << devices;
  }
  /// Makes a link in the mocked /dev.
  void link(const string& name, const string& target) {
    gchar* root = umockdev_testbed_get_root_dir(bed_);
    ASSERT_EQ(symlink(target.c_str(), (string(root) + "/dev/" + name).c_str()), 0);
    g_free(root);
  }
  /// A line per port: friendly name, service, manufacturer, driver key's number, instance ID, object name.
  static string devices(int filter = QVLS_ONLY_CONNECTED) {
    qvlsTblPortSrchCrit_t criteria = {nullptr, 0, filter};
    qvlsPortList_t* list = nullptr;
    EXPECT_EQ(qvls_GetListOfSerialPorts(&list, &criteria), QVLS_SUCCESS);
    string lines;
    // Backwards the ring has the database's order.
    const qvlsPort_t* port = list->list;
    for (int i = 0; i < list->numDev; i++, port = port->prev) {
      lines += string(port->frdlyNameRaw) + '|' + port->service + '|' + port->manufName + '|' +
               std::to_string(port->driverInstance) + '|' + port->DevInstIdBuf + '|' +
               (port->present == PRESENCE_CONNECTED ? port->phyDevName : "-") + '\n';
    }
    qvls_DisposeListOfSerialPorts(&list);
    return lines;
  }
  /// The numbers that a test may give, with their nodes.
  static string ports() {
    string text;
    for (const int number : {-7, 0, 7, 8, 9, 100, 101, 102, 1001}) {
      char path[256] = "";
      if (findComPortPath(number, path, sizeof path)) text += std::to_string(number) + "=" + path + " ";
    }
    return text;
  }

  UMockdevTestbed* bed_ = nullptr;
};

TEST_F(DeviceDatabase, ListsTheMachinesPorts) {
  EXPECT_EQ(devices(), "");
  // A motherboard port as kernels since 6.5 show it, slots with and without a chip, virtual terminals.
  add(device("pnp0/00:05", "pnp", driver("serial")) + device("pnp0/00:05/0", "serial-base", driver("ctrl")) +
      device("pnp0/00:05/0/0.0", "serial-base", driver("port")) +
      tty("pnp0/00:05/0/0.0", "ttyS0", attribute("type", "4")) +
      device("platform/serial8250", "platform", driver("serial8250")) +
      tty("platform/serial8250", "ttyS1", attribute("type", "0")) + tty("platform/serial8250", "ttyS2") +
      tty("platform/serial8250", "ttyS3", attribute("type", "4")) + tty("virtual", "tty1") + tty("virtual", "ptmx"));
  // Adapters with and without a serial number, a radio link, ttys outside the known families.
  add(usbAdapter("ttyUSB1", "Quad", "B2", false) + usbAdapter("ttyUSB0", "FT232R USB UART", "A1", true) +
      device("usb1/1-6", "usb",
             "E: DEVTYPE=usb_device\n" + attribute("idVendor", "2a19") + attribute("idProduct", "abcd")) +
      device("usb1/1-6/1-6:1.0", "usb", "E: DEVTYPE=usb_interface\n" + driver("cdc_acm")) +
      tty("usb1/1-6/1-6:1.0", "ttyACM3") + tty("virtual", "rfcomm1") + device("pci0/x", "pci") +
      tty("pci0/x", "ttyXR10") + tty("pci0/x", "ttyXR9", "", false) + tty("pci0/x", "ttyUSB100"));
  const string first = "Serial Port serial (COM1)|serial|serial|1|TTY\\serial\\ttyS0|/dev/ttyS0\n"
                       "Serial Port serial8250 (COM4)|serial8250|serial8250|4|TTY\\serial8250\\ttyS3|/dev/ttyS3\n"
                       "FT232R USB UART (COM100)|ftdi_sio|FTDI|100|USB\\VID_0403&PID_6001\\A1|/dev/ttyUSB0\n";
  const string unplugged = "Quad (COM101)|ftdi_sio|FTDI|101|USB\\VID_0403&PID_6001\\B2|-\n";
  const string last = "Serial Port cdc_acm (COM203)|cdc_acm|cdc_acm|203|USB\\VID_2A19&PID_ABCD\\1-6|/dev/ttyACM3\n"
                      "Serial Port rfcomm (COM401)|rfcomm|rfcomm|401|TTY\\rfcomm\\rfcomm1|/dev/rfcomm1\n"
                      "Serial Port tty (COM500)|tty|tty|500|TTY\\tty\\ttyUSB100|/dev/ttyUSB100\n";
  const string unpluggedOther = "Serial Port tty (COM501)|tty|tty|501|TTY\\tty\\ttyXR9|-\n";
  const string lastOther = "Serial Port tty (COM502)|tty|tty|502|TTY\\tty\\ttyXR10|/dev/ttyXR10\n";
  EXPECT_EQ(devices(), first + last + lastOther);
  EXPECT_EQ(devices(QVLS_ALL_DEVICES), first + unplugged + last + unpluggedOther + lastOther);
  EXPECT_EQ(devices(QVLS_ONLY_DISCON), unplugged + unpluggedOther);
  char path[256];
  EXPECT_FALSE(findComPortPath(101, path, sizeof path));
  EXPECT_EQ(OS_getLastError(), ENOENT);
  EXPECT_FALSE(findComPortPath(1, path, strlen("/dev/ttyS0")));
  EXPECT_EQ(OS_getLastError(), ENOBUFS);
}

TEST_F(DeviceDatabase, TextsFitTheirReaders) {
  string umlauts;
  for (int i = 0; i < 126; i++) umlauts += "\xC3\xA4";
  const string cases[][2] = {{umlauts, umlauts.substr(0, 246) + " (COM100)"},
                             {"x" + umlauts, "x" + umlauts.substr(0, 244) + " (COM100)"},
                             {"Quad (COM9) (COM8)", "Quad [COM9) [COM8) (COM100)"}};
  const string id = "USB\\VID_0403&PID_6001\\";
  const string others = "|ftdi_sio|FTDI|100|" + id + string(199 - id.size(), 's') + "|/dev/ttyUSB0\n";
  for (const auto& [product, friendlyName] : cases) {
    add(usbAdapter("ttyUSB0", product, string(300, 's'), true));
    EXPECT_EQ(devices(), friendlyName + others);
    TearDown();
    SetUp();
  }
  add(usbAdapter("ttyUSB0", "UART", "A1", true));
  HDEVINFO set = SetupDiGetClassDevsA(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES);
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof device;
  ASSERT_TRUE(SetupDiEnumDeviceInfo(set, 0, &device));
  char text[30];
  DWORD type = 0;
  DWORD size = 0;
  const auto reads = [&](DWORD property, DWORD room) {
    return SetupDiGetDeviceRegistryPropertyA(set, &device, property, &type, reinterpret_cast<BYTE*>(text), room, &size);
  };
  EXPECT_TRUE(reads(SPDRP_HARDWAREID, sizeof text) && type == REG_MULTI_SZ);
  EXPECT_EQ(string(text, size), string("USB\\VID_0403&PID_6001\0", 22) + '\0');
  EXPECT_TRUE(!reads(SPDRP_SERVICE, 8) && OS_getLastError() == ENOBUFS && size == 9);
  EXPECT_TRUE(reads(SPDRP_SERVICE, 9) && type == REG_SZ);
  EXPECT_FALSE(reads(SPDRP_MAXIMUM_PROPERTY, sizeof text));
  EXPECT_TRUE(!SetupDiEnumDeviceInfo(set, 1, &device) && OS_getLastError() == ENOENT);
  SetupDiDestroyDeviceInfoList(set);
  set = SetupDiGetClassDevsA(nullptr, nullptr, nullptr, DIGCF_PRESENT);
  EXPECT_FALSE(SetupDiEnumDeviceInfo(set, 0, &device)) << "neither all classes nor that of ports";
  SetupDiDestroyDeviceInfoList(set);
}

TEST_F(DeviceDatabase, UserAddsAndRenumbersPorts) {
  add(usbAdapter("ttyUSB0", "UART", "A1", true) + usbAdapter("ttyUSB1", "UART", "B2", true) +
      usbAdapter("ttyUSB2", "UART", "C3", false));
  link("byId", "ttyUSB0");
  link("dangling", "nowhere");
  const string machine = "100=/dev/ttyUSB0 101=/dev/ttyUSB1 ";
  const string with7 = "7=/dev/null " + machine;
  const string cases[][2] = {
      {"", machine},
      {" 7=/dev/null , 8=/dev/zero ", "7=/dev/null 8=/dev/zero " + machine},
      {"7=/dev/dangling,8=/dev/nowhere,100=/dev/nowhere,102=/dev/ttyUSB2", machine},
      {"100=/dev/null", "100=/dev/null 101=/dev/ttyUSB1 "},
      {"7=/dev/ttyUSB0", "7=/dev/ttyUSB0 101=/dev/ttyUSB1 "},
      {"7=/dev/byId,8=/dev/ttyUSB0", "7=/dev/byId 101=/dev/ttyUSB1 "},
      {"100=/dev/ttyUSB1,101=/dev/ttyUSB0", "100=/dev/ttyUSB1 101=/dev/ttyUSB0 "},
      {"101=/dev/byId", "101=/dev/byId "},
      {"7=/dev/nowhere,7=/dev/null,7=/dev/zero,7=/dev/ttyUSB0,8=/dev/null", with7},
      {",,=,7,7=,=/dev/null,x=/dev/null,7x=/dev/null,0=/dev/null,-7=/dev/null,1001=/dev/null,+7=/dev/null,7=null,7= "
       "/dev/null",
       machine},
      {"99999999999=/dev/null,7:/dev/null,8,9=/" + string(5000, 'x') + ",7=/dev/null", with7},
  };
  for (const auto& [variable, expected] : cases) {
    setenv("QVVISA_SERIAL_PORTS", variable.c_str(), 1);
    EXPECT_EQ(ports(), expected) << variable;
  }
  setenv("QVVISA_SERIAL_PORTS", "7=/dev/byId,8=/dev/null", 1);
  EXPECT_EQ(devices().substr(0, devices().rfind("UART")),
            "UART (COM7)|ftdi_sio|FTDI|7|USB\\VID_0403&PID_6001\\A1|/dev/byId\n"
            "Serial Port /dev/null (COM8)|tty|tty|8|USER\\tty\\COM8|/dev/null\n");
  isPrivileged = true;
  EXPECT_EQ(ports(), machine);
}

TEST_F(DeviceDatabase, WhatFailsLeavesNothingBehind) {
  string machine;
  for (int i = 0; i < 20; ++i) machine += usbAdapter("ttyUSB" + std::to_string(i), "UART", "A1", true);
  add(machine);
  setenv("QVVISA_SERIAL_PORTS", "7=/dev/null", 1);
  const auto count = [] {
    HDEVINFO set = SetupDiGetClassDevsA(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES);
    if (set == INVALID_HANDLE_VALUE) return -1;
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof device;
    int ports = 0;
    while (SetupDiEnumDeviceInfo(set, static_cast<DWORD>(ports), &device)) ++ports;
    SetupDiDestroyDeviceInfoList(set);
    return ports;
  };
  const long allocations = failEachAllocation([&](const FailingAlloc& alloc) {
    const int ports = count();
    EXPECT_EQ(ports, alloc.hasFailed() ? -1 : 21);
    EXPECT_TRUE(!alloc.hasFailed() || OS_getLastError() == ENOMEM);
  });
  EXPECT_GE(allocations, 3) << "the set, its ports, and room for more of them";
  // Without its database there is no list; a device that goes while it is listed drops out alone.
  constexpr int scan = 7;
  for (int place = 0; failAt < 0; ++place) {
    failAt = place;
    OS_setLastError(0);
    const int ports = count();
    EXPECT_EQ(ports, place <= scan ? -1 : failAt < 0 ? 20 : 21) << place;
    EXPECT_EQ(OS_getLastError(), place < scan ? ENOMEM : place == scan ? EIO : ENOENT) << place;
  }
  failAt = -1;
}

/// Answers for a line with modem lines; the rest reaches the pty.
gboolean answerIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer) {
  int error = 0;
  if (umockdev_ioctl_client_get_request(client) == TIOCMGET) {
    auto* lines = umockdev_ioctl_data_resolve(umockdev_ioctl_client_get_arg(client), 0, sizeof(int), nullptr);
    int value = TIOCM_DTR | TIOCM_CTS;
    umockdev_ioctl_data_update(lines, 0, reinterpret_cast<guint8*>(&value), sizeof value);
    umockdev_ioctl_data_unref(lines);
    umockdev_ioctl_client_complete(client, 0, 0);
  } else {
    const int result = umockdev_ioctl_client_execute(client, &error, nullptr);
    umockdev_ioctl_client_complete(client, result, error);
  }
  return TRUE;
}

TEST_F(DeviceDatabase, SessionFindsOpensAndQueriesAListedPort) {
  add(usbAdapter("ttyUSB0", "UART", "A1", true));
  UMockdevIoctlBase* handler = umockdev_ioctl_base_new();
  g_signal_connect(handler, "handle-ioctl", G_CALLBACK(answerIoctl), nullptr);
  ASSERT_TRUE(umockdev_testbed_attach_ioctl(bed_, "/dev/ttyUSB0", handler, nullptr));
  const int peer = umockdev_testbed_get_dev_fd(bed_, "/dev/ttyUSB0");
  const ViSession rm = start();
  ViSession vi = 0, second = 0;
  ViChar expr[] = "ASRL?*";
  ViChar name[VI_FIND_BUFLEN] = "";
  EXPECT_EQ(QV_viFindRsrc(rm, expr, nullptr, nullptr, name), VI_SUCCESS);
  EXPECT_STREQ(name, "ASRL100::INSTR");
  ASSERT_EQ(QV_viOpen(rm, name, VI_NO_LOCK, 0, &vi), VI_SUCCESS);
  EXPECT_EQ(QV_viOpen(rm, name, VI_NO_LOCK, 0, &second), VI_ERROR_SYSTEM_ERROR);
  ViInt16 cts = 0;
  EXPECT_EQ(QV_viGetAttribute(vi, VI_ATTR_ASRL_CTS_STATE, &cts), VI_SUCCESS);
  EXPECT_EQ(cts, VI_STATE_ASSERTED);
  EXPECT_EQ(QV_viSetAttribute(vi, VI_ATTR_ASRL_BAUD, 250'000), VI_SUCCESS);
  ViByte message[4] = {'a', 's', 'k', '\n'};
  char asked[5] = "";
  EXPECT_EQ(QV_viWrite(vi, message, 4, nullptr), VI_SUCCESS);
  ASSERT_EQ(read(peer, asked, 4), 4);
  EXPECT_STREQ(asked, "ask\n");
  ASSERT_EQ(write(peer, "yes\n", 4), 4);
  EXPECT_EQ(QV_viRead(vi, message, 4, nullptr), VI_SUCCESS);
  EXPECT_EQ(memcmp(message, "yes\n", 4), 0);
  QVvisa_closeLibrary();
  g_object_unref(handler);
}

}  // namespace

bool hasRaisedPrivileges() {
  return isPrivileged;
}
