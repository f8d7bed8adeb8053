#include "QVvisaTCPIPTransfer.h"

#include "sockets.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace {

/// One socket call moves at most as much as its int can count.
int transferLength(ViUInt32 cnt) {
  return static_cast<int>(std::min<ViUInt32>(cnt, INT_MAX));
}

ViStatus reportTransfer(int moved, const char* failure, ViPUInt32 retCnt) {
  if (moved < 0) {
    QVvisa_tcpipPrint("%s\n", failure);
    return QVVISA_SOCKET_FAILURE;
  }
  if (retCnt) *retCnt = static_cast<ViUInt32>(moved);
  return VI_SUCCESS;
}

}  // namespace

ViStatus QVvisa_TCPIP_Read(QVvisa_tcpip_device_t* pqvlsDev, ViPBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  if (!pqvlsDev || (!buf && cnt > 0)) return VI_ERROR_INV_OBJECT;
  // Left to the socket, a receive of no bytes would wait for data on some systems.
  if (cnt == 0) return reportTransfer(0, nullptr, retCnt);
  memset(buf, 0, cnt);
  const int received = winsock::recv(pqvlsDev->clientSocket, reinterpret_cast<char*>(buf), transferLength(cnt), 0);
  return reportTransfer(received, "Reading response failed", retCnt);
}

ViStatus QVvisa_TCPIP_Write(QVvisa_tcpip_device_t* pqvlsDev, ViBuf buf, ViUInt32 cnt, ViPUInt32 retCnt) {
  if (!pqvlsDev || (!buf && cnt > 0)) return VI_ERROR_INV_OBJECT;
  const int sent = winsock::send(pqvlsDev->clientSocket, reinterpret_cast<const char*>(buf), transferLength(cnt), 0);
  return reportTransfer(sent, "Writing request failed", retCnt);
}
