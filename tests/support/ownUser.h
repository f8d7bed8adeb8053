/// A user of the test's own, since all programs of a user share the start mutex.
#pragma once

#include "testing.h"

#include <filesystem>
#include <sys/prctl.h>

/// Another user for as long as it lives, where that can be had.
class OwnUser : NonCopyable {
public:
  OwnUser() : isOwn_(become(3'000'000'000U + static_cast<uid_t>(getpid()))) {}
  ~OwnUser() {
    removeFiles();
    become(0);
  }

  /// Removes the files of the user's mutexes, none of which may be in use.
  void removeFiles() const {
    if (!isOwn_) return;
    for (const char* place : {"/dev/shm/qvvisa-", "/tmp/qvvisa-"}) {
      std::filesystem::remove_all(place + std::to_string(geteuid()));
    }
  }

private:
  static bool become(uid_t user) {
    // Otherwise a leak check couldn't look at the process.
    return seteuid(user) == 0 && prctl(PR_SET_DUMPABLE, 1) == 0;
  }

  bool isOwn_;
};
