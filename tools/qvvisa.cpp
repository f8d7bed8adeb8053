/// qvvisa, the command line to instruments.
#include "commands.h"
#include "message.h"
#include "standardOutput.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <iostream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace {

enum ExitCode { kDone = 0, kFailed = 1, kMisused = 2 };

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

/// The command line: what was chosen, and the subcommand to run.
class CommandLine {
public:
  CommandLine() : app_(kDescription, "qvvisa") {
    app_.footer(kNotes);
    app_.set_version_flag("--version", "qvvisa " QVVISA_VERSION);
    app_.require_subcommand(1);
    app_.fallthrough();
    app_.get_formatter()->column_width(38);
    addOptions();
    addMessageCommands();
    addAttributeCommand();
    addFindAndStatusCommands();
    addUsbCommands();
  }

  void parse(int argc, char** argv) { app_.parse(argc, argv); }
  Result run() const { return command_(); }
  /// What help or version were asked for, or what is wrong; the exit status.
  int explain(const CLI::ParseError& error, std::ostream& out, std::ostream& err) const {
    return app_.exit(error, out, err) == 0 ? kDone : kMisused;
  }

private:
  CLI::App* add(const char* name, const char* description, std::function<Result()> command) {
    CLI::App* subcommand = app_.add_subcommand(name, description);
    subcommand->footer("Options of all subcommands: qvvisa --help");
    subcommand->callback([this, command = std::move(command)] { command_ = command; });
    return subcommand;
  }
  template <typename T>
  static CLI::Option* addText(CLI::App* subcommand, const char* name, T& target, const char* description) {
    return subcommand->add_option(name, target, description)->type_name("");
  }
  CLI::App* addOnResource(const char* name, const char* description, std::function<Result()> command) {
    CLI::App* subcommand = add(name, description, std::move(command));
    addText(subcommand, "RSRC", resource_, "Resource name")->required();
    return subcommand;
  }

  void addOptions() {
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
  void addCount(CLI::App* subcommand) {
    subcommand->add_option("-n,--count", options_.count, "Read this many bytes, whatever they are, and add nothing")
        ->type_name("N")
        ->take_last()
        ->check(CLI::PositiveNumber);
  }

  void addMessageCommands() {
    CLI::App* query = addOnResource("query", "Send a message and print the answer",
                                    [this] { return queryCommand(resource_, options_, text_); });
    addText(query, "TEXT", text_, "The message, or - for standard input")->required();
    addCount(query);
    CLI::App* write =
        addOnResource("write", "Send a message", [this] { return writeCommand(resource_, options_, text_); });
    addText(write, "TEXT", text_, "The message, or - for standard input")->required();
    addCount(
        addOnResource("read", "Print what the instrument sends", [this] { return readCommand(resource_, options_); }));
  }
  void addAttributeCommand() {
    addOnResource("attr", "Print attributes, all of them if none is named, or set them", [this] {
      return attributeCommand(resource_, options_, requests_);
    })->add_option("NAME[=VALUE]", requests_, "Attribute to print, or to set");
  }
  void addFindAndStatusCommands() {
    CLI::App* find = add("find", "List the USB instruments and serial ports that match a search expression", [this] {
      return findCommand(text_, json_ ? FindFormat::Json : table_ ? FindFormat::Table : FindFormat::Names);
    });
    text_ = "?*";
    find->add_option("EXPR", text_,
                     "Search expression, such as 'USB?*INSTR{VI_ATTR_MANF_ID==0x7C5A}'; all if left out");
    find->add_flag("-l,--long", table_,
                   "As a table with vendor, product, serial number and class; opens each USB instrument to ask it");
    find->add_flag("--json", json_, "The same as JSON");
    CLI::App* status = add("status", "Explain a status code", [this] { return statusCommand(text_); });
    addText(status, "CODE", text_, "Hexadecimal, decimal, or a name such as VI_ERROR_TMO")->required();
  }
  void addUsbCommands() {
    addOnResource("stb", "Print the status byte of a USB instrument",
                  [this] { return statusByteCommand(resource_, options_); });
    addOnResource("clear", "Clear a USB instrument", [this] { return clearCommand(resource_, options_); });
    CLI::App* ren = addOnResource("ren", "Control remote enable of a USB instrument",
                                  [this] { return remoteCommand(resource_, options_, text_); });
    addText(ren, "MODE", text_, "A number, or a name such as VI_GPIB_REN_ASSERT_ADDRESS_LLO")->required();

    CLI::App* in = addOnResource("control-in", "Send a USB control request and print the device's data",
                                 [this] { return controlInCommand(resource_, options_, request_, length_, raw_); });
    addRequest(in);
    addNumber(in, "LENGTH", length_, "Number of bytes to ask for");
    in->add_flag("--raw", raw_, "Print the bytes themselves, not their hexadecimal digits");
    CLI::App* out = addOnResource("control-out", "Send a USB control request with data, or without",
                                  [this] { return controlOutCommand(resource_, options_, request_, data_); });
    addRequest(out);
    addText(out, "HEXDATA", data_, "Pairs of hexadecimal digits");
  }
  void addRequest(CLI::App* subcommand) {
    addNumber(subcommand, "REQTYPE", request_.type, "bmRequestType, such as 0xA1");
    addNumber(subcommand, "REQUEST", request_.request, "bRequest");
    addNumber(subcommand, "VALUE", request_.value, "wValue");
    addNumber(subcommand, "INDEX", request_.index, "wIndex");
  }
  template <typename T>
  static void addNumber(CLI::App* subcommand, const char* name, T& target, const char* description) {
    constexpr int64_t highest = std::numeric_limits<T>::max();
    subcommand
        ->add_option_function<std::string>(
            name,
            [name, &target](const std::string& text) {
              const auto number = parseNumber(text, 0, highest);
              if (!number) throw CLI::ValidationError(name, "not a number from 0 to " + std::to_string(highest));
              target = static_cast<T>(*number);
            },
            description)
        ->type_name("")
        ->required();
  }

  CLI::App app_;
  std::function<Result()> command_;
  Options options_;
  std::string resource_;
  std::string text_;
  std::string data_;
  std::vector<std::string> requests_;
  ControlRequest request_;
  ViUInt16 length_ = 0;
  bool table_ = false;
  bool json_ = false;
  bool raw_ = false;
};

int runTool(int argc, char** argv) {
  StandardOutput output;
  CommandLine commandLine;
  try {
    commandLine.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::ostringstream out;
    const int code = commandLine.explain(error, out, std::cerr);
    output.write(out.str());
    output.close();
    return code;
  }
  const Result result = commandLine.run();
  output.write(result.output);
  output.close();
  if (result.flaw.empty()) return kDone;
  std::cerr << "qvvisa: " << result.flaw << '\n';
  return kFailed;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return runTool(argc, argv);
  } catch (const UsageError& error) {
    std::cerr << "qvvisa: " << error.what() << '\n';
    return kMisused;
  } catch (const std::exception& error) {
    std::cerr << "qvvisa: " << error.what() << '\n';
    return kFailed;
  }
}
