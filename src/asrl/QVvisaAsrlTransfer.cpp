#include "QVvisaAsrlTransfer.h"

#include "QVvisaTools.h"

namespace {

/// Whether a received byte ends the message, by the port's framing or by the termination character.
bool endsMessage(const QVvisa_asrl_device_t& device, ViByte received) {
  const bool isTermChar = received == device.termChar;
  if (device.asrlEndIn == VI_ASRL_END_LAST_BIT && (received & device.termCharMask) != 0) return true;
  if (device.asrlEndIn == VI_ASRL_END_TERMCHAR && isTermChar) return true;
  return device.termCharEna && isTermChar;
}

bool isDiscarded(const QVvisa_asrl_device_t& device, ViByte received) {
  return received == 0 && device.asrlDiscNul;
}

/// Takes what came along with the last byte read, as far as it neither ends the message nor is discarded: a mebibyte of
/// single reads would cost more than its way over the line.
ViUInt32 takePlain(QVvisa_asrl_device_t& device, ViPBuf buf, ViUInt32 cnt, const bool (&isPlain)[256]) {
  unsigned int taken = 0;
  qvls_TakeReceived(device.asrlDev, reinterpret_cast<char*>(buf), cnt, isPlain, &taken);
  return taken;
}

/// Reads one byte; a port that delivers none has run into its time limit.
ViStatus readByte(QVvisa_asrl_device_t& device, ViByte& received) {
  unsigned int count = 0;
  const ViStatus status =
      libserial2QVvisaStatus(qvls_Read(device.asrlDev, reinterpret_cast<char*>(&received), 1, &count));
  return status == VI_SUCCESS && count == 0 ? VI_ERROR_TMO : status;
}

}  // namespace

ViStatus QVvisa_AsrlRead(QVvisa_asrl_device_t* pqvlsDev, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  if (cnt == 0) return VI_SUCCESS;
  if (!pqvlsDev || !buf) return VI_ERROR_INV_OBJECT;
  bool isPlain[256];
  for (unsigned value = 0; value < 256; ++value) {
    const auto received = static_cast<ViByte>(value);
    isPlain[value] = !endsMessage(*pqvlsDev, received) && !isDiscarded(*pqvlsDev, received);
  }
  ViUInt32 stored = 0;
  bool isEnd = false;
  while (!isEnd && stored < cnt) {
    ViByte received = 0;
    const ViStatus status = readByte(*pqvlsDev, received);
    if (status != VI_SUCCESS) return status;
    if (isDiscarded(*pqvlsDev, received)) continue;
    buf[stored++] = received;
    isEnd = endsMessage(*pqvlsDev, received);
    if (!isEnd) stored += takePlain(*pqvlsDev, buf + stored, cnt - stored, isPlain);
  }
  if (retCnt) *retCnt = stored;
  return VI_SUCCESS;
}

ViStatus QVvisa_AsrlWrite(QVvisa_asrl_device_t* pqvlsDev, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  if (!pqvlsDev || (!buf && cnt > 0)) return VI_ERROR_INV_OBJECT;
  auto* text = reinterpret_cast<char*>(buf);
  if (pqvlsDev->asrlDiscNul) removeNul(text, &cnt);
  if (pqvlsDev->asrlEndOut == VI_ASRL_END_LAST_BIT) {
    maskBuf(text, cnt, static_cast<char>(pqvlsDev->termCharMask), pqvlsDev->sendEndEna);
  }
  const ViStatus status = libserial2QVvisaStatus(qvls_Write(pqvlsDev->asrlDev, text, cnt, retCnt));
  if (status != VI_SUCCESS || !pqvlsDev->sendEndEna || pqvlsDev->asrlEndOut != VI_ASRL_END_TERMCHAR) return status;
  const auto termChar = static_cast<char>(pqvlsDev->termChar);
  return libserial2QVvisaStatus(qvls_Write(pqvlsDev->asrlDev, &termChar, 1, nullptr));
}
