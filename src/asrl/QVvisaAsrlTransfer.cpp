#include "QVvisaAsrlTransfer.h"

#include "QVvisaShared.h"
#include "QVvisaTools.h"

namespace {

/// The framing of one read, as the attributes stand at its beginning.
struct Framing {
  bool endsMessage[256];  ///< by byte value: by the port's framing or by the termination character
  bool isPlain[256];      ///< it neither ends the message nor is discarded
  bool discardsNul;

  explicit Framing(QVvisa_asrl_device_t& device) : discardsNul(loadShared(device.asrlDiscNul)) {
    const ViUInt16 endIn = loadShared(device.asrlEndIn);
    const bool endsByChar = endIn == VI_ASRL_END_TERMCHAR || loadShared(device.termCharEna);
    const unsigned lastBit = endIn == VI_ASRL_END_LAST_BIT ? loadShared(device.termCharMask) : 0;
    const ViUInt8 termChar = loadShared(device.termChar);
    for (unsigned value = 0; value < 256; ++value) {
      endsMessage[value] = (value & lastBit) != 0 || (endsByChar && value == termChar);
      isPlain[value] = !endsMessage[value] && !isDiscarded(value);
    }
  }
  bool isDiscarded(unsigned value) const { return value == 0 && discardsNul; }
};

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
  const Framing framing(*pqvlsDev);
  ViUInt32 stored = 0;
  bool isEnd = false;
  while (!isEnd && stored < cnt) {
    ViByte received = 0;
    const ViStatus status = readByte(*pqvlsDev, received);
    if (status != VI_SUCCESS) return status;
    if (framing.isDiscarded(received)) continue;
    buf[stored++] = received;
    isEnd = framing.endsMessage[received];
    if (!isEnd) stored += takePlain(*pqvlsDev, buf + stored, cnt - stored, framing.isPlain);
  }
  if (retCnt) *retCnt = stored;
  return VI_SUCCESS;
}

ViStatus QVvisa_AsrlWrite(QVvisa_asrl_device_t* pqvlsDev, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  if (!pqvlsDev || (!buf && cnt > 0)) return VI_ERROR_INV_OBJECT;
  auto* text = reinterpret_cast<char*>(buf);
  const ViUInt16 endOut = loadShared(pqvlsDev->asrlEndOut);
  const ViBoolean marksEnd = loadShared(pqvlsDev->sendEndEna);
  if (loadShared(pqvlsDev->asrlDiscNul)) removeNul(text, &cnt);
  if (endOut == VI_ASRL_END_LAST_BIT) {
    maskBuf(text, cnt, static_cast<char>(loadShared(pqvlsDev->termCharMask)), marksEnd);
  }
  const ViStatus status = libserial2QVvisaStatus(qvls_Write(pqvlsDev->asrlDev, text, cnt, retCnt));
  if (status != VI_SUCCESS || !marksEnd || endOut != VI_ASRL_END_TERMCHAR) return status;
  const auto termChar = static_cast<char>(loadShared(pqvlsDev->termChar));
  return libserial2QVvisaStatus(qvls_Write(pqvlsDev->asrlDev, &termChar, 1, nullptr));
}
