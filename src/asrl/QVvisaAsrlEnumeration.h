/// What a search, and an open, see of the machine's serial ports. Callers hold the core's lock.
#pragma once

#include "QVlibserial.h"
#include "QVvisaInterfaces.h"

/// The machine's connected ports, for the length of a block.
class ConnectedPorts {
public:
  ConnectedPorts() {
    isFound_ = qvls_GetListOfSerialPorts(&list_, nullptr) == QVLS_SUCCESS &&
               qvls_GetNumFoundPorts(list_, &count_) == QVLS_SUCCESS;
  }
  ~ConnectedPorts() { qvls_DisposeListOfSerialPorts(&list_); }
  ConnectedPorts(const ConnectedPorts&) = delete;
  ConnectedPorts& operator=(const ConnectedPorts&) = delete;

  /// Whether discovery worked, also if it found none.
  bool isFound() const { return isFound_; }
  int count() const { return count_; }
  /// The node at a place in ring order, null if it can't be had.
  qvlsPort_t* at(int index) const {
    qvlsPort_t* node = nullptr;
    return qvls_GetPort(list_, index, &node) == QVLS_SUCCESS ? node : nullptr;
  }

private:
  qvlsPortList_t* list_ = nullptr;
  int count_ = 0;
  bool isFound_ = false;
};

extern "C" {

/// Appends one entry per connected port to a list, which it makes if `*ppdilAsrl` is null. No port is opened.
/// @retval VI_SUCCESS, VI_ERROR_INV_OBJECT for null, VI_ERROR_RSRC_NFOUND without a port
/// @retval VI_ERROR_ALLOC  the whole list is gone
QVVISA_API ViStatus QVvisa_GetAllDevIntfAsrl(QVvisa_devIntfListAsrl_t** ppdilAsrl);
}
