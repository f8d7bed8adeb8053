#include "QVvisaTCPIPDevice.h"

#include "writeSignalGuard.h"

#include <cstdarg>
#include <cstdio>

void QVvisa_tcpipPrint(const char* format, ...) {
  const WriteSignalGuard noSignal;
  va_list arguments;
  va_start(arguments, format);
  vprintf(format, arguments);
  va_end(arguments);
  fflush(stdout);
}
