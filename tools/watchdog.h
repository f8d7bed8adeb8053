/// An end for calls of the library that have none.
#pragma once

#include <chrono>
#include <string>
#include <thread>

/// Ends the tool with a message if the object still lives when the time is over. That harms nobody while a connection
/// is being made: there is nothing yet that could be left behind.
class Watchdog {
public:
  Watchdog(std::chrono::milliseconds limit, std::string message);

private:
  std::jthread thread_;
};
