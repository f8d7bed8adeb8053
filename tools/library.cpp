#include "library.h"

#include "errors.h"
#include "names.h"

#include <cstdio>

namespace {

/// What a TCP/IP session answers for any failed transfer, the time limit included.
constexpr ViStatus kTcpFailure = -1;

/// Closes a find list at the end of a block.
struct FindList {
  FindList() = default;
  ~FindList() {
    if (handle != 0) QV_viClose(handle);
  }
  FindList(const FindList&) = delete;
  FindList& operator=(const FindList&) = delete;
  ViFindList handle = 0;
};

}  // namespace

std::string hexOfStatus(ViStatus status) {
  char number[16];
  snprintf(number, sizeof number, "0x%08X", static_cast<unsigned>(status));
  return number;
}

std::string textOfStatus(ViStatus status) {
  ViChar text[MAX_STATUS_DESCRIPTION] = "";
  QV_viStatusDesc(0, status, text);
  return text;
}

std::string describeStatus(ViStatus status) {
  const char* name = statusName(status);
  const std::string number = hexOfStatus(status);
  return (name ? std::string(name) + " (" + number + ")" : number) + ": " + textOfStatus(status);
}

std::string describe(ViStatus status) {
  if (status == kTcpFailure) return "-1 (0xFFFFFFFF): the TCP connection failed, or its time limit ran out";
  return describeStatus(status);
}

void check(ViStatus status, const std::string& action) {
  if (status != VI_SUCCESS) throw Failure(action + ": " + describe(status));
}

ViStatus clearInstrument(ViSession session) {
  constexpr ViInt16 kToEndpoint = 0x02;
  constexpr ViInt16 kClearFeature = 1;
  constexpr ViUInt16 kEndpointHalt = 0;
  ViUInt16 bulkOut = 0;
  ViStatus status = QV_viClear(session);
  if (status == VI_SUCCESS) status = QV_viGetAttribute(session, VI_ATTR_USB_BULK_OUT_PIPE, &bulkOut);
  if (status != VI_SUCCESS) return status;
  return QV_viUsbControlOut(session, kToEndpoint, kClearFeature, kEndpointHalt, bulkOut, 0, VI_NULL);
}

ResourceManager::ResourceManager() {
  check(QV_viOpenDefaultRM(&handle_), "starting the library");
}

ResourceManager::~ResourceManager() {
  QV_viClose(handle_);
}

std::vector<std::string> ResourceManager::find(std::string expression) const {
  FindList list;
  ViUInt32 count = 0;
  ViChar name[VI_FIND_BUFLEN] = "";
  const ViStatus status = QV_viFindRsrc(handle_, expression.data(), &list.handle, &count, name);
  if (status == VI_ERROR_RSRC_NFOUND) return {};
  check(status, "searching for '" + expression + "'");
  std::vector<std::string> names{name};
  while (QV_viFindNext(list.handle, name) == VI_SUCCESS) names.emplace_back(name);
  return names;
}
