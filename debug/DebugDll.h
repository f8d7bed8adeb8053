/// The diagnostics log: one file for the process, which a user turns on through the environment.
///
/// All operations may be called from any thread. Each line is flushed before its call returns, so that the log survives
/// a crash of the application. Write errors are ignored.
#pragma once

#include "export.h"
#include "osAbstraction.h"

#include <cstdarg>

extern "C" {

/// The mask of enabled log classes while no level variable says otherwise.
constexpr unsigned int LOG_LEVEL_DEFAULT = 0x0000FFFF;
/// What stands before the name of the log's variable in that of the level variable, and the room for that name and for
/// its value, in characters.
constexpr char LOG_LEVEL_PREFIX[] = "LOGLVL_";
constexpr int LOG_LEVEL_MAX_PATH = OS_MAX_PATH + 8;
constexpr int LOG_LEVEL_NAME_SZ = 128;

/// Opens the log file, emptying it, whose path is the value of the environment variable `envVarName`. The variable
/// "LOGLVL_" + `envVarName` gives the level: a decimal, 0x hexadecimal or 0 octal number, 0 if it can't be read;
/// unset or empty it is LOG_LEVEL_DEFAULT.
/// Returns 0 if the log is open; 1 if the variable isn't set, or must not be trusted because the process has raised
/// privileges; 2 if the file can't be opened, or a log is open already, which goes on.
QVVISA_API int initLogFile(const char* envVarName);

/// Closes the log file. Does nothing while no file is open or logging is disabled.
QVVISA_API void closeLogFile();

/// Stops the log (0) or lets it go on (anything else), its file staying open. Without an open file it does nothing.
QVVISA_API void enableLogging(int ena);

/// 1 while lines are written, else 0.
QVVISA_API int isLoggingEnabled();

/// 1 while a log file is open, else 0.
QVVISA_API int isLoggingPossible();

/// 1 if all bits of `logMask` are set in the log level, else 0.
QVVISA_API int checkLogLevelMask(unsigned int logMask);

/// Writes a text to the log, cut to 1023 characters, with no decoration and no line end. While logging is off it costs
/// the test of a flag.
[[gnu::format(printf, 1, 2)]] QVVISA_API void debug_printf(const char* fmt, ...);
[[gnu::format(printf, 1, 0)]] QVVISA_API void debug_vprintf(const char* fmt, va_list arg_ptr);

/// The path of the log file that was asked for last, in a static buffer; "not valid" before the first.
QVVISA_API char* printLogFileName();
}
