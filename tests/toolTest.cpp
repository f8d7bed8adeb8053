/// The command-line tool, run as a user runs it, against a TCP server of the test.
#include "support/tcpPeer.h"
#include "support/testing.h"
#include "support/toolProcess.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <pty.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace {

using namespace std::string_literals;
using Words = std::vector<std::string>;

/// Longer than any test may take, so that an answer which is waited for in vain shows.
const std::string kNoHurry = "--timeout=600000";
/// Time enough for what the test sends to arrive, in ms.
const std::string kLimit = "1000";
const std::string kTimeout = "VI_ERROR_TMO (0xBFFF0015): Timeout expired before operation completed.\n";
/// A piece of an answer that isn't one.
const std::string kEnd = "instead of a piece: the end of the connection", kBreak = "its break";

ToolProcess tool(Words command, const std::string& input = "", const std::string& script = R"(exec "$@")") {
  command.insert(command.begin(), QVVISA_TOOL);
  return ToolProcess(script, command, input);
}

void expectContains(const std::string& text, const std::string& part) {
  EXPECT_PRED_FORMAT2(testing::IsSubstring, part, text);
}

/// How a call of the tool is to end, what it prints, and words of its message; without words it has none.
struct Outcome {
  std::string printed;
  int exitStatus = 0;
  std::string words = "";
};

void expectOutcome(ToolProcess& child, const Outcome& expected) {
  EXPECT_EQ(child.wait(), expected.exitStatus);
  EXPECT_EQ(child.output(), expected.printed);
  if (expected.words.empty())
    EXPECT_EQ(child.error(), "");
  else
    expectContains(child.error(), expected.words);
}

/// Runs the doctor.
void expectDiagnosis(Words arguments, int exitStatus, const std::string& words,
                     const std::string& script = R"(exec "$@")") {
  arguments.insert(arguments.begin(), "doctor");
  ToolProcess child = tool(arguments, "", script);
  EXPECT_EQ(child.wait(), exitStatus) << child.error();
  expectContains(child.output(), words);
}

TEST(Tool, TalksAsToldAndPrintsTheAnswerAndNothingElse) {
  const std::string kCut = "only part of a block came";
  const struct {
    Words command;
    std::string sent;
    Words pieces;
    Outcome outcome;
    std::string input = "";
  } rows[] = {
      {{"query", "*IDN?"}, "*IDN?\n", {"KES", "TRIX,", "SIM-1", "\n"}, {"KESTRIX,SIM-1\n"}},
      {{"query", "LIST?"}, "LIST?\n", {"several\nlines", " in all\n"}, {"several\nlines in all\n"}},
      {{"query", "HEX?"}, "HEX?\n", {"#H1F\n"}, {"#H1F\n"}},
      {{"query", R"(A\x00\t\xfF\\)"}, "A\0\t\xFF\\\n"s, {"ok\n"}, {"ok\n"}},
      {{"query", "*IDN?", "-T", "crlf"}, "*IDN?\r\n", {"a\n", "b\r", "\n"}, {"a\nb\r\n"}},
      {{"query", "*IDN?", "--termination", ";"}, "*IDN?;", {"no line end;"}, {"no line end;\n"}},
      {{"query", "CURV?"}, "CURV?\n", {"#15a\0\n"s, "\nb"}, {"#15a\0\n\nb"s}},
      {{"query", "CURV?"}, "CURV?\n", {"#", "15a\0b"s, "\nc\n"}, {"#15a\0b\nc"s}},
      {{"query", "CURV?", "-T", "none"}, "CURV?", {"#10"}, {"#10"}},
      {{"query", "CURV?"}, "CURV?\n", {"#11\n;5", "\n"}, {"#11\n;5\n"}},
      {{"query", "*IDN?;CURV?"}, "*IDN?;CURV?\n", {"KES,X;#15", "a\n", "\nbc", "\n"}, {"KES,X;#15a\n\nbc"}},
      {{"query", "CURV?;A?"}, "CURV?;A?\n", {":CURVE #13", "\n\n", "\n", ";:A 1\n"}, {":CURVE #13\n\n\n;:A 1\n"}},
      {{"query", "ERR?"}, "ERR?\n", {"-113,\"no; \"\";#19\"\n"}, {"-113,\"no; \"\";#19\"\n"}},
      {
          {"query", "?"},
          "?\n",
          {"slot #15, O'Hara;#12\n"},
          {"slot #15, O'Hara;#12\n", 4, kCut},
          "",
      },
      {{"query", "RAW?", "--count", "5"}, "RAW?\n", {"ab\n", "cdefg\n"}, {"ab\ncd"}},
      {{"query", "V?", "-t", kLimit}, "V?\n", {"1.2345"}, {"1.2345\n", 4, "6 bytes came, but no end of the answer"}},
      {{"query", "V?", "-t", kLimit, "--until-timeout"}, "V?\n", {"1\n", "2"}, {"1\n2\n"}},
      {{"query", "V?", "-t", kLimit}, "V?\n", {"#15ab\n"}, {"#15ab\n", 4, kCut + ", 2 bytes less"}},
      {{"query", "V?", "-t", "30"}, "V?\n", {}, {"", 1, "no answer came within 30 ms: " + kTimeout}},
      {{"query", "--hex", "V?"}, "V?\n", {"#12\n", "\xFF\n"}, {"23 31 32 0A FF 0A\n"}},
      {{"query", "V?", "--verbose"}, "V?\n", {"1\n"}, {"1\n", 0, "IPv4 address 127.0.0.1"}},
      {{"read"}, "", {"no line end", kEnd}, {"no line end\n"}},
      {{"read"}, "", {kEnd}, {"", 1, "no answer came before the connection was closed"}},
      {{"read"}, "", {"#15ab\n", kEnd}, {"#15ab\n", 4, kCut}},
      {{"read"}, "", {"#9", kEnd}, {"#9", 4, kCut + " before the connection was closed"}},
      {{"read", "--count", "9"}, "", {"abc\n", kEnd}, {"abc\n", 4, "4 of 9 bytes came before the connection"}},
      {{"read"}, "", {"abc", kBreak}, {"abc\n", 4, "3 bytes came, but no end of the answer before -1 (0xFFFFFFFF)"}},
      {{"write", "VOLT 5"}, "VOLT 5\n", {}, {""}},
      {{"write", "VOLT 5", "--termination", "none"}, "VOLT 5", {}, {""}},
      {{"write", "-"}, "a\\n\0b\n\n"s, {}, {""}, "a\\n\0b\n"s},
      {{"write", "-", "--termination=none"}, std::string(3'000'000, 'x'), {}, {""}, std::string(3'000'000, 'x')},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.command) + testing::PrintToString(row.pieces));
    TcpPeer peer;
    Words command = row.command;
    command.insert(command.begin() + 1, {peer.resource(), kNoHurry});
    ToolProcess child = tool(command, row.input);
    peer.accept();
    // A write ends the connection, so that more than was expected shows.
    EXPECT_TRUE(row.sent == peer.receive(row.sent.size() + (row.command[0] == "write" ? 1 : 0)));
    for (const std::string& piece : row.pieces) {
      if (piece == kBreak)
        peer.reset();
      else if (piece == kEnd)
        peer.halfClose();
      else
        peer.send(piece);
    }
    expectOutcome(child, row.outcome);
  }
}

TEST(Tool, SerialPorts) {
  // The tool's end is held open so that the line survives between its calls.
  int line = -1;
  int holder = -1;
  char name[100];
  termios raw{};
  cfmakeraw(&raw);
  ASSERT_EQ(openpty(&line, &holder, name, &raw, nullptr), 0);
  setenv("QVVISA_SERIAL_PORTS", ("7="s + name).c_str(), 1);
  const struct {
    Words arguments;
    std::string sent;
    std::string answer;
    Outcome outcome;
    std::string old = "";  ///< on the line before
  } rows[] = {
      {{}, "?\n", "text\n", {"text\n"}},
      {{}, "?\n", "#15a\n\0\nb\n"s, {"#15a\n\0\nb"s}},
      {{}, "?\n", "KES,X;#15a\n\0\nb;7\n"s, {"KES,X;#15a\n\0\nb;7\n"s}},
      {{"--set", "ASRL_BAUD=9600", "--termination", ";"}, "?;", "a\nb;", {"a\nb;\n"}},
      {{"--count", "3"}, "?\n", "a\nb", {"a\nb"}},
      {{"--set", "TMO_VALUE=" + kLimit},
       "?\n",
       "1.2345",
       {"1.2345\n", 4, "6 bytes came, but no end of the answer within " + kLimit + " ms"}},
      {{"--set", "TMO_VALUE=" + kLimit, "-T", "none", "--until-timeout"}, "?", "all\nof it", {"all\nof it\n"}},
      {{}, "?\n", "new\n", {"new\n", 0, "dropped 9 bytes that ASRL7::INSTR had sent before\n"}, "old\nolder"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.answer);
    EXPECT_EQ(write(line, row.old.data(), row.old.size()), static_cast<ssize_t>(row.old.size()));
    Words command{"query", "ASRL7::INSTR", "?", kNoHurry};
    command.insert(command.end(), row.arguments.begin(), row.arguments.end());
    ToolProcess child = tool(command);
    std::string sent(row.sent.size(), '\0');
    for (char& byte : sent) EXPECT_EQ(read(line, &byte, 1), 1);
    EXPECT_EQ(sent, row.sent);
    EXPECT_EQ(write(line, row.answer.data(), row.answer.size()), static_cast<ssize_t>(row.answer.size()));
    expectOutcome(child, row.outcome);
    tcflush(holder, TCIOFLUSH);
  }
  ToolProcess attribute = tool({"attr", "COM7::9600", "ASRL_BAUD", "ASRL_PARITY", "INTF_TYPE"});
  expectOutcome(attribute, {"9600\nVI_ASRL_PAR_NONE\nVI_INTF_ASRL\n"});
  EXPECT_EQ(write(line, "old\n!", 5), 5);
  ToolProcess clear = tool({"clear", "ASRL7::INSTR"});
  expectOutcome(clear, {"", 0, "dropped 5 bytes"});
  ToolProcess list = tool({"find", "-l", "ASRL7?*"});
  EXPECT_EQ(list.wait(), 0);
  expectContains(list.output(), "serial port  "s + name + '\n');

  ASSERT_EQ(flock(holder, LOCK_EX), 0);
  ToolProcess held = tool({"query", "ASRL7::INSTR", "?"});
  expectOutcome(held, {"", 1, name + " is in use by toolTest (process "s + std::to_string(getpid()) + ')'});
  expectDiagnosis({"ASRL7::INSTR"}, 1, "MEND  ASRL7::INSTR "s + name + ": in use by toolTest (process ");
  ToolProcess byPath = tool({"query", name, "?"});
  expectOutcome(byPath, {"", 1, "did you mean ASRL7::INSTR?"});
  ASSERT_EQ(flock(holder, LOCK_UN), 0);
  // Root may use any port, but for its capabilities, and give it to any group.
  const bool isRoot = geteuid() == 0;
  constexpr gid_t dialout = 20;
  ASSERT_EQ(isRoot ? fchown(holder, 0, dialout) : 0, 0);
  ASSERT_EQ(fchmod(holder, isRoot ? 0060 : 0), 0);
  const std::string asOneself = isRoot ? R"(exec setpriv --bounding-set=-all "$@")" : R"(exec "$@")";
  const std::string cause = "no permission for "s + name + (isRoot ? ": its group is dialout" : "");
  ToolProcess forbidden = tool({"query", "ASRL7::INSTR", "?"}, "", asOneself);
  expectOutcome(forbidden, {"", 1, cause});
  expectDiagnosis({}, 1, "MEND  ASRL7::INSTR "s + name + ": " + cause, asOneself);
  close(holder);
  close(line);
}

TEST(Tool, AnswersOrTellsWhyNot) {
  const TcpPeer peer;
  const TcpPeer refuses(TcpPeer::kDeaf);
  const std::string open = peer.resource();
  const std::string port = std::to_string(refuses.port());
  const std::string setupdi = "QVVI_SETUPDI_ERR (0xBFFF0204): A setupdi library (Windows) call returned an error.\n";
  const std::string unknown = ": The status code passed to the operation could not be interpreted.\n";
  const std::string unsupported = "VI_ERROR_NSUP_OPER (0xBFFF0067)";
  unsetenv("QVVISA_SERIAL_PORTS");
  const struct {
    Words arguments;
    Outcome outcome;
  } rows[] = {
      {{"status", "0xbfff0015"}, {kTimeout}},
      {{"status", "-1073807339"}, {kTimeout}},
      {{"status", "3221159957"}, {kTimeout}},
      {{"status", "VI_ERROR_TMO"}, {kTimeout}},
      {{"status", "error_tmo"}, {kTimeout}},
      {{"status", "-1"}, {"0xFFFFFFFF" + unknown}},
      {{"status", "QVVI_SETUPDI_ERR"}, {setupdi}},
      {{"status", "0x12345678"}, {"0x12345678" + unknown}},
      {{"attr", open, "VI_ATTR_TMO_VALUE"}, {"3000\n"}},
      {{"attr", open, "tmo_value=1234", "TMO_VALUE"}, {"1234\n"}},
      {{"attr", open, "0x3FFF001A=0xFFFFFFFF", "1073676314"}, {"4294967295\n"}},
      {{"attr", open, "INTF_TYPE", "IO_PROT", "TERMCHAR", "TRIG_ID", "SEND_END_EN", "RSRC_CLASS", "RSRC_MANF_ID"},
       {"VI_INTF_TCPIP\nVI_PROT_NORMAL\n0x0A\nVI_TRIG_SW\nVI_TRUE\nSOCKET\n0x7C5A\n"}},
      {{"clear", open}, {""}},
      // What can't be opened
      {{"query", refuses.resource(), "?"}, {"", 1, "connection refused: nothing listens on port " + port}},
      {{"query", "TCPIP0::127.0.0.9::" + port, "?"}, {"", 1, "write TCPIP0::127.0.0.9::" + port + "::SOCKET"}},
      {{"query", "TCPIP0::no..host::5025::SOCKET", "?"}, {"", 1, "unknown host 'no..host'"}},
      {{"read", "GPIB0::5::INSTR"}, {"", 1, "opening GPIB0::5::INSTR: no resource name"}},
      {{"read", "usb0::0x7C5A::66::A1::instr"}, {"", 1, "did you mean USB0::0x7C5A::66::A1::INSTR?"}},
      {{"read", "USB::7c5a::0X42::A1"}, {"", 1, "did you mean USB0::0x7C5A::0x42::A1?"}},
      {{"read", "asrl7"}, {"", 1, "did you mean ASRL7::INSTR?"}},
      {{"read", "TCPIP0::h::SOCKET"}, {"", 1, "did you mean TCPIP0::h::5025::SOCKET?"}},
      {{"read", "192.0.2.7:5024"}, {"", 1, "did you mean TCPIP0::192.0.2.7::5024::SOCKET?"}},
      {{"read", "ASRL98::INSTR"}, {"", 1, "there is no serial port 98"}},
      {{"read", "USB0::0xFFFF::1::X::INSTR"}, {"", 1, "no USB device with vendor 0xFFFF and product 0x0001"}},
      // What the session doesn't offer
      {{"stb", open}, {"", 1, unsupported}},
      {{"ren", open, "GPIB_REN_ASSERT"}, {"", 1, unsupported}},
      {{"control-in", open, "0xA1", "7", "0", "0", "24"}, {"", 1, unsupported}},
      {{"control-out", open, "0x21", "7", "0", "0", "01 ff"}, {"", 1, unsupported}},
      {{"attr", open, "VI_ATTR_TCPIP_DEVICE_NAME"}, {"", 1, "VI_ERROR_NSUP_ATTR (0xBFFF001D)"}},
      {{"attr", open, "TERMCHAR=13"}, {"", 1, "setting VI_ATTR_TERMCHAR of " + open + ": VI_ERROR_ATTR_READONLY"}},
      // What is mistyped, before anything is opened
      {{"attr", "nowhere", "TMO_VALEU"}, {"", 2, "called 'TMO_VALEU'. Did you mean VI_ATTR_TMO_VALUE?"}},
      {{"read", "nowhere", "--set", "ASRL_BUAD=1"}, {"", 2, "Did you mean VI_ATTR_ASRL_BAUD?"}},
      {{"read", "nowhere", "--set", "TMO_VALUE"}, {"", 2, "no value for TMO_VALUE"}},
      {{"read", "nowhere", "--set", "TMO_VALUE=4294967296"}, {"", 2, "takes a number from 0 to 4294967295"}},
      {{"read", "nowhere", "--set", "ASRL_DATA_BITS=9"}, {"", 2, "takes a number from 5 to 8"}},
      {{"read", "nowhere", "--set", "ASRL_PARITY=EVNE"}, {"", 2, "can't be 'EVNE': it takes VI_ASRL_PAR_NONE, "}},
      {{"read", "nowhere", "--set", "ASRL_PARITY=EVEN"}, {"", 2, "Did you mean VI_ASRL_PAR_EVEN?"}},
      {{"ren", open, "7x"}, {"", 2, "not a mode of remote enable"}},
      {{"status", "VI_ERROR_TMA"}, {"", 2, "the name of one: 'VI_ERROR_TMA'. Did you mean VI_ERROR_TMO?"}},
      {{"qurey", open, "?"}, {"", 2, "no subcommand is called 'qurey'. Did you mean query?"}},
      {{"read", open, "--timout", "5"}, {"", 2, "no option is called '--timout'. Did you mean --timeout?"}},
      {{"write", open, R"(\q)"}, {"", 2, "not an escape"}},
      {{"write", open, R"(\x1)"}, {"", 2, "not an escape"}},
      {{"write", open, "x", "--termination", R"(\q)"}, {"", 2, "not an escape"}},
      {{"control-in", open, "0xA1", "7", "0", "65536", "24"}, {"", 2, "not a number from 0 to 65535"}},
      {{"control-out", open, "0x21", "7", "0", "0", "1"}, {"", 2, "not pairs of hexadecimal digits"}},
      {{"find", "no such thing"}, {"", 1, "nothing matches 'no such thing': VI_ERROR_RSRC_NFOUND (0xBFFF0011)"}},
      {{"find", "--json", "no such thing"}, {"[]\n", 1, "VI_ERROR_RSRC_NFOUND"}},
      {{}, {"", 2, "subcommand"}},
      {{"measure"}, {"", 2, "--help"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.arguments));
    ToolProcess child = tool(row.arguments);
    expectOutcome(child, row.outcome);
  }

  ToolProcess list = tool({"attr", open, "--set", "TMO_VALUE=77"});
  EXPECT_EQ(list.wait(), 0);
  expectContains(list.output(), "\nVI_ATTR_TMO_VALUE = 77\n");
  expectContains(list.output(), "\nVI_ATTR_TCPIP_PORT = " + std::to_string(peer.port()) + "\n");
  EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "ASRL", list.output());
  for (const auto& arguments : std::vector<Words>{{"--help"}, {"query", "--help"}, {"--version"}}) {
    ToolProcess child = tool(arguments);
    EXPECT_EQ(child.wait(), 0);
    expectContains(child.output(), "qvvisa");
    EXPECT_EQ(child.error(), "");
  }
}

TEST(Tool, TheDoctorTellsWhatToMend) {
  const TcpPeer refuses(TcpPeer::kDeaf);
  const std::string port = std::to_string(refuses.port());
  setenv("QVVISA_SERIAL_PORTS", "7=ttyS0,8=/dev/null,x,9=/no/such", 1);
  const struct {
    Words arguments;
    std::string words;
  } rows[] = {
      {{}, "MEND  QVVISA_SERIAL_PORTS: '7=ttyS0' adds no port: its path doesn't begin with /; "},
      {{"ASRL7::INSTR"}, "MEND  QVVISA_SERIAL_PORTS: 'x' adds no port: it doesn't begin with a number"},
      {{"COM9::9600"}, "MEND  COM9::9600: there is no serial port 9: QVVISA_SERIAL_PORTS has '9=/no/such', but"},
      {{"ASRL8::INSTR"}, "ok    QVVISA_SERIAL_PORTS: 1 port\nok    ASRL8::INSTR /dev/null: named by"},
      {{refuses.resource()}, "ok    host 127.0.0.1: 127.0.0.1\nMEND  port " + port + ": connection refused: "},
      {{"TCPIP0::no..host::5025::SOCKET"}, "MEND  host no..host: unknown host 'no..host'"},
      {{"USB0::0xFFFF::1::X::INSTR"}, "MEND  USB"},
      {{"tcpip0::h"}, "MEND  tcpip0::h: no resource name; did you mean TCPIP0::h?\n"},
      {{"--json", "GPIB0::5"}, R"("subject": "GPIB0::5",)"},
      {{"--json", "GPIB0::5"}, R"("ok": false,)"},
  };
  for (const auto& row : rows) expectDiagnosis(row.arguments, 1, row.words);
  unsetenv("QVVISA_SERIAL_PORTS");
  for (const std::string answer : {"KES,X\n", ""}) {
    TcpPeer peer;
    ToolProcess child = tool({"doctor", peer.resource(), "--timeout", answer.empty() ? "50" : "600000"});
    peer.accept();
    EXPECT_TRUE(peer.clientClosed()) << "of a first look";
    peer.accept();
    EXPECT_EQ(peer.receive(6), "*IDN?\n");
    peer.send(answer);
    EXPECT_EQ(child.wait(), answer.empty() ? 1 : 0);
    expectContains(child.output(), answer.empty() ? "MEND  *IDN?: reading from " : "ok    *IDN?: " + answer);
  }
}

TEST(Tool, TheShellTakesLinesFromAPipe) {
  const std::string twice = "VOLT 5\n  # no message\n\nVOLT?\r\n.attr TMO_VALUE=50 TMO_VALUE\n";
  const struct {
    std::string input;
    std::string sent;
    Outcome outcome;
  } rows[] = {
      {twice, "VOLT 5\nVOLT?\n", {"5.0\n50\n"}},
      {"DISP \"what?\"\n.query V\n.quit\nW?\n", "DISP \"what?\"\nV\n", {"5.0\n"}},
      {".write A?\n.time\n.read\n.time\n", "A?\n", {"5.0\n", 0, " ms\n"}},
      {"A?\n.attr TMO_VALUE=50\n.read\nB\n", "A?\n", {"5.0\n", 1, "line 3: reading from "}},
      {".qurey x\n", "", {"", 2, "line 1: no operation is called '.qurey'. Did you mean .query?"}},
      {".attr TMO_VALEU\n", "", {"", 2, "line 1: no attribute is called 'TMO_VALEU'. Did you mean"}},
      {".stb\n", "", {"", 1, "line 1: reading the status byte of"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.input);
    TcpPeer peer;
    ToolProcess child = tool({"shell", peer.resource(), kNoHurry}, row.input);
    peer.accept();
    EXPECT_EQ(peer.receive(row.sent.size()), row.sent);
    if (!row.sent.empty()) peer.send("5.0\n");
    expectOutcome(child, row.outcome);
  }
}

TEST(Tool, TheShellOnATerminalCompletesAndRemembers) {
  int terminal = -1;
  int child = -1;
  char name[100];
  ASSERT_EQ(openpty(&terminal, &child, name, nullptr, nullptr), 0);
  const std::string state = testing::TempDir() + "toolTest.state." + std::to_string(getpid());
  const std::string script = "export TERM=xterm XDG_STATE_HOME="s + state + "; exec \"$@\" <" + name + " 2>" + name;
  const auto type = [terminal](std::string_view keys) {
    EXPECT_EQ(write(terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  };
  std::string shown;
  ASSERT_EQ(fcntl(terminal, F_SETFL, O_NONBLOCK), 0);
  const auto isShown = [&](const std::string& words) {
    return eventually([&] {
      std::array<char, 1000> piece{};
      if (const ssize_t size = read(terminal, piece.data(), piece.size()); size > 0) shown.append(piece.data(), size);
      return shown.find(words) != std::string::npos;
    });
  };
  for (const std::string keys : {"half a mess\x03.at\ttmo_v\t\n.nonsense\n\x04", "\x10\x10\n.quit\n"}) {
    TcpPeer peer;
    ToolProcess shell = tool({"shell", peer.resource(), "-t", "1234"}, "", script);
    shown.clear();
    EXPECT_TRUE(isShown(peer.resource() + "> "));
    type(keys);
    EXPECT_TRUE(isShown(keys.starts_with("half") ? "no operation is called '.nonsense'" : "attr TMO_VALUE")) << shown;
    EXPECT_EQ(shell.wait(), 0);
    EXPECT_EQ(shell.output(), "1234\n");
  }
  std::filesystem::remove_all(state);
  close(child);
  close(terminal);
}

TEST(Tool, BenchTellsHowLongQueriesTake) {
  TcpPeer peer;
  ToolProcess child = tool({"bench", peer.resource(), "?", "-n", "4", "--json", kNoHurry});
  peer.accept();
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(peer.receive(2), "?\n");
    // The third to be counted is slower than what others may be by chance.
    if (i == 3) usleep(50'000);
    peer.send("1\n");
  }
  EXPECT_EQ(child.wait(), 0) << child.error();
  const auto json = nlohmann::json::parse(child.output());
  EXPECT_EQ(json["count"], 4);
  EXPECT_GE(json["longest_ms"], 50.0);
  EXPECT_EQ(json["percentile99_ms"], json["longest_ms"]);
  EXPECT_LE(json["shortest_ms"], json["median_ms"]);
  size_t sum = 0;
  for (const auto& bin : json["histogram"]) sum += bin["count"].get<size_t>();
  EXPECT_EQ(sum, 4U);
  EXPECT_GE(json["histogram"].back()["to_ms"], json["longest_ms"]);
  TcpPeer silent;
  ToolProcess failing = tool({"bench", silent.resource(), "-t", "30"});
  expectOutcome(failing, {"", 1, "after 0 queries: reading from "});
}

TEST(Tool, JsonWhereverThereIsAnAnswer) {
  const struct {
    Words command;
    std::string answer;
    std::string json;  ///< without blanks, line ends and the resource name
    int exitStatus = 0;
  } rows[] = {
      {{"query", "?"}, "1.5\r\n", R"("answer":"1.5","bytes":5,"complete":true})"},
      {{"read"}, "#11\n\n", R"("hex":"2331310A0A","bytes":5,"complete":true})"},
      {{"read"}, "\xFF\n", R"("hex":"FF0A","bytes":2,"complete":true})"},
      {{"read", "-t", kLimit}, "1.5", R"("answer":"1.5","bytes":3,"complete":false})", 4},
      {{"attr", "TMO_VALUE", "IO_PROT"},
       "",
       R"("attributes":{"VI_ATTR_TMO_VALUE":600000,"VI_ATTR_IO_PROT":"VI_PROT_NORMAL"}})"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.json);
    TcpPeer peer;
    Words command = row.command;
    command.insert(command.begin() + 1, {peer.resource(), kNoHurry, "--json"});
    ToolProcess child = tool(command);
    peer.accept();
    if (row.command[0] == "query") {
      EXPECT_EQ(peer.receive(2), "?\n");
    }
    peer.send(row.answer);
    EXPECT_EQ(child.wait(), row.exitStatus) << child.error();
    std::string json = child.output();
    std::erase_if(json, [](char c) { return c == ' ' || c == '\n'; });
    EXPECT_EQ(json, R"({"resource":")" + peer.resource() + "\"," + row.json);
  }
  ToolProcess status = tool({"--json", "status", "0"});
  EXPECT_EQ(status.wait(), 0);
  expectContains(status.output(), R"("name": "VI_SUCCESS")");
}

TEST(Tool, NoWaitForAHostThatDoesNotAnswer) {
  // A full backlog swallows what would be the next connection.
  const TcpPeer full(0);
  std::vector<int> connections;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(full.port());
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  for (int i = 0; i < 8; ++i) {
    connections.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    connect(connections.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  }
  ToolProcess child = tool({"read", full.resource(), "--connect-timeout", "200"});
  expectOutcome(child, {"", 1, "no connection to port " + std::to_string(full.port()) + " of 127.0.0.1 within 200 ms"});
  for (const int connection : connections) close(connection);
}

TEST(Tool, DropsWhatATcpInstrumentSentBefore) {
  TcpPeer peer;
  ToolProcess child = tool({"query", peer.resource(), "?", kNoHurry, "--settle", "1500"});
  peer.accept();
  peer.send("old\n");
  EXPECT_EQ(peer.receive(2), "?\n");
  peer.send("new\n");
  expectOutcome(child, {"new\n", 0, "dropped 4 bytes that " + peer.resource()});
}

TEST(Tool, WritesAFileAndShowsHowFarItIs) {
  const std::string file = testing::TempDir() + "toolTest." + std::to_string(getpid());
  std::ofstream(file) << "what was there before";
  ToolProcess failing = tool({"status", "nonsense", "-o", file});
  EXPECT_EQ(failing.wait(), 2);
  EXPECT_EQ(contentsOf(file), "what was there before");

  int terminal = -1;
  int child = -1;
  char name[100];
  ASSERT_EQ(openpty(&terminal, &child, name, nullptr, nullptr), 0);
  TcpPeer peer;
  ToolProcess reading = tool({"read", peer.resource(), kNoHurry, "-o", file}, "", R"(exec "$@" 2>)"s + name);
  peer.accept();
  std::string sent;
  std::string shown;
  ASSERT_EQ(fcntl(terminal, F_SETFL, O_NONBLOCK), 0);
  for (std::array<char, 100> piece{}; shown.find("B/s") == std::string::npos;) {
    peer.send("x");
    sent += 'x';
    if (const ssize_t size = read(terminal, piece.data(), piece.size()); size > 0) shown.append(piece.data(), size);
  }
  peer.send("\n");
  EXPECT_EQ(reading.wait(), 0);
  EXPECT_EQ(reading.output(), "");
  EXPECT_EQ(contentsOf(file), sent + '\n');
  close(child);
  close(terminal);
  unlink(file.c_str());
}

TEST(Tool, OutputThatCannotBeWritten) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  const std::string brokenPipe = ">&" + std::to_string(ends[1]);
  const struct {
    std::string script;
    int exitStatus;
    std::string complaint;
  } rows[] = {
      {R"(exec "$@" >/dev/full)", 1, "qvvisa: standard output: No space left on device\n"},
      {R"(exec "$@" >&-)", 1, "qvvisa: standard output: Bad file descriptor\n"},
      {R"(exec "$@" )" + brokenPipe, -SIGPIPE, ""},
      {R"(trap '' PIPE; exec "$@" )" + brokenPipe, 1, "qvvisa: standard output: Broken pipe\n"},
  };
  for (const auto& row : rows) {
    ToolProcess child = tool({"status", "0"}, "", row.script);
    EXPECT_EQ(child.wait(), row.exitStatus);
    EXPECT_EQ(child.error(), row.complaint);
  }
  close(ends[1]);
}

}  // namespace
