#include "privileges.h"

#if defined(_WIN32)

bool hasRaisedPrivileges() {
  return false;
}

#else

#include <sys/auxv.h>

bool hasRaisedPrivileges() {
  return getauxval(AT_SECURE) != 0;
}

#endif
