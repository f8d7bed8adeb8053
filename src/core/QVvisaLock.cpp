#include "QVvisaLock.h"

os_fastlock_t flock_QVvisa = OS_FASTLOCK_INITIALIZER;

namespace {

const FastLockAtLoad makesCoreLock(flock_QVvisa);

}  // namespace
