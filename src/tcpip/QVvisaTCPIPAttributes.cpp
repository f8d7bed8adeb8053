#include "QVvisaTCPIPAttributes.h"

#include "QVvisaAttributes.h"
#include "fastLock.h"
#include "sockets.h"

using namespace attribute;

namespace {

using Device = QVvisa_tcpip_device_t;

ViStatus className(Device&, ViAttr, void* attrValue) {
  return QVvisa_deliverText(attrValue, "SOCKET");
}

bool readOption(const Device& device, int level, int name, ViUInt32& value) {
  int size = sizeof value;
  return winsock::getsockopt(device.clientSocket, level, name, reinterpret_cast<char*>(&value), &size) == 0;
}

ViStatus timeLimit(Device& device, ViAttr, void* attrValue) {
  const FastLockGuard guard(device.timeLimitLock);
  ViUInt32 limit_ms = 0;
  if (!readOption(device, SOL_SOCKET, SO_RCVTIMEO, limit_ms)) return VI_SUCCESS;
  if (device.timeLimitWasSet && limit_ms == device.timeLimitHeld) limit_ms = device.timeLimitSet;
  device.tcpip_Timo_ms = limit_ms;
  return QVvisa_deliver(attrValue, limit_ms);
}

ViStatus noDelay(Device& device, ViAttr, void* attrValue) {
  ViUInt32 isSet = 0;
  if (!readOption(device, IPPROTO_TCP, TCP_NODELAY, isSet)) return VI_ERROR_IO;
  return QVvisa_deliver(attrValue, static_cast<ViBoolean>(isSet));
}

ViStatus keepAlive(Device& device, ViAttr, void* attrValue) {
  ViUInt32 isSet = 0;
  if (!readOption(device, SOL_SOCKET, SO_KEEPALIVE, isSet)) return VI_ERROR_IO;
  return QVvisa_deliver<ViBoolean>(attrValue, isSet != 0 ? VI_TRUE : VI_FALSE);
}

ViStatus setTimeLimit(Device& device, ViAttr, ViAttrState limit_ms) {
  const FastLockGuard guard(device.timeLimitLock);
  if (winsock::setsockopt(device.clientSocket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&limit_ms),
                          sizeof limit_ms) != 0) {
    return QVVISA_SOCKET_FAILURE;
  }
  device.timeLimitSet = limit_ms;
  device.timeLimitWasSet = readOption(device, SOL_SOCKET, SO_RCVTIMEO, device.timeLimitHeld);
  return VI_SUCCESS;
}

template <auto Value>
constexpr auto half = constant<static_cast<ViUInt16>(Value), Device>;

constexpr QVvisa_attribute_t<Device> kAttributes[] = {
    {VI_ATTR_RSRC_CLASS, className, readOnly},
    {VI_ATTR_INTF_TYPE, half<VI_INTF_TCPIP>, readOnly},
    {VI_ATTR_INTF_NUM, half<0>, readOnly},
    {VI_ATTR_TMO_VALUE, timeLimit, setTimeLimit},
    {VI_ATTR_TERMCHAR, constant<ViUInt8{0x0A}>, readOnly},
    {VI_ATTR_TERMCHAR_EN, half<VI_FALSE>, readOnly},
    {VI_ATTR_SEND_END_EN, half<VI_TRUE>, readOnly},
    {VI_ATTR_SUPPRESS_END_EN, half<VI_TRUE>, readOnly},
    {VI_ATTR_FILE_APPEND_EN, half<VI_FALSE>, readOnly},
    {VI_ATTR_IO_PROT, half<VI_PROT_NORMAL>, readOnly},
    {VI_ATTR_RD_BUF_OPER_MODE, half<VI_FLUSH_DISABLE>, readOnly},
    {VI_ATTR_WR_BUF_OPER_MODE, half<VI_FLUSH_WHEN_FULL>, readOnly},
    {VI_ATTR_TRIG_ID, half<VI_TRIG_SW>, readOnly},
    {VI_ATTR_TCPIP_PORT, field<&Device::port>, readOnly},
    {VI_ATTR_TCPIP_ADDR, text<&Device::hostName>, readOnly},
    {VI_ATTR_TCPIP_HOSTNAME, text<&Device::hostName>, readOnly},
    {VI_ATTR_TCPIP_NODELAY, noDelay, readOnly},
    {VI_ATTR_TCPIP_KEEPALIVE, keepAlive, readOnly},
    {VI_ATTR_MAX_QUEUE_LENGTH, notHere, readOnly},
    {VI_ATTR_INTF_INST_NAME, notHere, readOnly},
    {VI_ATTR_RSRC_IMPL_VERSION, notHere, readOnly},
    {VI_ATTR_RSRC_SPEC_VERSION, notHere, readOnly},
    {VI_ATTR_RSRC_MANF_ID, notHere, readOnly},
    {VI_ATTR_RSRC_MANF_NAME, notHere, readOnly},
};

}  // namespace

ViStatus QVvisa_TCPIP_GetAttribute(QVvisa_tcpip_device_t* pqvlsDev, ViAttr attrName, void* attrValue) {
  if (!pqvlsDev) return VI_ERROR_INV_OBJECT;
  return QVvisa_getAttribute(kAttributes, *pqvlsDev, attrName, attrValue);
}

ViStatus QVvisa_TCPIP_SetAttribute(QVvisa_tcpip_device_t* pqvlsDev, ViAttr attrName, ViAttrState attrValue) {
  if (!pqvlsDev) return VI_ERROR_INV_OBJECT;
  return QVvisa_setAttribute(kAttributes, *pqvlsDev, attrName, attrValue);
}
