/// Fuzzes the resource names of all buses. Input: the name.
#include "QVvisaAsrl.h"
#include "QVvisaFind.h"
#include "QVvisaTCPIP.h"
#include "QVvisaTools.h"
#include "QVvisaUSB.h"
#include "fuzz.h"

namespace {

bool isAnswer(ViStatus status) {
  return status == VI_SUCCESS || status == VI_ERROR_INV_RSRC_NAME;
}

void usb(char* name) {
  QVvisa_usb_device_t record;
  const ViStatus status = QVvisa_OpenHelperParseNameUsb(name, &record);
  require(isAnswer(status) && ends(record.sn) && record.isTMC <= 1, "USB name");
  if (status != VI_SUCCESS || (record.isTMC == 0 && (record.usedIntf < 0 || record.usedIntf > 255))) return;
  // A colon at its end runs into the separator behind it.
  if (std::string_view(record.sn).ends_with(':')) return;

  // A search prints the same instrument's name, and that one has to be read alike.
  auto* sn = reinterpret_cast<unsigned char*>(record.sn);
  char printed[VI_FIND_BUFLEN];
  const uint8_t protocol = record.isTMC;
  QVvisa_FindRsrcHelperPrintRootUsb(USBTMC_CLASS, USBTMC_SUBCLASS, protocol, record.vid, record.pid,
                                    static_cast<uint8_t>(record.usedIntf), sn, printed);
  QVvisa_usb_device_t again;
  require(QVvisa_OpenHelperParseNameUsb(printed, &again) == VI_SUCCESS, "printed USB name isn't read");
  require(again.vid == record.vid && again.pid == record.pid && again.isTMC == record.isTMC &&
              std::string_view(again.sn) == record.sn,
          "printed USB name is read otherwise");
}

void asrl(char* name) {
  QVvisa_asrl_device_t record{};
  const ViStatus status = QVvisa_OpenHelperParseNameAsrl(name, &record);
  require(isAnswer(status), "serial name");
  if (status != VI_SUCCESS) return;
  char printed[VI_FIND_BUFLEN];
  QVvisa_FindRsrcHelperPrintRootAsrl(record.comPort, printed);
  QVvisa_asrl_device_t again{};
  require(QVvisa_OpenHelperParseNameAsrl(printed, &again) == VI_SUCCESS && again.comPort == record.comPort,
          "printed serial name is read otherwise");
}

void tcpip(char* name) {
  static QVvisa_tcpip_device_t* record = [] {
    QVvisa_tcpip_device_t* made = nullptr;
    require(QVvisa_initTCPIPDevListElem(&made) == VI_SUCCESS, "no record");
    return made;
  }();
  require(isAnswer(QVvisa_OpenHelperParseNameTCPIP(name, record)), "TCP/IP name");
  require(ends(record->hostName) && ends(record->lanDeviceName), "TCP/IP name runs over its field");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view all(reinterpret_cast<const char*>(data), size);
  const ExactText name(all.substr(0, all.find('\0')));
  usb(name.get());
  asrl(name.get());
  tcpip(name.get());
  return 0;
}
