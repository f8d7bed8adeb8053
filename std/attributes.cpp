#include "attributes.h"

#include "reading.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace qvstd {
namespace {

constexpr ViVersion kImplementationVersion =
    QVVISA_VERSION_MAJOR << 20 | QVVISA_VERSION_MINOR << 8 | QVVISA_VERSION_PATCH;
constexpr const ViChar* kManufacturer = "KESTRIX";
constexpr ViUInt16 kManufacturerId = 0x7C5A;

template <typename T>
ViStatus put(void* target, T value) {
  memcpy(target, &value, sizeof value);
  return VI_SUCCESS;
}

ViStatus putText(void* target, const ViChar* text) {
  snprintf(static_cast<ViChar*>(target), MAX_BUF_SIZE_ATTR, "%s", text);
  return VI_SUCCESS;
}

// What every resource answers.

ViStatus getCommon(const Object& object, ViAttr name, void* value) {
  switch (name) {
  case VI_ATTR_RSRC_IMPL_VERSION:
    return put(value, kImplementationVersion);
  case VI_ATTR_RSRC_SPEC_VERSION:
    return put<ViVersion>(value, VI_SPEC_VERSION);
  case VI_ATTR_RSRC_MANF_NAME:
    return putText(value, kManufacturer);
  case VI_ATTR_RSRC_MANF_ID:
    return put(value, kManufacturerId);
  case VI_ATTR_RM_SESSION:
    return put(value, object.manager() == VI_NULL ? object.handle() : object.manager());
  default:
    return VI_ERROR_NSUP_ATTR;
  }
}

constexpr ViAttr kCommon[] = {VI_ATTR_RSRC_IMPL_VERSION, VI_ATTR_RSRC_SPEC_VERSION, VI_ATTR_RSRC_MANF_NAME,
                              VI_ATTR_RSRC_MANF_ID, VI_ATTR_RM_SESSION};

ViStatus setCommon(ViAttr name) {
  const bool isKnown = std::find(std::begin(kCommon), std::end(kCommon), name) != std::end(kCommon);
  return isKnown ? VI_ERROR_ATTR_READONLY : VI_ERROR_NSUP_ATTR;
}

// What an instrument's session keeps or works out.

using Getter = ViStatus (*)(Instrument&, void* value);
using Setter = ViStatus (*)(Instrument&, ViUInt64 value);

template <typename T, auto Field>
ViStatus kept(Instrument& instrument, void* value) {
  return put(value, static_cast<T>(instrument.settings.*Field));
}

template <auto Value>
ViStatus constant(Instrument&, void* value) {
  return put(value, Value);
}

template <auto Field>
ViStatus ofName(Instrument& instrument, void* value) {
  if constexpr (std::is_same_v<decltype(Field), ViUInt16 ResourceName::*>) {
    return put(value, instrument.name.*Field);
  } else {
    return putText(value, instrument.name.*Field);
  }
}

ViStatus lockStateOf(Instrument& instrument, void* value) {
  return put(value, lockState(instrument.locks));
}

ViStatus interfaceText(Instrument& instrument, void* value) {
  ViChar text[MAX_BUF_SIZE_ATTR] = "";
  // Serial ports have names that tell more.
  if (QV_viGetAttribute(instrument.below, VI_ATTR_INTF_INST_NAME, text) == VI_SUCCESS) return putText(value, text);
  snprintf(text, sizeof text, "%s%u", instrument.name.interfaceType == VI_INTF_USB ? "USB" : "TCPIP",
           static_cast<unsigned>(instrument.name.interfaceNumber));
  return putText(value, text);
}

ViStatus isUsb488(Instrument& instrument, void* value) {
  constexpr ViUInt16 kUsb488Protocol = 1;
  ViUInt16 protocol = 0;
  const ViStatus status = standardStatus(QV_viGetAttribute(instrument.below, VI_ATTR_USB_PROTOCOL, &protocol));
  if (status != VI_SUCCESS) return status;
  return put<ViBoolean>(value, protocol == kUsb488Protocol ? VI_TRUE : VI_FALSE);
}

ViStatus waitingBytes(Instrument& instrument, void* value) {
  ViUInt32 below = 0;
  const ViStatus status = standardStatus(QV_viGetAttribute(instrument.below, VI_ATTR_ASRL_AVAIL_NUM, &below));
  return status == VI_SUCCESS ? put(value, below + receivedCount(instrument)) : status;
}

template <auto Buffer>
ViStatus bufferSize(Instrument& instrument, void* value) {
  return put<ViUInt32>(value, (instrument.*Buffer).size);
}

ViStatus readOnly(Instrument&, ViUInt64) {
  return VI_ERROR_ATTR_READONLY;
}

template <auto Field, ViUInt64 Largest>
ViStatus keepUpTo(Instrument& instrument, ViUInt64 value) {
  if (value > Largest) return VI_ERROR_NSUP_ATTR_STATE;
  instrument.settings.*Field = static_cast<ViUInt32>(value);
  return VI_SUCCESS;
}

template <auto Field>
ViStatus keepBoolean(Instrument& instrument, ViUInt64 value) {
  return keepUpTo<Field, VI_TRUE>(instrument, value);
}

template <auto Field, typename T>
ViStatus keepUserData(Instrument& instrument, ViUInt64 value) {
  instrument.settings.*Field = static_cast<T>(value);
  return VI_SUCCESS;
}

template <ViUInt64... Allowed>
bool isOneOf(ViUInt64 value) {
  return ((value == Allowed) || ...);
}

template <auto Field, ViUInt64... Allowed>
ViStatus keepOneOf(Instrument& instrument, ViUInt64 value) {
  if (!isOneOf<Allowed...>(value)) return VI_ERROR_NSUP_ATTR_STATE;
  instrument.settings.*Field = static_cast<ViUInt32>(value);
  return VI_SUCCESS;
}

/// Only software triggers an instrument here.
ViStatus setTrigger(Instrument&, ViUInt64 value) {
  return static_cast<ViInt16>(value) == VI_TRIG_SW ? VI_SUCCESS : VI_ERROR_NSUP_ATTR_STATE;
}

/// A USBTMC message always carries its end.
ViStatus setSendEnd(Instrument& instrument, ViUInt64 value) {
  if (instrument.name.bus == Bus::Usbtmc && value == VI_FALSE) return VI_ERROR_NSUP_ATTR_STATE;
  return keepBoolean<&Settings::sendEnd>(instrument, value);
}

ViStatus setProtocol(Instrument& instrument, ViUInt64 value) {
  const bool isUsbtmc = instrument.name.bus == Bus::Usbtmc;
  if (!isOneOf<VI_PROT_NORMAL, VI_PROT_4882_STRS>(value) || (isUsbtmc && value != VI_PROT_NORMAL)) {
    return VI_ERROR_NSUP_ATTR_STATE;
  }
  instrument.settings.protocol = static_cast<ViUInt32>(value);
  return VI_SUCCESS;
}

ViStatus setDataBits(Instrument& instrument, ViUInt64 value) {
  constexpr ViUInt64 kFewest = 5;
  constexpr ViUInt64 kMost = 8;
  if (value < kFewest || value > kMost) return VI_ERROR_NSUP_ATTR_STATE;
  const auto bits = static_cast<ViUInt32>(value);
  const ViStatus status = standardStatus(QV_viSetAttribute(instrument.below, VI_ATTR_ASRL_DATA_BITS, bits));
  if (status == VI_SUCCESS) instrument.settings.dataBits = bits;
  return status == VI_ERROR_NSUP_MODE ? VI_ERROR_NSUP_ATTR_STATE : status;
}

enum BusBit : unsigned { kUsbtmc = 1, kRaw = 2, kSerial = 4, kTcp = 8, kUsb = kUsbtmc | kRaw, kEvery = 15 };

struct Attribute {
  ViAttr name;
  unsigned buses;
  bool isLocal;  ///< the session's own, which another session's lock doesn't keep it from setting
  Getter get;
  Setter set;
};

// What isn't here is the library's, on the buses where it knows it.
constexpr Attribute kAttributes[] = {
    {VI_ATTR_RSRC_NAME, kEvery, false, ofName<&ResourceName::text>, readOnly},
    {VI_ATTR_RSRC_CLASS, kEvery, false, ofName<&ResourceName::resourceClass>, readOnly},
    {VI_ATTR_RSRC_LOCK_STATE, kEvery, false, lockStateOf, readOnly},
    {VI_ATTR_INTF_TYPE, kEvery, false, ofName<&ResourceName::interfaceType>, readOnly},
    {VI_ATTR_INTF_NUM, kEvery, false, ofName<&ResourceName::interfaceNumber>, readOnly},
    {VI_ATTR_INTF_INST_NAME, kEvery, false, interfaceText, readOnly},
    {VI_ATTR_USER_DATA_32, kEvery, true, kept<ViUInt32, &Settings::userData>,
     keepUserData<&Settings::userData, ViUInt32>},
    {VI_ATTR_USER_DATA_64, kEvery, true, kept<ViUInt64, &Settings::userData>,
     keepUserData<&Settings::userData, ViUInt64>},
    {VI_ATTR_MAX_QUEUE_LENGTH, kEvery, true, kept<ViUInt32, &Settings::maxQueueLength>,
     keepUpTo<&Settings::maxQueueLength, UINT32_MAX>},
    {VI_ATTR_TRIG_ID, kEvery, true, constant<ViInt16{VI_TRIG_SW}>, setTrigger},
    {VI_ATTR_TMO_VALUE, kEvery, true, kept<ViUInt32, &Settings::timeout_ms>,
     keepUpTo<&Settings::timeout_ms, UINT32_MAX>},
    {VI_ATTR_TERMCHAR, kEvery, true, kept<ViUInt8, &Settings::termChar>, keepUpTo<&Settings::termChar, UINT8_MAX>},
    {VI_ATTR_TERMCHAR_EN, kEvery, true, kept<ViBoolean, &Settings::termCharEnabled>,
     keepBoolean<&Settings::termCharEnabled>},
    {VI_ATTR_SEND_END_EN, kEvery, true, kept<ViBoolean, &Settings::sendEnd>, setSendEnd},
    {VI_ATTR_SUPPRESS_END_EN, kEvery, true, kept<ViBoolean, &Settings::suppressEnd>,
     keepBoolean<&Settings::suppressEnd>},
    {VI_ATTR_FILE_APPEND_EN, kEvery, true, kept<ViBoolean, &Settings::fileAppend>, keepBoolean<&Settings::fileAppend>},
    {VI_ATTR_DMA_ALLOW_EN, kEvery, true, kept<ViBoolean, &Settings::dmaAllowed>, keepBoolean<&Settings::dmaAllowed>},
    {VI_ATTR_IO_PROT, kEvery, true, kept<ViUInt16, &Settings::protocol>, setProtocol},
    {VI_ATTR_RD_BUF_OPER_MODE, kEvery, true, kept<ViUInt16, &Settings::readMode>,
     keepOneOf<&Settings::readMode, VI_FLUSH_ON_ACCESS, VI_FLUSH_DISABLE>},
    {VI_ATTR_WR_BUF_OPER_MODE, kEvery, true, kept<ViUInt16, &Settings::writeMode>,
     keepOneOf<&Settings::writeMode, VI_FLUSH_ON_ACCESS, VI_FLUSH_WHEN_FULL>},
    {VI_ATTR_RD_BUF_SIZE, kEvery, false, bufferSize<&Instrument::scanned>, readOnly},
    {VI_ATTR_WR_BUF_SIZE, kEvery, false, bufferSize<&Instrument::printed>, readOnly},
    {VI_ATTR_4882_COMPLIANT, kUsbtmc, false, isUsb488, readOnly},
    {VI_ATTR_ASRL_END_IN, kSerial, true, kept<ViUInt16, &Settings::serialEndIn>,
     keepUpTo<&Settings::serialEndIn, VI_ASRL_END_TERMCHAR>},
    {VI_ATTR_ASRL_END_OUT, kSerial, true, kept<ViUInt16, &Settings::serialEndOut>,
     keepUpTo<&Settings::serialEndOut, VI_ASRL_END_TERMCHAR>},
    {VI_ATTR_ASRL_DISCARD_NULL, kSerial, false, kept<ViBoolean, &Settings::discardNull>,
     keepBoolean<&Settings::discardNull>},
    {VI_ATTR_ASRL_DATA_BITS, kSerial, false, kept<ViUInt16, &Settings::dataBits>, setDataBits},
    {VI_ATTR_ASRL_AVAIL_NUM, kSerial, false, waitingBytes, readOnly},
    {VI_ATTR_TCPIP_HOSTNAME, kTcp, false, ofName<&ResourceName::host>, readOnly},
    {VI_ATTR_TCPIP_DEVICE_NAME, kTcp, false, ofName<&ResourceName::device>, readOnly},
};

unsigned busBit(Bus bus) {
  switch (bus) {
  case Bus::Usbtmc:
    return kUsbtmc;
  case Bus::UsbRaw:
    return kRaw;
  case Bus::Serial:
    return kSerial;
  case Bus::Tcp:
    break;
  }
  return kTcp;
}

const Attribute* findAttribute(const Instrument& instrument, ViAttr name) {
  const unsigned bus = busBit(instrument.name.bus);
  const auto* row = std::find_if(std::begin(kAttributes), std::end(kAttributes), [&](const Attribute& attribute) {
    return attribute.name == name && (attribute.buses & bus) != 0;
  });
  return row == std::end(kAttributes) ? nullptr : row;
}

/// The library's statuses for a value that it doesn't take.
ViStatus settingStatus(ViStatus status) {
  switch (status) {
  case VI_ERROR_NSUP_MODE:
  case VI_ERROR_INV_ACC_MODE:
  case VI_ERROR_INV_PARAMETER:
  case VI_ERROR_INV_SETUP:
    return VI_ERROR_NSUP_ATTR_STATE;
  default:
    return standardStatus(status);
  }
}

}  // namespace

ViStatus getAttribute(Instrument& instrument, ViAttr name, void* value) {
  const Attribute* attribute = findAttribute(instrument, name);
  if (attribute) return attribute->get(instrument, value);
  const ViStatus status = getCommon(instrument, name, value);
  return status == VI_ERROR_NSUP_ATTR ? standardStatus(QV_viGetAttribute(instrument.below, name, value)) : status;
}

ViStatus setAttribute(Instrument& instrument, ViAttr name, ViUInt64 value) {
  const Attribute* attribute = findAttribute(instrument, name);
  if (!attribute || !attribute->isLocal) {
    const ViStatus access = checkAccess(instrument.locks);
    if (access != VI_SUCCESS) return access;
  }
  if (attribute) return attribute->set(instrument, value);
  const ViStatus status = setCommon(name);
  if (status != VI_ERROR_NSUP_ATTR) return status;
  return settingStatus(QV_viSetAttribute(instrument.below, name, static_cast<ViAttrState>(value)));
}

ViStatus getAttribute(Manager& manager, ViAttr name, void* value) {
  switch (name) {
  case VI_ATTR_USER_DATA_32:
    return put(value, static_cast<ViUInt32>(manager.userData));
  case VI_ATTR_USER_DATA_64:
    return put(value, manager.userData.load());
  case VI_ATTR_RSRC_LOCK_STATE:
    return put<ViAccessMode>(value, VI_NO_LOCK);
  default:
    return getCommon(manager, name, value);
  }
}

ViStatus setAttribute(Manager& manager, ViAttr name, ViUInt64 value) {
  if (name == VI_ATTR_USER_DATA_32 || name == VI_ATTR_USER_DATA_64) {
    manager.userData = name == VI_ATTR_USER_DATA_32 ? value & UINT32_MAX : value;
    return VI_SUCCESS;
  }
  return name == VI_ATTR_RSRC_LOCK_STATE ? VI_ERROR_ATTR_READONLY : setCommon(name);
}

}  // namespace qvstd
