/// The start of the library, for tests that share the start mutex with other programs.
#pragma once

#include "QVvisa.h"
#include "testing.h"

/// Starts the library where it isn't up, as soon as no other program holds the start mutex, which all of a user's
/// share.
inline ViSession start() {
  ViSession rm = 0;
  EXPECT_TRUE(eventually([&] { return QV_viOpenDefaultRM(&rm) == VI_SUCCESS; }));
  return rm;
}
