#include "watchdog.h"

#include "errors.h"

#include <condition_variable>
#include <iostream>
#include <mutex>
#include <unistd.h>

Watchdog::Watchdog(std::chrono::milliseconds limit, std::string message)
    : thread_([limit, message = std::move(message)](const std::stop_token& called) {
        std::mutex mutex;
        std::condition_variable_any never;
        std::unique_lock lock(mutex);
        never.wait_for(lock, called, limit, [] { return false; });
        if (called.stop_requested()) return;
        std::cerr << "qvvisa: " + message + '\n' << std::flush;
        _exit(kFailed);
      }) {}
