/// Device nodes: who may use one, and who does.
#pragma once

#include <optional>
#include <string>
#include <vector>

/// What stands in the way of something, and what the user can do about it.
struct Diagnosis {
  std::string cause;
  std::string advice{};  ///< may be empty
};

/// Whether two paths lead to one device.
bool isSameDevice(const std::string& pathA, const std::string& pathB);

/// Why this user can't read and write the node; nothing if they can.
std::optional<Diagnosis> whyNoAccess(const std::string& path);

struct Holder {
  int process = 0;
  std::string name;
};
/// The other processes that have the node open, as far as this user may see them.
std::vector<Holder> holdersOf(const std::string& path);
/// Whether a process, perhaps this one, has locked the node for itself.
bool isLocked(const std::string& path);
/// "NAME (process 123)", several of them joined, or that nobody can be seen.
std::string holdersInWords(const std::string& path);
