#include "QVvisaAsrlName.h"

#include "QVvisaNameFields.h"
#include "QVvisaNumber.h"

namespace {

/// Takes the baud rate that may stand behind the separator of a COM name; false for one that fits no number.
bool takeBaudRate(std::string_view text, QVvisa_asrl_device_t& device) {
  const auto rate = QVvisa_leadingInteger(text);
  if (rate) device.asrlBaudrate = static_cast<ViUInt32>(*rate);
  return rate || !QVvisa_beginsWithInteger(text);
}

bool parseCom(NameFields name, QVvisa_asrl_device_t& device) {
  const auto port = QVvisa_leadingInteger(name.rest());
  if (!port) return false;
  device.comPort = *port;
  return !name.skipPast(QVVISA_OPEN_PATTERN_SEP) || takeBaudRate(name.rest(), device);
}

bool parseAsrl(NameFields name, QVvisa_asrl_device_t& device) {
  const auto port = QVvisa_leadingInteger(name.rest());
  if (!port || !name.skipPast(QVVISA_OPEN_PATTERN_SEP) || !name.skipPast(QVVISA_OPEN_PATTERN_INSTR)) return false;
  if (!name.rest().empty()) return false;
  device.comPort = *port;
  return true;
}

}  // namespace

ViStatus QVvisa_OpenHelperParseNameAsrl(char* name, QVvisa_asrl_device_t* pqvlsDev) {
  if (!name || !pqvlsDev) return VI_ERROR_INV_PARAMETER;
  NameFields fields(name);
  bool isParsed = false;
  if (fields.skipPast(QVVISA_OPEN_PATTERN_COM))
    isParsed = parseCom(fields, *pqvlsDev);
  else if (fields.skipPast(QVVISA_OPEN_PATTERN_ASRL))
    isParsed = parseAsrl(fields, *pqvlsDev);
  return isParsed ? VI_SUCCESS : VI_ERROR_INV_RSRC_NAME;
}
