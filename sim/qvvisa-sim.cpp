/// @file
/// Serves the simulated instrument, by itself or around a command that talks to it.

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "ptyPort.h"
#include "tcpServer.h"
#include "virtualUsb.h"

namespace {

struct Options {
  bool tcp = false;
  uint16_t tcpPort = 0;
  bool serial = false;
  std::string serialLink;
  bool usb = false;
  std::string serialNumber = qvsim::Identity{}.serial;
  std::vector<std::string> command;
};

constexpr const char* preload = "libumockdev-preload.so.0";

std::string environmentOr(const char* name, const char* otherwise) {
  const char* value = std::getenv(name);
  return value ? value : otherwise;
}

/// The instrument on every bus that was asked for; it serves from construction to destruction.
class Bench {
public:
  explicit Bench(const Options& options) : instrument_({.serial = options.serialNumber}) {
    if (options.tcp) tcp_.emplace(instrument_, options.tcpPort);
    std::string link = options.serialLink;
    if (options.usb) {
      usb_.emplace();
      const qvsim::UsbDescription description{.serial = options.serialNumber};
      usbName_ = qvsim::usbResourceName(description);
      usb_->plug(description, &instrument_);
      // Under a test bed the terminal calls of a client work on a pty only if its name isn't below /dev.
      if (link.empty()) link = usb_->directory() + "/serial";
    }
    if (options.serial) serial_.emplace(instrument_, link);
  }

  /// A line for each bus: resource name, device path; and for USB what another process needs in its environment.
  void print() const {
    if (tcp_) std::puts(tcp_->resourceName().c_str());
    if (serial_) std::puts(serial_->path().c_str());
    if (usb_) std::printf("%s LD_PRELOAD=%s UMOCKDEV_DIR=%s\n", usbName_.c_str(), preload, usb_->directory().c_str());
    std::fflush(stdout);
  }

  void exportEnvironment() const {
    if (tcp_) set("QVVISA_SIM_TCP", tcp_->resourceName());
    if (serial_) exportSerial();
    if (usb_) {
      const std::string others = environmentOr("LD_PRELOAD", "");
      set("LD_PRELOAD", others.empty() ? preload : std::string(preload) + ':' + others);
      set("UMOCKDEV_DIR", usb_->directory());
      set("QVVISA_SIM_USB", usbName_);
    }
  }

private:
  static void set(const char* name, const std::string& value) { ::setenv(name, value.c_str(), 1); }

  // Takes the first number from 7 on that the user's own list doesn't have.
  void exportSerial() const {
    const std::string ports = environmentOr("QVVISA_SERIAL_PORTS", "");
    int number = 7;
    while ((',' + ports).find(',' + std::to_string(number) + '=') != std::string::npos) ++number;
    set("QVVISA_SERIAL_PORTS", (ports.empty() ? "" : ports + ',') + std::to_string(number) + '=' + serial_->path());
    set("QVVISA_SIM_SERIAL", "ASRL" + std::to_string(number) + "::INSTR");
  }

  qvsim::ScpiInstrument instrument_;
  std::optional<qvsim::TcpServer> tcp_;
  std::optional<qvsim::VirtualUsb> usb_;
  std::string usbName_;
  std::optional<qvsim::PtyPort> serial_;
};

sigset_t watchedSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) sigaddset(&signals, signal);
  return signals;
}

// Whoever started the simulation through a pipe ends it by going away; a terminal or /dev/null says nothing.
bool inputCanClose() {
  struct stat input {};
  return ::fstat(STDIN_FILENO, &input) == 0 && (S_ISFIFO(input.st_mode) || S_ISSOCK(input.st_mode));
}

void serveUntilStopped(const sigset_t& signals) {
  const qvsim::Descriptor signalled = qvsim::Descriptor::checked(::signalfd(-1, &signals, SFD_CLOEXEC), "signalfd");
  std::array<pollfd, 2> watched = {{{signalled.number(), POLLIN, 0}, {inputCanClose() ? STDIN_FILENO : -1, POLLIN, 0}}};
  while (::poll(watched.data(), watched.size(), -1) < 0 || !watched[0].revents) {
    std::array<char, 256> ignored;
    if (watched[1].revents && ::read(STDIN_FILENO, ignored.data(), ignored.size()) <= 0) return;
  }
}

// Ends as the command does: its exit status, 128 and the signal's number, or 126 and 127 where it can't be started.
int runCommand(const std::vector<std::string>& command, const sigset_t& signals, const sigset_t& previous) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  posix_spawnattr_setsigmask(&attributes, &previous);
  pid_t child = 0;
  const int fault = ::posix_spawnp(&child, arguments[0], nullptr, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  if (fault) {
    std::fprintf(stderr, "qvvisa-sim: %s: %s\n", arguments[0], std::generic_category().message(fault).c_str());
    return fault == ENOENT ? 127 : 126;
  }
  int status = 0;
  while (::waitpid(child, &status, WNOHANG) == 0) {
    const int signal = ::sigwaitinfo(&signals, nullptr);
    // A terminal sends its interrupt to the command as well.
    if (signal == SIGTERM || signal == SIGHUP) ::kill(child, signal);
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int run(const Options& options) {
  const sigset_t signals = watchedSignals();
  sigset_t previous;
  ::pthread_sigmask(SIG_BLOCK, &signals, &previous);
  const Bench bench(options);
  if (!options.command.empty()) {
    bench.exportEnvironment();
    return runCommand(options.command, signals, previous);
  }
  bench.print();
  serveUntilStopped(signals);
  return EXIT_SUCCESS;
}

constexpr const char* description =
    "A simulated SCPI instrument for QVvisa, on TCP, a serial line, USB, or all of them.\n\n"
    "With a command behind --, it runs while the instrument serves, and its exit status is passed on. It finds the\n"
    "instrument in its environment:\n"
    "  QVVISA_SIM_TCP, QVVISA_SIM_SERIAL, QVVISA_SIM_USB  resource names\n"
    "  QVVISA_SERIAL_PORTS                                gets the serial port's number, 7 or the next free one\n"
    "  LD_PRELOAD, UMOCKDEV_DIR                           make the USB device visible\n\n"
    "Without a command the names are printed, and the instrument serves until SIGINT or SIGTERM or until the pipe on\n"
    "standard input is closed.\n";

int parseAndRun(int argc, char** argv) {
  Options options;
  CLI::App app(description);
  app.footer("Example: qvvisa-sim --usb --tcp -- qvvisa find");
  app.set_version_flag("--version", "qvvisa-sim " QVVISA_VERSION);
  CLI::Option* tcp = app.add_option("--tcp", options.tcpPort, "serve on 127.0.0.1; 0 or none: on a free port")
                         ->type_name("[PORT]")
                         ->expected(0, 1);
  CLI::Option* serial = app.add_option("--serial", options.serialLink, "serve on a pty, with a symbolic link if wanted")
                            ->type_name("[LINK]")
                            ->expected(0, 1);
  app.add_flag("--usb", options.usb, "serve as a virtual USB device under the real libusb");
  app.add_option("--idn-serial", options.serialNumber, "the instrument's serial number")
      ->type_name("S")
      ->capture_default_str();
  // What follows belongs to the command, options included.
  char** const end = std::find(argv, argv + argc, std::string_view("--"));
  if (end != argv + argc) options.command.assign(end + 1, argv + argc);
  CLI11_PARSE(app, static_cast<int>(end - argv), argv);
  options.tcp = tcp->count() != 0;
  options.serial = serial->count() != 0;
  if (!options.tcp && !options.serial && !options.usb) {
    std::fputs("qvvisa-sim: no bus asked for, see --help\n", stderr);
    return EXIT_FAILURE;
  }
  return run(options);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return parseAndRun(argc, argv);
  } catch (const std::exception& fault) {
    std::fprintf(stderr, "qvvisa-sim: %s\n", fault.what());
    return EXIT_FAILURE;
  }
}
