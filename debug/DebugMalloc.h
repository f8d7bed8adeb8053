/// Allocation for the library's records, and a tracking allocator that lists what was never given back.
///
/// The library allocates through the four macros. Normally they are the plain allocator; in the diagnostics
/// configuration (QVVISA_DIAGNOSTICS) every block goes through the tracking allocator, which keeps it in a list with
/// its size and the place of its allocation. All operations may be called from any thread.
#pragma once

#include "export.h"

#include <cstddef>
#include <cstdlib>

extern "C" {

constexpr int MAX_SOURCE_NAME = 128;

/// The head of a tracked block, a node of a circular list. The caller's memory begins at `userAdr`.
struct memBlock_t {
  memBlock_t* next;
  memBlock_t* prev;
  unsigned int count;                       ///< serial number of the allocation
  size_t size;                              ///< bytes asked for
  char srcName[MAX_SOURCE_NAME];            ///< source file of the allocation, cut to fit
  int srcLine;                              ///< source line of the allocation
  alignas(std::max_align_t) void* userAdr;  ///< not a stored pointer; on a boundary that suits every type
};

/// Where reports go, such as printf. Must not allocate or free through this unit.
typedef int (*printFunc_t)(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Gives a block of `numBytes`, noting where it was asked for; null if there is no memory.
QVVISA_API void* debug_malloc(size_t numBytes, const char* fileName, int lineNum);

/// Gives a zeroed block of `amount` times `numBytes`; null if there is no memory or the product overflows.
QVVISA_API void* debug_calloc(size_t amount, size_t numBytes, const char* fileName, int lineNum);

/// Resizes a block, which may move. Null, with the block as it was, if there is no memory or `addr` isn't a live block
/// of this allocator. A null `addr` is debug_malloc.
QVVISA_API void* debug_realloc(void* addr, size_t numBytes, const char* fileName, int lineNum);

/// Frees a block. An address that isn't a live block of this allocator is left alone.
QVVISA_API void debug_free(void* addr, const char* fileName, int lineNum);

/// Reports every live block with its size and place of allocation, and their sum; nothing if there is none. Does
/// nothing in the normal configuration.
QVVISA_API void debug_mem_list();

/// The bytes in live blocks; 0 in the normal configuration.
QVVISA_API size_t debug_heap_allocate_bytes();

/// Sends the reports to `func` from now on, or to standard output again if it is null. Does nothing in the normal
/// configuration.
QVVISA_API void debug_malloc_set_printfunc(printFunc_t func);

/// Reports that the block `mem` is being freed at this place.
QVVISA_API void debug_free_info(const memBlock_t* mem, const char* fileName, int lineNum);

/// Reports the links of every live block, for checking the list itself.
QVVISA_API void printLinearList();
}

#if defined(QVVISA_DIAGNOSTICS)

/// The file's name without the directories of the machine it was built on.
constexpr const char* debugSourceName(const char* path) {
  const char* name = path;
  for (; *path != '\0'; ++path) {
    if (*path == '/' || *path == '\\') name = path + 1;
  }
  return name;
}

#define DEBUG_MALLOC(x) debug_malloc(x, debugSourceName(__FILE__), __LINE__)
#define DEBUG_FREE(x) debug_free(x, debugSourceName(__FILE__), __LINE__)
#define DEBUG_CALLOC(x, y) debug_calloc(x, y, debugSourceName(__FILE__), __LINE__)
#define DEBUG_REALLOC(x, y) debug_realloc(x, y, debugSourceName(__FILE__), __LINE__)

#else

#define DEBUG_MALLOC(x) malloc(x)
#define DEBUG_FREE(x) free(x)
#define DEBUG_CALLOC(x, y) calloc(x, y)
#define DEBUG_REALLOC(x, y) realloc(x, y)

#endif
