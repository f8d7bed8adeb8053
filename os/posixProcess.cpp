#include "osAbstraction.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// A program with its words, ready to be started.
struct Command {
  const char* program;
  bool searched;  ///< along the search path
  char** words;
  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;
};

bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

/// Moves the word at `from` to `to`, without its quotes, and passes both behind it.
void takeWord(const char*& from, char*& to) {
  for (bool quoted = false; *from && (quoted || !isBlank(*from)); ++from) {
    if (from[0] == '\\' && from[1] == '"')
      *to++ = *++from;
    else if (*from == '"')
      quoted = !quoted;
    else
      *to++ = *from;
  }
}

/// Splits a command line in place. `words` has room for a word of each second character and the null at the end.
void splitWords(char* line, char** words) {
  const char* from = line;
  char* to = line;
  for (;;) {
    while (isBlank(*from)) ++from;
    if (!*from) break;
    *words++ = to;
    takeWord(from, to);
    const bool last = !*from;
    *to++ = '\0';
    if (last) break;
    ++from;
  }
  *words = nullptr;
}

/// A session without a terminal, no open file but the null device, and signals as a program expects them.
int prepare(Command& command) {
  sigset_t all;
  sigset_t none;
  sigfillset(&all);
  sigemptyset(&none);
  constexpr short flags = POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
  posix_spawnattr_setflags(&command.attributes, flags);
  posix_spawnattr_setsigdefault(&command.attributes, &all);
  posix_spawnattr_setsigmask(&command.attributes, &none);
  int error = posix_spawn_file_actions_addopen(&command.files, STDIN_FILENO, "/dev/null", O_RDWR, 0);
  if (error == 0) error = posix_spawn_file_actions_adddup2(&command.files, STDIN_FILENO, STDOUT_FILENO);
  if (error == 0) error = posix_spawn_file_actions_adddup2(&command.files, STDIN_FILENO, STDERR_FILENO);
  if (error == 0) error = posix_spawn_file_actions_addclosefrom_np(&command.files, STDERR_FILENO + 1);
  return error;
}

int spawn(const Command& command) {
  const auto start = command.searched ? posix_spawnp : posix_spawn;
  pid_t process = 0;
  return start(&process, command.program, &command.files, &command.attributes, command.words, environ);
}

/// Starts the program from a process in between, which ends at once: so the program isn't the caller's child and nobody
/// has to wait for its end. That process tells its parent by no signal, and a wait for any child doesn't see it, so
/// that the host program's handling of its own children goes undisturbed.
int spawnDetached(const Command& command) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  // A fork that runs none of the host program's fork handlers and ends without SIGCHLD.
  const auto between = static_cast<pid_t>(syscall(SYS_clone, 0, nullptr, nullptr, nullptr, nullptr));
  if (between == 0) _exit(spawn(command));
  const int cloneError = errno;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (between < 0) return cloneError;
  int status = 0;
  while (waitpid(between, &status, static_cast<int>(__WCLONE)) < 0) {
    if (errno != EINTR) return errno;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : ECHILD;
}

int start(Command& command) {
  int error = posix_spawn_file_actions_init(&command.files);
  if (error != 0) return error;
  error = posix_spawnattr_init(&command.attributes);
  if (error == 0) {
    error = prepare(command);
    if (error == 0) error = spawnDetached(command);
    posix_spawnattr_destroy(&command.attributes);
  }
  posix_spawn_file_actions_destroy(&command.files);
  return error;
}

int startLine(const char* name, const char* args) {
  const size_t size = strlen(args) + 1;
  const std::unique_ptr<char[]> line(new (std::nothrow) char[size]);
  const std::unique_ptr<char*[]> words(new (std::nothrow) char*[size / 2 + 2]);
  if (!line || !words) return ENOMEM;
  memcpy(line.get(), args, size);
  splitWords(line.get(), words.get());
  if (!words[0]) {
    words[0] = const_cast<char*>(name);
    words[1] = nullptr;
  }
  Command command{
      .program = name ? name : words[0], .searched = !name, .words = words.get(), .files = {}, .attributes = {}};
  return command.program ? start(command) : EINVAL;
}

}  // namespace

bool OS_constructProcess(const char* name, const char* args) {
  const int error = startLine(name, args ? args : "");
  if (error != 0) OS_setLastError(error);
  return error == 0;
}
