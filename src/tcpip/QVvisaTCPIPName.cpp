#include "QVvisaTCPIPName.h"

#include "QVvisaNameFields.h"
#include "QVvisaNumber.h"

namespace {

template <size_t size>
bool copyField(std::string_view field, char (&target)[size]) {
  if (field.size() >= size) return false;
  field.copy(target, field.size());
  target[field.size()] = '\0';
  return true;
}

}  // namespace

ViStatus QVvisa_OpenHelperParseNameTCPIP(char* name, QVvisa_tcpip_device_t* deviceObj) {
  if (!name || !deviceObj) return VI_ERROR_INV_PARAMETER;
  NameFields fields(name);
  if (!fields.skipPast(QVVISA_OPEN_PATTERN_TCPIP) || !fields.skipPast(QVVISA_OPEN_PATTERN_SEP)) {
    return VI_ERROR_INV_RSRC_NAME;
  }
  if (!copyField(fields.next(), deviceObj->hostName)) return VI_ERROR_INV_RSRC_NAME;
  if (!fields.hasMore()) return VI_SUCCESS;
  if (fields.rest().find(QVVISA_OPEN_PATTERN_SOCKET) != std::string_view::npos) {
    return QVvisa_OpenHelperParseNameTCPIP_Socket(fields.rest().data(), deviceObj);
  }
  return copyField(fields.next(), deviceObj->lanDeviceName) ? VI_SUCCESS : VI_ERROR_INV_RSRC_NAME;
}

ViStatus QVvisa_OpenHelperParseNameTCPIP_Socket(const char* cp, QVvisa_tcpip_device_t* deviceObj) {
  if (!cp || !deviceObj) return VI_ERROR_INV_PARAMETER;
  const auto port = QVvisa_leadingUnsigned<uint16_t>(cp);
  if (!port) return VI_ERROR_INV_RSRC_NAME;
  deviceObj->port = *port;
  return VI_SUCCESS;
}
