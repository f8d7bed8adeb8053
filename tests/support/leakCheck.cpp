// Linked into every test of the diagnostics configuration: a test that leaves a block of the library behind fails, and
// so does a program that ends with one.
#include "DebugMalloc.h"
#include "testing.h"

namespace {

/// A fixture for several tests may own blocks when a test begins; these are its own to free before the program ends.
class LeakCheck : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override { before_ = debug_heap_allocate_bytes(); }
  void OnTestEnd(const testing::TestInfo&) override { expectBytes(before_, "test"); }
  void OnEnvironmentsTearDownEnd(const testing::UnitTest&) override { expectBytes(0, "program"); }

  /// Tells what is left, in the words of the library's own report.
  static void expectBytes(size_t expected, const char* what) {
    EXPECT_EQ(debug_heap_allocate_bytes(), expected) << "bytes of the library at the end of the " << what;
    if (debug_heap_allocate_bytes() != expected) debug_mem_list();
  }

  size_t before_ = 0;
};

[[maybe_unused]] const bool registered = (testing::UnitTest::GetInstance()->listeners().Append(new LeakCheck), true);

}  // namespace
