/// What the units that work on an open port share: its lock, and its settings, of which the node has a copy.
#pragma once

#include "QVlibserial.h"

/// Guards what threads share of a node. One that isn't open has no lock and belongs to one thread.
class NodeGuard {
public:
  explicit NodeGuard(const qvlsPort_t& node) : lock_(node.wHdl ? &node.lock : nullptr) {
    if (lock_) OS_lockFast(lock_);
  }
  ~NodeGuard() {
    if (lock_) OS_unlockFast(lock_);
  }
  NodeGuard(const NodeGuard&) = delete;
  NodeGuard& operator=(const NodeGuard&) = delete;

private:
  os_fastlock_t* lock_;
};

/// @retval QVLS_ERR_INVAL_PARAM1   null node
/// @retval QVLS_ERR_PORT_NOT_OPEN  the node has no handle
qv_status checkOpen(const qvlsPort_t* node);

/// The node's copy of the port's settings.
DCB settingsOf(const qvlsPort_t* node);

/// Reads the port's settings, and brings the node's copy up to them unless a change is under way, which will do it.
qv_status refreshSettings(qvlsPort_t* node, DCB& settings);

/// Gives the settings to the port, and to the node if the port took them. The caller holds `changing`, from before it
/// read the settings that it has changed.
qv_status applySettings(qvlsPort_t* node, DCB settings);
