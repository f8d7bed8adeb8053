#include "DebugMalloc.h"

#include "support/freshProcess.h"
#include "support/testing.h"

#include <cstdint>
#include <regex>
#include <set>

// Sanitizers end the process over an allocation that can't succeed, unless they are told that it may fail.
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}

namespace {

constexpr char HERE[] = "here.cpp";

memBlock_t* head(void* addr) {
  return reinterpret_cast<memBlock_t*>(static_cast<char*>(addr) - offsetof(memBlock_t, userAdr));
}

std::string addressText(const void* address) {
  const auto bits = reinterpret_cast<uintptr_t>(address);
  char text[16];
  snprintf(text, sizeof text, "0x%04X-%04X", static_cast<unsigned>(bits >> 16 & 0xFFFF),
           static_cast<unsigned>(bits & 0xFFFF));
  return text;
}

template <class Print>
std::string printed(Print print) {
  testing::internal::CaptureStdout();
  print();
  return testing::internal::GetCapturedStdout();
}

/// Expects the list to hold the blocks of `addresses` and no other, in this order, in links and in print.
void expectList(const std::vector<void*>& addresses) {
  std::string expected;
  for (size_t i = 0; i < addresses.size(); ++i) {
    memBlock_t* const block = head(addresses[i]);
    EXPECT_EQ(block->next, head(addresses[(i + 1) % addresses.size()])) << i;
    EXPECT_EQ(block->next->prev, block) << i;
    expected += "Element:" + std::to_string(i) + "{ " + addressText(block->prev) + " <- [" + addressText(block) +
                "] -> " + addressText(block->next) + "}\n";
  }
  EXPECT_EQ(printed(printLinearList), expected);
}

void freeAll(const std::vector<void*>& addresses) {
  for (void* address : addresses) debug_free(address, HERE, 1);
}

TEST(DebugMalloc, ListKeepsItsOrderAndItsRoot) {
  const std::string longName(300, 'n');
  void* const a = debug_malloc(1, longName.c_str(), 77);
  void* const b = debug_malloc(0, HERE, 2);
  void* const c = debug_calloc(3, 5, HERE, 3);
  void* const d = debug_malloc(4, HERE, 4);
  const unsigned int count = head(a)->count;
  expectList({a, b, c, d});
  EXPECT_EQ(head(a)->srcName, longName.substr(0, MAX_SOURCE_NAME - 1));
  EXPECT_EQ(head(a)->srcLine, 77);
  EXPECT_EQ(std::string(static_cast<char*>(c), 15), std::string(15, '\0'));
  EXPECT_EQ(head(c)->size, 15U);
  for (void* address : {a, b, c, d}) EXPECT_EQ(reinterpret_cast<uintptr_t>(address) % alignof(std::max_align_t), 0U);
  freeAll({b});
  expectList({c, d, a});
  freeAll({c, a, d});
  expectList({});
  void* const next = debug_realloc(nullptr, 1, HERE, 7);
  expectList({next});
  EXPECT_EQ(head(next)->count, count + 4);
  freeAll({next});
}

TEST(DebugMalloc, ReallocKeepsContentPlaceAndNumber) {
  for (const size_t length : {1U, 3U}) {
    for (size_t position = 0; position < length; ++position) {
      std::vector<void*> addresses;
      while (addresses.size() < length) addresses.push_back(debug_malloc(8, HERE, 1));
      void*& address = addresses[position];
      const unsigned int count = head(address)->count;
      memcpy(address, "content", 8);
      for (const size_t size : {1 << 20, 3, 0, 5000}) {
        address = debug_realloc(address, size, "other.cpp", 9);
        EXPECT_EQ(memcmp(address, "content", size > 5000 ? 8 : size > 3 ? 0 : size), 0);
        EXPECT_EQ(head(address)->size, size);
        EXPECT_EQ(head(address)->count, count);
        EXPECT_STREQ(head(address)->srcName, "other.cpp");
        expectList(addresses);
      }
      freeAll(addresses);
    }
  }
}

TEST(DebugMalloc, RefusesWhatDoesNotFitAndLeavesForeignMemoryAlone) {
  inFreshProcess([] {
    char foreign[64] = {};
    freeAll({foreign});
    EXPECT_EQ(debug_realloc(foreign, 10, HERE, 1), nullptr);
    EXPECT_EQ(debug_malloc(SIZE_MAX - offsetof(memBlock_t, userAdr) + 1, HERE, 1), nullptr);
    EXPECT_EQ(debug_calloc(SIZE_MAX / 2 + 2, 2, HERE, 1), nullptr);
    void* const block = debug_malloc(4, HERE, 1);
    EXPECT_EQ(debug_realloc(block, SIZE_MAX - 3, HERE, 2), nullptr);
    EXPECT_EQ(debug_realloc(block, SIZE_MAX / 2, HERE, 2), nullptr) << "no memory";
    EXPECT_EQ(debug_realloc(foreign, 10, HERE, 1), nullptr);
    EXPECT_EQ(head(block)->size, 4U);
    freeAll({foreign, nullptr, head(block)});
    std::thread([] { freeAll({debug_malloc(4, HERE, 1)}); }).join();
    expectList({block});
    freeAll({block, block});
    expectList({});
  });
}

TEST(DebugMalloc, ReportsSizesInAFixedForm) {
  constexpr size_t k = 1024;
  constexpr size_t M = 1024 * k;
  const struct {
    size_t size;
    const char* text;
  } rows[] = {
      {0, "     0"},       {9, "     9"},           {10, "    10"},         {999, "   999"},
      {1000, "  1000"},    {1023, "  1023"},        {1024, "1.000k"},       {10239, "9.999k"},
      {10240, "10.00k"},   {102399, "100.00k"},     {102400, "100.0k"},     {1023999, "1000.0k"},
      {1024000, "0.977M"}, {10 * M - 1, "10.000M"}, {10 * M, "10.00M"},     {100 * M - 1, "100.00M"},
      {100 * M, "100.0M"}, {1048575999, "1000.0M"}, {1048576000, "0.977G"}, {SIZE_MAX, "17179869184.000G"},
  };
  for (const auto& row : rows) {
    memBlock_t block = {nullptr, nullptr, 12, row.size, "here.cpp", 34, nullptr};
    const std::string start = std::string("   FREE[  12] ") + row.text + " B @ " + addressText(&block) +
                              " ALLOC @ L  34 FREE @ L 567 of here.cpp";
    EXPECT_EQ(printed([&] { debug_free_info(&block, HERE, 567); }), start + ".\n");
    EXPECT_EQ(printed([&] { debug_free_info(&block, "there.cpp", 567); }), start + " DEBUG_FREE @ there.cpp.\n");
  }
}

TEST(DebugMalloc, FirstUseAndEveryLaterOneFromManyThreads) {
  inFreshProcess([] {
    constexpr size_t THREADS = 8;
    constexpr size_t ROUNDS = 200;
    std::atomic<size_t> waiting = THREADS;
    std::vector<unsigned int> counts(THREADS * ROUNDS);
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (size_t first = 0; first < counts.size(); first += ROUNDS) {
      threads.emplace_back([&, first] {
        --waiting;
        while (waiting > 0) std::this_thread::yield();
        for (size_t round = 0; round < ROUNDS; ++round) {
          void* const grown = debug_calloc(round, 3, HERE, 1);
          void* const passing = debug_malloc(round, HERE, 1);
          counts[first + round] = head(passing)->count;
          freeAll({passing, debug_realloc(grown, round * 100, HERE, 2)});
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    expectList({});
    EXPECT_EQ(std::set<unsigned int>(counts.begin(), counts.end()).size(), counts.size()) << "numbers are unique";
  });
}

int printNothing(const char*, ...) {
  return 0;
}

TEST(DebugMalloc, MacrosAreTrackedInTheDiagnosticsConfigurationOnly) {
  inFreshProcess([] {
    void* const tracked = debug_malloc(4, HERE, 1);
    void* const first = DEBUG_MALLOC(996);
    void* const second = DEBUG_REALLOC(DEBUG_CALLOC(2, 10), 24);
    EXPECT_EQ(debug_realloc(tracked, SIZE_MAX / 2, HERE, 2), nullptr);
    const std::string report = printed(debug_mem_list);
#if defined(QVVISA_DIAGNOSTICS)
    EXPECT_EQ(debug_heap_allocate_bytes(), 1024U) << "a block that can't grow still counts";
    EXPECT_TRUE(std::regex_match(report, std::regex("   LIVE\\[ *\\d+\\]      4 B @ .* ALLOC @ L   1 of here.cpp.\n"
                                                    "   LIVE.*   996 B .* of debugMallocTest.cpp.\n"
                                                    "   LIVE.*    24 B .* of debugMallocTest.cpp.\n"
                                                    "   LIVE 1.000k B in all, blocks: 3.\n")))
        << report;
    expectList({tracked, first, second});
    debug_malloc_set_printfunc(printNothing);
    EXPECT_EQ(printed(debug_mem_list), "");
    debug_malloc_set_printfunc(nullptr);
#else
    EXPECT_EQ(debug_heap_allocate_bytes(), 0U);
    EXPECT_EQ(report, "");
    debug_malloc_set_printfunc(printNothing);
    expectList({tracked});
#endif
    DEBUG_FREE(first);
    DEBUG_FREE(second);
    freeAll({tracked});
    EXPECT_EQ(debug_heap_allocate_bytes(), 0U);
    EXPECT_EQ(printed(debug_mem_list), "");
  });
}

}  // namespace
