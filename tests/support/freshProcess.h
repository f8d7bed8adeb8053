/// Runs a test's body in a process of its own, for units whose state lasts as long as their process.
#pragma once

#include "childProcess.h"
#include "testing.h"

/// Expects `body` to end without a failed assertion. What it changes, the environment included, is lost with the
/// process.
template <class Body>
void inFreshProcess(Body body) {
  std::fflush(nullptr);
  ChildProcess child([&body] {
    body();
    std::exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
  });
  EXPECT_EQ(child.exitCode(), EXIT_SUCCESS);
}
