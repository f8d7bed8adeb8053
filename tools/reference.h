/// What is made of the list of options and subcommands: the man page, and what shells complete from.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

std::string manPageOf(const CLI::App& app);
std::string bashCompletionOf(const CLI::App& app);
std::string zshCompletionOf(const CLI::App& app);
