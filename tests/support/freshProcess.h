/// Runs a test's body in a process of its own, for units whose state lasts as long as their process.
#pragma once

#include "childProcess.h"
#include "testing.h"

/// Expects `body` to end without a failed assertion. What it changes, the environment included, is lost with the
/// process.
/// @param end  how it ends: by std::exit, or by _exit where the end mustn't run, as the search for leaks
template <class Body>
void inFreshProcess(Body body, void (*end)(int) = std::exit) {
  std::fflush(nullptr);
  ChildProcess child([&] {
    body();
    std::fflush(nullptr);
    end(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
  });
  EXPECT_EQ(child.exitCode(), EXIT_SUCCESS);
}
