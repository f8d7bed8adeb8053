/// Whether the environment can be trusted.
#pragma once

/// True in a process that has more rights than the user who started it (set-user-ID, set-group-ID, file capabilities):
/// its environment is that user's and must not say which files are written.
bool hasRaisedPrivileges();
