/// For programs on the tests' doubles: what fails a test there is a finding here.
#pragma once

#include <gtest/gtest.h>

inline const bool failuresAreFindings = (GTEST_FLAG_SET(break_on_failure, true), true);
