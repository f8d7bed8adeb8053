#include "DebugMalloc.h"

#include "fastLock.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

constexpr size_t HEAD_SIZE = offsetof(memBlock_t, userAdr);
static_assert(HEAD_SIZE % alignof(std::max_align_t) == 0);

std::atomic<int> debugMallocIsInit = 0;
/// Guards all that follows.
os_fastlock_t debugMemFastLock;
memBlock_t* rootBlock = nullptr;
unsigned int memBlock_count = 0;
size_t SmemAlockCnt = 0;
printFunc_t printFunc = std::printf;

/// The lock, made by whichever thread comes first.
os_fastlock_t& lockMadeAtFirstUse() {
  [[maybe_unused]] static const bool made = [] {
    OS_initFastLock(&debugMemFastLock);
    debugMallocIsInit.store(1, std::memory_order_release);
    return true;
  }();
  return debugMemFastLock;
}

void* userAddress(memBlock_t* block) {
  return &block->userAdr;
}

const char* nameOrEmpty(const char* fileName) {
  return fileName != nullptr ? fileName : "";
}

void describe(memBlock_t* block, size_t numBytes, const char* fileName, int lineNum) {
  block->size = numBytes;
  block->srcLine = lineNum;
  std::snprintf(block->srcName, sizeof block->srcName, "%s", nameOrEmpty(fileName));
}

/// Puts the block behind the last one, that is before the root.
void appendBlock(memBlock_t* block) {
  if (rootBlock == nullptr) {
    block->next = block->prev = rootBlock = block;
    return;
  }
  block->next = rootBlock;
  block->prev = rootBlock->prev;
  block->prev->next = block->next->prev = block;
}

/// Takes the block out of the list; its successor becomes the root.
void removeBlock(memBlock_t* block) {
  rootBlock = block->next != block ? block->next : nullptr;
  block->prev->next = block->next;
  block->next->prev = block->prev;
}

/// Calls `visit` with each live block from the root on until it gives true; returns that block, or null.
template <class Visit>
memBlock_t* findBlock(Visit visit) {
  memBlock_t* block = rootBlock;
  if (block == nullptr) return nullptr;
  do {
    if (visit(block)) return block;
    block = block->next;
  } while (block != rootBlock);
  return nullptr;
}

memBlock_t* findByAddress(const void* addr) {
  return findBlock([addr](memBlock_t* block) { return userAddress(block) == addr; });
}

using Allocator = void* (*)(size_t numBytes);

void* allocate(Allocator allocator, size_t numBytes, const char* fileName, int lineNum) {
  const FastLockGuard guard(lockMadeAtFirstUse());
  if (numBytes > SIZE_MAX - HEAD_SIZE) return nullptr;
  auto* block = static_cast<memBlock_t*>(allocator(HEAD_SIZE + numBytes));
  if (block == nullptr) return nullptr;
  describe(block, numBytes, fileName, lineNum);
  SmemAlockCnt += numBytes;
  appendBlock(block);
  block->count = memBlock_count++;
  return userAddress(block);
}

/// One text of a report.
struct Text {
  char text[24];
};

/// The lower 32 bits of an address, enough to tell blocks apart.
Text printAddr(const void* address) {
  const auto bits = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(address));
  Text result;
  std::snprintf(result.text, sizeof result.text, "0x%04X-%04X", bits >> 16, bits & 0xFFFF);
  return result;
}

/// A size in four digits or a little more, right-aligned below 1 k.
Text printSize(size_t size) {
  constexpr double k = 1024;
  constexpr double M = 1024 * k;
  constexpr double G = 1024 * M;
  static constexpr struct {
    size_t below;
    double unit;
    int decimals;
    char letter;
  } FORMS[] = {
      {10240, k, 3, 'k'},     {102400, k, 2, 'k'},     {1024000, k, 1, 'k'},  {10485760, M, 3, 'M'},
      {104857600, M, 2, 'M'}, {1048576000, M, 1, 'M'}, {SIZE_MAX, G, 3, 'G'},
  };
  Text result;
  if (size < 1024) {
    std::snprintf(result.text, sizeof result.text, "%6d", static_cast<int>(size));
    return result;
  }
  const auto* form = FORMS;
  while (size >= form->below && form->below != SIZE_MAX) ++form;
  std::snprintf(result.text, sizeof result.text, "%4.*f%c", form->decimals, static_cast<double>(size) / form->unit,
                form->letter);
  return result;
}

/// The time of an allocation, which isn't kept.
Text debugTime() {
  return {};
}

}  // namespace

void* debug_malloc(size_t numBytes, const char* fileName, int lineNum) {
  return allocate(std::malloc, numBytes, fileName, lineNum);
}

void* debug_calloc(size_t amount, size_t numBytes, const char* fileName, int lineNum) {
  if (amount != 0 && numBytes > SIZE_MAX / amount) return nullptr;
  return allocate([](size_t size) { return std::calloc(1, size); }, amount * numBytes, fileName, lineNum);
}

void* debug_realloc(void* addr, size_t numBytes, const char* fileName, int lineNum) {
  if (addr == nullptr) return debug_malloc(numBytes, fileName, lineNum);
  const FastLockGuard guard(lockMadeAtFirstUse());
  memBlock_t* const block = findByAddress(addr);
  if (block == nullptr || numBytes > SIZE_MAX - HEAD_SIZE) return nullptr;
  const bool isRoot = block == rootBlock;
  const bool isAlone = block->next == block;
  auto* const moved = static_cast<memBlock_t*>(std::realloc(block, HEAD_SIZE + numBytes));
  if (moved == nullptr) return nullptr;
  SmemAlockCnt += numBytes - moved->size;
  if (isAlone) moved->next = moved->prev = moved;
  moved->prev->next = moved->next->prev = moved;
  if (isRoot) rootBlock = moved;
  describe(moved, numBytes, fileName, lineNum);
  return userAddress(moved);
}

void debug_free(void* addr, const char* /*fileName*/, int /*lineNum*/) {
  if (debugMallocIsInit.load(std::memory_order_acquire) == 0) return;
  const FastLockGuard guard(debugMemFastLock);
  memBlock_t* const block = findByAddress(addr);
  if (block == nullptr) return;
  removeBlock(block);
  SmemAlockCnt -= block->size;
  std::free(block);
}

void debug_free_info(const memBlock_t* mem, const char* fileName, int lineNum) {
  const FastLockGuard guard(lockMadeAtFirstUse());
  const int count = static_cast<int>(mem->count);
  const char* const freedIn = nameOrEmpty(fileName);
  if (std::strcmp(freedIn, mem->srcName) == 0) {
    printFunc("   FREE[%4d] %s B @ %s ALLOC %s@ L% 4d FREE @ L% 4d of %s.\n", count, printSize(mem->size).text,
              printAddr(mem).text, debugTime().text, mem->srcLine, lineNum, mem->srcName);
  } else {
    printFunc("   FREE[%4d] %s B @ %s ALLOC %s@ L% 4d FREE @ L% 4d of %s DEBUG_FREE @ %s.\n", count,
              printSize(mem->size).text, printAddr(mem).text, debugTime().text, mem->srcLine, lineNum, mem->srcName,
              freedIn);
  }
}

void printLinearList() {
  const FastLockGuard guard(lockMadeAtFirstUse());
  int number = 0;
  findBlock([&number](const memBlock_t* block) {
    printFunc("Element:%d{ %s <- [%s] -> %s}\n", number++, printAddr(block->prev).text, printAddr(block).text,
              printAddr(block->next).text);
    return false;
  });
}

#if defined(QVVISA_DIAGNOSTICS)

void debug_mem_list() {
  const FastLockGuard guard(lockMadeAtFirstUse());
  int blocks = 0;
  findBlock([&blocks](const memBlock_t* block) {
    printFunc("   LIVE[%4d] %s B @ %s ALLOC %s@ L% 4d of %s.\n", static_cast<int>(block->count),
              printSize(block->size).text, printAddr(block).text, debugTime().text, block->srcLine, block->srcName);
    ++blocks;
    return false;
  });
  if (blocks > 0) printFunc("   LIVE %s B in all, blocks: %d.\n", printSize(SmemAlockCnt).text, blocks);
}

size_t debug_heap_allocate_bytes() {
  const FastLockGuard guard(lockMadeAtFirstUse());
  return SmemAlockCnt;
}

void debug_malloc_set_printfunc(printFunc_t func) {
  const FastLockGuard guard(lockMadeAtFirstUse());
  printFunc = func != nullptr ? func : std::printf;
}

#else

void debug_mem_list() {}
size_t debug_heap_allocate_bytes() {
  return 0;
}
void debug_malloc_set_printfunc(printFunc_t /*func*/) {}

#endif
