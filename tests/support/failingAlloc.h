/// Makes one allocation of the library fail. For tests that link the library's objects: add `qvvisa_failing_alloc` to
/// the LIBRARIES of qvvisa_double_test. Allocations of the test itself through `new` don't count.
#pragma once

/// While it lives, the allocation number `place` (from 0, on any thread) gives null. One may live at a time.
class FailingAlloc {
public:
  explicit FailingAlloc(long place);
  ~FailingAlloc();
  FailingAlloc(const FailingAlloc&) = delete;
  FailingAlloc& operator=(const FailingAlloc&) = delete;

  /// Whether that many allocations were made, so that one failed.
  bool hasFailed() const;
};

/// Runs the scenario again and again with its first, second, third... allocation failing, until a run makes fewer.
///
/// @param scenario  called with the failing allocator of the run; must leave the world as it found it
/// @return the number of allocations of a whole run
template <typename Scenario>
long failEachAllocation(Scenario scenario) {
  for (long place = 0;; ++place) {
    const FailingAlloc alloc(place);
    scenario(alloc);
    if (!alloc.hasFailed()) return place;
  }
}
