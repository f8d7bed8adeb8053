/// Why an operation failed, in words that help.
#pragma once

#include "QVvisa.h"
#include "deviceNode.h"
#include "resourceName.h"

#include <chrono>
#include <optional>
#include <string>

/// What stands in the way of opening the resource, as far as it shows without the library; nothing if nothing does.
std::optional<Diagnosis> diagnose(const std::string& resource);
/// The message of a failed open: the cause as far as it shows, the status, what to do.
std::string whyNotOpened(const std::string& resource, ViStatus status);
/// The message of a connection that didn't come about in time.
std::string noConnection(const std::string& resource, const ResourceName& name, std::chrono::milliseconds limit);
/// What to do about a read that failed with this status, as a line of its own; empty if nothing is known.
std::string adviceOnRead(const std::string& resource, ViStatus status);
