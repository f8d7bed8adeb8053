/// What a mistyped word may have been meant for.
#pragma once

#include <span>
#include <string>
#include <string_view>

/// " Did you mean A or B?" with the candidates that are nearest to the word, without regard to case; empty if none is
/// near.
std::string didYouMean(std::string_view word, std::span<const std::string> candidates);
