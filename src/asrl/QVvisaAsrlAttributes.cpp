#include "QVvisaAsrlAttributes.h"

#include "QVvisaAttributes.h"
#include "fastLock.h"

#include <cstdio>

using namespace attribute;

namespace {

using Device = QVvisa_asrl_device_t;

/// Leaves a setting of the port as it is.
constexpr int kUnchanged = -1;

/// The library answers a value that isn't one of the attribute's with a VISA status, which passes untranslated.
ViStatus framingStatus(qv_status status) {
  return status == VI_ERROR_NSUP_MODE ? VI_ERROR_NSUP_MODE : libserial2QVvisaStatus(status);
}

// Reading

/// The line settings that the port node holds.
struct LineSettings {
  int baudRate;
  int dataBits;
  int parity;
  int stopBits;
};

/// Reads one of them. A code that isn't one of the attribute's fails for the setting that has it alone.
template <typename Value, int LineSettings::*Setting>
ViStatus portMode(Device& device, ViAttr, void* attrValue) {
  LineSettings line = {};
  const auto wanted = [&](int& setting) { return &setting == &(line.*Setting) ? &setting : nullptr; };
  const qv_status status = qvls_GetPortMode(device.asrlDev, wanted(line.baudRate), wanted(line.dataBits),
                                            wanted(line.parity), wanted(line.stopBits));
  return status == QVLS_SUCCESS ? QVvisa_deliver(attrValue, static_cast<Value>(line.*Setting)) : framingStatus(status);
}

/// An attribute that the serial port library knows under the same number, turned into what the caller gets.
template <auto Convert>
ViStatus portAttribute(Device& device, ViAttr name, void* attrValue) {
  unsigned int value = 0;
  const qv_status status = qvls_GetAttribute(device.asrlDev, name, &value);
  return status == QVLS_SUCCESS ? QVvisa_deliver(attrValue, Convert(value)) : libserial2QVvisaStatus(status);
}

ViUInt32 count(unsigned int value) {
  return value;
}
ViUInt8 character(unsigned int value) {
  return static_cast<ViUInt8>(value);
}
ViInt16 inputLine(unsigned int value) {
  return value ? VI_STATE_ASSERTED : VI_STATE_UNASSERTED;
}
ViBoolean truth(unsigned int value) {
  return value ? VI_TRUE : VI_FALSE;
}
/// A line under handshake has no state of its own.
ViInt16 outputLine(unsigned int value) {
  return value <= 1 ? static_cast<ViInt16>(value) : VI_STATE_UNKNOWN;
}

ViStatus interfaceName(Device& device, ViAttr, void* attrValue) {
  int comPort = 0;
  char name[QVLS_FRNAME_SIZE + 1] = {};
  qv_status status = qvls_GetPortComPort(device.asrlDev, &comPort, nullptr);
  if (status == QVLS_SUCCESS) status = qvls_GetPortFriendlyName(device.asrlDev, name);
  if (status != QVLS_SUCCESS) return libserial2QVvisaStatus(status);
  char text[sizeof name + 64];
  snprintf(text, sizeof text, "ASRL%d  (COM%d - %s)", comPort, comPort, name);
  return QVvisa_deliverText(attrValue, text);
}

// Setting

/// Only the low 16 bits count here.
ViStatus setDiscardNull(Device& device, ViAttr, ViAttrState value) {
  storeShared(device.asrlDiscNul, (value & 0xFFFF) ? VI_TRUE : VI_FALSE);
  return VI_SUCCESS;
}

ViStatus setProtocol(Device& device, ViAttr, ViAttrState value) {
  const auto protocol = static_cast<uint16_t>(value);
  if (protocol != VI_PROT_NORMAL && protocol != VI_PROT_4882_STRS) return VI_ERROR_NSUP_ATTR_STATE;
  storeShared(device.asrlIoProt, protocol);
  return VI_SUCCESS;
}

ViStatus setBreakLength(Device& device, ViAttr, ViAttrState value) {
  const auto length = static_cast<ViInt16>(value);
  if (length < QVVISA_ASRL_BREAK_LEN_MIN || length > QVVISA_ASRL_BREAK_LEN_MAX) return VI_ERROR_NSUP_ATTR_STATE;
  storeShared(device.asrlBreakLen, length);
  return VI_SUCCESS;
}

/// A value with the top bit set, VI_TMO_INFINITE among them, leaves the port's limits as they are.
ViStatus setTimeout(Device& device, ViAttr, ViAttrState value) {
  const FastLockGuard inStep(device.asrlDev->lock);
  storeShared(device.asrlTimo_ms, value);
  const auto limit = static_cast<int>(value);
  return libserial2QVvisaStatus(qvls_SetTimeouts(device.asrlDev, limit, limit));
}

ViStatus setBaudRate(Device& device, ViAttr, ViAttrState value) {
  storeShared(device.asrlBaudrate, value);
  return libserial2QVvisaStatus(
      qvls_SetPortMode(device.asrlDev, static_cast<int>(value), kUnchanged, kUnchanged, kUnchanged));
}

ViStatus setDataBits(Device& device, ViAttr, ViAttrState value) {
  const FastLockGuard inStep(device.asrlDev->changing);
  const ViStatus status = libserial2QVvisaStatus(
      qvls_SetPortMode(device.asrlDev, kUnchanged, static_cast<int>(value), kUnchanged, kUnchanged));
  if (status != VI_SUCCESS) return status;
  if (value < 5 || value > 8) return VI_ERROR_SYSTEM_ERROR;
  storeShared(device.termCharMask, static_cast<ViUInt8>(1U << (value - 1)));
  return VI_SUCCESS;
}

ViStatus setParity(Device& device, ViAttr, ViAttrState value) {
  return framingStatus(qvls_SetPortMode(device.asrlDev, kUnchanged, kUnchanged, static_cast<int>(value), kUnchanged));
}

ViStatus setStopBits(Device& device, ViAttr, ViAttrState value) {
  return framingStatus(qvls_SetPortMode(device.asrlDev, kUnchanged, kUnchanged, kUnchanged, static_cast<int>(value)));
}

ViStatus setFlowControl(Device& device, ViAttr, ViAttrState value) {
  if ((value & ~ViAttrState{FLOW_DTRDSR_RTSCTS}) != 0) return VI_ERROR_NSUP_MODE;
  constexpr int kLow = 0;
  constexpr int kHandshake = 2;
  const bool isCts = (value & VI_ASRL_FLOW_RTS_CTS) != 0;
  const bool isDsr = (value & VI_ASRL_FLOW_DTR_DSR) != 0;
  const FastLockGuard inStep(device.asrlDev->changing);
  const ViStatus status = libserial2QVvisaStatus(
      qvls_SetPortHandshake(device.asrlDev, isCts, isDsr, isCts ? kHandshake : kLow, isDsr ? kHandshake : kLow));
  if (status == VI_SUCCESS) storeShared(device.asrlFlowCtrl, static_cast<ViUInt16>(value));
  return status;
}

ViStatus setPortAttribute(Device& device, ViAttr name, ViAttrState value) {
  return libserial2QVvisaStatus(qvls_SetAttribute(device.asrlDev, name, value));
}

ViStatus setPortCharacter(Device& device, ViAttr name, ViAttrState value) {
  return setPortAttribute(device, name, value & 0xFF);
}

ViStatus setLine(Device& device, ViAttr name, ViAttrState value) {
  return value <= 1 ? setPortAttribute(device, name, value) : VI_ERROR_NSUP_MODE;
}

/// Under its handshake RTS isn't the caller's, whatever the port has answered; the port is asked all the same.
ViStatus setRts(Device& device, ViAttr name, ViAttrState value) {
  const ViStatus status = setLine(device, name, value);
  return (loadShared(device.asrlFlowCtrl) & VI_ASRL_FLOW_RTS_CTS) ? VI_ERROR_ATTR_READONLY : status;
}

/// Only the low 16 bits count here.
ViStatus setAllowTransmit(Device& device, ViAttr name, ViAttrState value) {
  const bool isAllowed = (value & 0xFFFF) != 0;
  if (!isAllowed && loadShared(device.asrlFlowCtrl) != VI_ASRL_FLOW_XON_XOFF) return VI_ERROR_INV_SETUP;
  return setPortAttribute(device, name, isAllowed);
}

constexpr QVvisa_attribute_t<Device> kAttributes[] = {
    {VI_ATTR_INTF_TYPE, constant<ViUInt16{VI_INTF_ASRL}>, readOnly},
    {VI_ATTR_TMO_VALUE, field<&Device::asrlTimo_ms>, setTimeout},
    {VI_ATTR_IO_PROT, field<&Device::asrlIoProt>, setProtocol},
    {VI_ATTR_ASRL_BAUD, portMode<ViUInt32, &LineSettings::baudRate>, setBaudRate},
    {VI_ATTR_ASRL_DATA_BITS, portMode<ViUInt16, &LineSettings::dataBits>, setDataBits},
    {VI_ATTR_ASRL_PARITY, portMode<ViUInt16, &LineSettings::parity>, setParity},
    {VI_ATTR_ASRL_STOP_BITS, portMode<ViUInt16, &LineSettings::stopBits>, setStopBits},
    {VI_ATTR_ASRL_FLOW_CNTRL, field<&Device::asrlFlowCtrl>, setFlowControl},
    {VI_ATTR_ASRL_AVAIL_NUM, portAttribute<count>, readOnly},
    {VI_ATTR_ASRL_CTS_STATE, portAttribute<inputLine>, readOnly},
    {VI_ATTR_ASRL_DCD_STATE, portAttribute<inputLine>, readOnly},
    {VI_ATTR_ASRL_DSR_STATE, portAttribute<inputLine>, readOnly},
    {VI_ATTR_ASRL_RI_STATE, portAttribute<inputLine>, readOnly},
    {VI_ATTR_ASRL_DTR_STATE, portAttribute<outputLine>, setLine},
    {VI_ATTR_ASRL_RTS_STATE, portAttribute<outputLine>, setRts},
    {VI_ATTR_ASRL_END_IN, field<&Device::asrlEndIn>, storeUpTo<&Device::asrlEndIn, VI_ASRL_END_TERMCHAR>},
    {VI_ATTR_ASRL_END_OUT, field<&Device::asrlEndOut>, storeUpTo<&Device::asrlEndOut, VI_ASRL_END_BREAK>},
    {VI_ATTR_ASRL_REPLACE_CHAR, field<&Device::asrlReplChar>, store<&Device::asrlReplChar>},
    {VI_ATTR_ASRL_XON_CHAR, portAttribute<character>, setPortCharacter},
    {VI_ATTR_ASRL_XOFF_CHAR, portAttribute<character>, setPortCharacter},
    {VI_ATTR_ASRL_DISCARD_NULL, field<&Device::asrlDiscNul>, setDiscardNull},
    {VI_ATTR_ASRL_CONNECTED, notHere, notHere},
    {VI_ATTR_ASRL_BREAK_STATE, notHere, setLine},
    {VI_ATTR_ASRL_BREAK_LEN, field<&Device::asrlBreakLen>, setBreakLength},
    {VI_ATTR_ASRL_ALLOW_TRANSMIT, portAttribute<truth>, setAllowTransmit},
    {VI_ATTR_ASRL_WIRE_MODE, constant<ViInt16{VI_ASRL_WIRE_232_DTE}>, readOnly},
    {VI_ATTR_TERMCHAR, field<&Device::termChar>, store<&Device::termChar>},
    {VI_ATTR_TERMCHAR_EN, field<&Device::termCharEna>, storeBoolean<&Device::termCharEna>},
    {VI_ATTR_SUPPRESS_END_EN, field<&Device::suppressEndEna>, storeBoolean<&Device::suppressEndEna>},
    {VI_ATTR_SEND_END_EN, field<&Device::sendEndEna>, storeBoolean<&Device::sendEndEna>},
    {VI_ATTR_INTF_INST_NAME, interfaceName, readOnly},
};

}  // namespace

ViStatus QVvisa_AsrlGetAttribute(QVvisa_asrl_device_t* pqvlsDev, ViAttr attrName, void* attrValue) {
  if (!pqvlsDev || !attrValue) return VI_ERROR_INV_OBJECT;
  return QVvisa_getAttribute(kAttributes, *pqvlsDev, attrName, attrValue);
}

ViStatus QVvisa_AsrlSetAttribute(QVvisa_asrl_device_t* pqvlsDev, ViAttr attrName, ViAttrState attrValue) {
  if (!pqvlsDev) return VI_ERROR_INV_OBJECT;
  return QVvisa_setAttribute(kAttributes, *pqvlsDev, attrName, attrValue);
}
