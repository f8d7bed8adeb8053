#include "commandLine.h"

#include <utility>

namespace {

constexpr const char* kDescription =
    "Talks to test and measurement instruments over USB, serial ports and TCP.\n\n"
    "A resource name says which: USB0::0x7C5A::0x0042::A1234::INSTR, ASRL3::INSTR, COM3::9600,\n"
    "TCPIP0::192.0.2.7::5025::SOCKET, TCPIP0::host::inst0::INSTR.";

constexpr const char* kNotes =
    "Standard output holds the answer and nothing else; messages go to standard error.\n"
    "TEXT may contain \\n, \\r, \\t, \\\\ and \\xHH; '-' takes standard input as it is. What is sent gets the\n"
    "termination behind it. A response is read up to the termination, the end of an IEEE 488.2 definite-length block,\n"
    "the end of the connection or the time limit; on USB a message is a response. A text gets a newline if it lacks\n"
    "one, a block is written as it came.\n"
    "Attributes are known by name (VI_ATTR_ may be left out) or code, their values by name (VI_ may be left out) or\n"
    "number. They hold for one call of the tool: use --set to send and read with other ones.\n\n"
    "Exit status: 0 done; 1 the operation failed, or nothing was found; 2 the command line is wrong.\n\n"
    "Examples:\n"
    "  qvvisa find 'USB?*INSTR'\n"
    "  qvvisa query TCPIP0::192.0.2.7::5025::SOCKET '*IDN?'\n"
    "  qvvisa query ASRL3::INSTR '*IDN?' --set ASRL_BAUD=9600 --set ASRL_PARITY=ASRL_PAR_EVEN\n"
    "  qvvisa --timeout 10000 query USB0::0x7C5A::0x0042::A1234::INSTR 'CURV?' > curve.bin";

constexpr void (*kSubcommands[])(CommandLine&) = {
    addMessageCommands, addAttributeCommand, addFindCommand, addStatusCommand, addUsbCommands,
};

}  // namespace

CommandLine::CommandLine(const StandardOutput& output) : output_(output), app_(kDescription, "qvvisa") {
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

int CommandLine::explain(const CLI::ParseError& error, std::ostream& out, std::ostream& err) const {
  return app_.exit(error, out, err) == 0 ? kDone : kMisused;
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
  app_.add_option_function<std::string>(
          "-T,--termination",
          [this](const std::string& text) {
            try {
              options_.termination = text == "none" ? "" : unescape(text);
            } catch (const UsageError& error) {
              throw CLI::ValidationError("--termination", error.what());
            }
          },
          "End of messages in both directions: \\n, \\r\\n, any other text, or none")
      ->type_name("TEXT")
      ->take_last()
      ->default_str("\\n");
  app_.add_option("-s,--set", options_.settings, "Set an attribute before anything is sent; may be repeated")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
}
