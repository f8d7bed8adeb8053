#include "failingAlloc.h"

#include <atomic>
#include <cstddef>

namespace {

constexpr long never = -1;
/// Allocations still to be made before the one that fails; below 0 it has failed, or there is none to fail.
std::atomic<long> remaining{never};

bool fails() {
  long now = remaining.load();
  while (now >= 0 && !remaining.compare_exchange_weak(now, now - 1)) {
  }
  return now == 0;
}

}  // namespace

FailingAlloc::FailingAlloc(long place) {
  remaining = place;
}
FailingAlloc::~FailingAlloc() {
  remaining = never;
}
bool FailingAlloc::hasFailed() const {
  return remaining < 0;
}

// The linker's --wrap puts these in the place of the allocator.
extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);

void* __wrap_malloc(size_t size) {
  return fails() ? nullptr : __real_malloc(size);
}
void* __wrap_calloc(size_t count, size_t size) {
  return fails() ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* block, size_t size) {
  return fails() ? nullptr : __real_realloc(block, size);
}
}
