#include "deviceNode.h"

#include "text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <limits>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr size_t kMostHoldersNamed = 3;

bool isSame(const struct stat& a, const struct stat& b) {
  const bool isSameNode = a.st_dev == b.st_dev && a.st_ino == b.st_ino;
  const bool areDevices = S_ISCHR(a.st_mode) && S_ISCHR(b.st_mode) && a.st_rdev != 0;
  return isSameNode || (areDevices && a.st_rdev == b.st_rdev);
}

bool holds(const fs::path& process, const struct stat& node) {
  std::error_code error;
  for (fs::directory_iterator files(process / "fd", error); !error && files != fs::directory_iterator();
       files.increment(error)) {
    struct stat file = {};
    if (stat(files->path().c_str(), &file) == 0 && isSame(file, node)) return true;
  }
  return false;
}

std::string userName() {
  const passwd* user = getpwuid(geteuid());
  return user ? user->pw_name : "USER";
}

/// Whether the user database lists the user in the group, whatever groups this login has.
bool isListedIn(const group& group) {
  const std::string user = userName();
  char** member = group.gr_mem;
  while (*member && user != *member) ++member;
  return *member != nullptr;
}

}  // namespace

bool isSameDevice(const std::string& pathA, const std::string& pathB) {
  struct stat a = {};
  struct stat b = {};
  return stat(pathA.c_str(), &a) == 0 && stat(pathB.c_str(), &b) == 0 && isSame(a, b);
}

std::optional<Diagnosis> whyNoAccess(const std::string& path) {
  struct stat node = {};
  if (stat(path.c_str(), &node) != 0) return Diagnosis{path + ": " + strerror(errno)};
  if (access(path.c_str(), R_OK | W_OK) == 0) return std::nullopt;
  const group* group = getgrgid(node.st_gid);
  const std::string name = group ? group->gr_name : std::to_string(node.st_gid);
  const std::string cause = "no permission for " + path;
  constexpr mode_t groupMayUse = S_IRGRP | S_IWGRP;
  if ((node.st_mode & groupMayUse) != groupMayUse || node.st_gid == 0) return Diagnosis{cause + ": it is root's alone"};
  if (group && isListedIn(*group)) {
    return Diagnosis{cause, "you are in its group, " + name + ", but only from your next login on"};
  }
  return Diagnosis{cause + ": its group is " + name,
                   "sudo usermod -aG " + name + ' ' + userName() + ", and log in again"};
}

std::vector<Holder> holdersOf(const std::string& path) {
  std::vector<Holder> holders;
  struct stat node = {};
  if (stat(path.c_str(), &node) != 0) return holders;
  std::error_code error;
  for (fs::directory_iterator processes("/proc", error); !error && processes != fs::directory_iterator();
       processes.increment(error)) {
    const fs::path& process = processes->path();
    const auto number = parseNumber(process.filename().string(), 1, std::numeric_limits<int>::max());
    if (!number || *number == getpid() || !holds(process, node)) continue;
    Holder holder{static_cast<int>(*number), {}};
    std::getline(std::ifstream(process / "comm"), holder.name);
    holders.push_back(std::move(holder));
  }
  return holders;
}

bool isLocked(const std::string& path) {
  struct stat node = {};
  if (stat(path.c_str(), &node) != 0) return false;
  std::array<char, 64> device{};
  snprintf(device.data(), device.size(), "%02x:%02x:%ju", major(node.st_dev), minor(node.st_dev),
           static_cast<uintmax_t>(node.st_ino));
  // "1: FLOCK  ADVISORY  WRITE 5301 fe:00:11059903 0 EOF"
  std::ifstream locks("/proc/locks");
  for (std::string word; locks >> word;) {
    if (word == device.data()) return true;
  }
  return false;
}

std::string holdersInWords(const std::string& path) {
  std::vector<Holder> holders = holdersOf(path);
  if (holders.empty()) return "another process, which this user can't see (sudo fuser -v " + path + " shows it)";
  holders.resize(std::min(holders.size(), kMostHoldersNamed));
  std::string text;
  for (const Holder& holder : holders) {
    text += (text.empty() ? "" : ", ") + holder.name + " (process " + std::to_string(holder.process) + ')';
  }
  return text;
}
