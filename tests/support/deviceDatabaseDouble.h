/// A device database of the test's making in the place of the platform's.
#pragma once

#include "deviceDatabase.h"

#include <map>
#include <string>
#include <vector>

/// A property's value: its bytes, with every NUL that belongs to them.
struct PropertyDouble {
  DWORD type;
  std::string bytes;
};

struct DeviceDouble {
  /// Properties by their SPDRP_ code.
  std::map<DWORD, PropertyDouble> properties;
  /// A device without an ID answers FALSE.
  std::string instanceId;
  /// Whether a set of present devices holds it.
  bool present = true;

  void setText(DWORD property, const std::string& text);
};

/// A connected USB adapter, whole.
DeviceDouble serialPortDevice(int comPort);

/// The one database. A test that leaves a set open fails at clear().
struct DeviceDatabaseDouble {
  std::vector<DeviceDouble> devices;
  /// Whether no set can be had.
  bool broken = false;
  /// Flags of the last set.
  DWORD flags = 0;
  int openSets = 0;

  void clear();
};

extern DeviceDatabaseDouble deviceDatabase;
