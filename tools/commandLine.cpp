#include "commandLine.h"

#include "nearest.h"

#include <utility>

namespace {

constexpr const char* kDescription =
    "Talks to test and measurement instruments over USB, serial ports and TCP.\n\n"
    "A resource name says which: USB0::0x7C5A::0x0042::A1234::INSTR, ASRL3::INSTR, COM3::9600,\n"
    "TCPIP0::192.0.2.7::5025::SOCKET, TCPIP0::host::inst0::INSTR.";

constexpr const char* kNotes =
    "Standard output holds the answer and nothing else; messages go to standard error.\n"
    "TEXT may contain \\n, \\r, \\t, \\\\ and \\xHH; '-' takes standard input as it is. What is sent gets the\n"
    "termination behind it. A response is read up to the termination, the end of an IEEE 488.2 definite-length block\n"
    "with nothing behind it, or the end of the connection; on USB a message is a response. One that the time limit\n"
    "ends isn't whole. A text gets a newline if it lacks one, a block is written as it came.\n"
    "Before a query, what the instrument had sent earlier is taken from a serial line or TCP connection and dropped.\n"
    "Attributes are known by name (VI_ATTR_ may be left out) or code, their values by name (VI_ may be left out) or\n"
    "number. They hold for one call of the tool: use --set to send and read with other ones.\n\n"
    "Environment: QVVISA_SERIAL_PORTS gives serial ports numbers, as in 7=/dev/ttyUSB0,8=/dev/ttyACM1.\n\n"
    "Exit status: 0 done; 1 the operation failed, or nothing was found; 2 the command line is wrong; 4 only part of "
    "an\n"
    "answer came, and is on standard output.\n\n"
    "Examples:\n"
    "  qvvisa find 'USB?*INSTR'\n"
    "  qvvisa query TCPIP0::192.0.2.7::5025::SOCKET '*IDN?'\n"
    "  qvvisa query ASRL3::INSTR '*IDN?' --set ASRL_BAUD=9600 --set ASRL_PARITY=ASRL_PAR_EVEN\n"
    "  qvvisa -t 10000 query TCPIP0::192.0.2.7::5025::SOCKET 'CURV?' --output curve.bin";

constexpr void (*kSubcommands[])(CommandLine&) = {
    addMessageCommands,
#ifdef QVVISA_SHELL
    addShellCommand,
#endif
    addAttributeCommand, addFindCommand,  addStatusCommand,    addUsbCommands,
    addDoctorCommand,    addBenchCommand, addReferenceCommand,
};

}  // namespace

CommandLine::CommandLine(StandardOutput& output) : output_(output), app_(kDescription, "qvvisa") {
  app_.footer(kNotes);
  app_.set_version_flag("--version", "qvvisa " QVVISA_VERSION);
  app_.require_subcommand(1);
  app_.fallthrough();
  app_.get_formatter()->column_width(38);
  addOptions();
  for (const auto addSubcommands : kSubcommands) addSubcommands(*this);
}

void CommandLine::parse(int argc, char** argv) {
  app_.parse(argc, argv);
}

Answer CommandLine::run() const {
  if (!options_.verbose) StandardOutput::silenceLibrary();
  if (!options_.outputFile.empty()) output_.redirect(options_.outputFile);
  return command_();
}

int CommandLine::explain(const CLI::ParseError& error, std::ostream& out, std::ostream& err) const {
  if (error.get_exit_code() == 0) {
    app_.exit(error, out, err);
    return kDone;
  }
  const std::string mistyped = suggestion();
  err << "qvvisa: " << (mistyped.empty() ? error.what() : mistyped) << "\nqvvisa --help tells what there is.\n";
  return kMisused;
}

/// What is said of the first word that nobody knows; empty if there is none.
std::string CommandLine::suggestion() const {
  const std::vector<std::string> unknown = app_.remaining(true);
  if (unknown.empty()) return {};
  const std::string& word = unknown.front();
  const std::vector<CLI::App*> chosen = app_.get_subcommands();
  std::vector<std::string> known;
  if (word.starts_with('-')) {
    std::vector<const CLI::App*> apps(chosen.begin(), chosen.end());
    apps.push_back(&app_);
    for (const CLI::App* app : apps) {
      for (const CLI::Option* option : app->get_options()) {
        for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
      }
    }
    return "no option is called '" + word.substr(0, word.find('=')) + "'." +
           didYouMean(word.substr(0, word.find('=')), known);
  }
  if (!chosen.empty()) return {};
  for (const CLI::App* subcommand : app_.get_subcommands(nullptr)) known.push_back(subcommand->get_name());
  return "no subcommand is called '" + word + "'." + didYouMean(word, known);
}

CLI::App* CommandLine::add(const char* name, const char* description, Command command) {
  CLI::App* subcommand = app_.add_subcommand(name, description);
  subcommand->footer("Options of all subcommands: qvvisa --help");
  subcommand->callback([this, command = std::move(command)] { command_ = command; });
  return subcommand;
}

CLI::App* CommandLine::addOnResource(const char* name, const char* description, ResourceCommand command) {
  CLI::App* subcommand = add(name, description, [this, command = std::move(command)] { return command(resource_); });
  addArgument(subcommand, "RSRC", resource_, "Resource name")->required();
  return subcommand;
}

void CommandLine::addOptions() {
  app_.add_option("-t,--timeout", options_.timeout_ms,
                  "Time limit of each transfer; 0 is none on TCP and USB, and no waiting on serial ports")
      ->type_name("MS")
      ->take_last()
      ->capture_default_str();
  app_.add_option("--connect-timeout", options_.connectTimeout_ms, "Time limit of a TCP connection; 0 is none")
      ->type_name("MS")
      ->take_last()
      ->capture_default_str();
  app_.add_option("--settle", options_.settle_ms,
                  "How long a serial line or TCP connection has to be silent before a query, so that an older answer "
                  "isn't taken for the new one; 20 on TCP and 50 on serial ports unless given, 0 is no look")
      ->type_name("MS")
      ->take_last();
  app_.add_option_function<std::string>(
          "-T,--termination",
          [this](const std::string& text) {
            try {
              options_.termination = parseTermination(text);
            } catch (const UsageError& error) {
              throw CLI::ValidationError("--termination", error.what());
            }
          },
          "End of messages in both directions: LF, CR, CRLF, none, or any text with escapes such as \\r")
      ->type_name("TEXT")
      ->take_last()
      ->default_str("LF");
  app_.add_option("-s,--set", options_.settings, "Set an attribute before anything is sent; may be repeated")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
  addFormats();
}

void CommandLine::addFormats() {
  CLI::Option* json = app_.add_flag("--json", options_.json, "Print the answer as JSON");
  app_.add_flag("--hex", options_.hex, "Print the bytes of an answer, all that came, as hexadecimal digits")
      ->excludes(json);
  app_.add_option("-o,--output", options_.outputFile, "Write the answer to this file")->type_name("FILE")->take_last();
  app_.add_flag("-v,--verbose", options_.verbose, "Show what the library prints about TCP connections");
}
