/// The command-line tool, run as a user runs it, against a TCP server of the test.
#include "support/tcpPeer.h"
#include "support/testing.h"
#include "support/toolProcess.h"

#include <pty.h>

namespace {

using namespace std::string_literals;
using Words = std::vector<std::string>;

/// Longer than any test may take, so that an answer which is waited for in vain shows.
const std::string kNoHurry = "--timeout=600000";
/// What the library prints while it connects.
const std::string kConnects = "AF_INET (IPv4)\n\tIPv4 address 127.0.0.1\n";

ToolProcess tool(Words command, const std::string& input = "", const std::string& script = R"(exec "$@")") {
  command.insert(command.begin(), QVVISA_TOOL);
  return ToolProcess(script, command, input);
}

void expectContains(const std::string& text, const std::string& part) {
  EXPECT_PRED_FORMAT2(testing::IsSubstring, part, text);
}

TEST(Tool, TalksAsToldAndPrintsTheAnswerAndNothingElse) {
  const std::string kEnd = "instead of a piece: the end of the connection";
  const struct {
    Words command;
    std::string sent;
    Words pieces;
    std::string printed;
    std::string complaint = "";
    std::string input = "";
  } rows[] = {
      {{"query", "*IDN?"}, "*IDN?\n", {"KES", "TRIX,", "SIM-1", "\n"}, "KESTRIX,SIM-1\n"},
      {{"query", "LIST?"}, "LIST?\n", {"several\nlines", " in all\n"}, "several\nlines in all\n"},
      {{"query", "HEX?"}, "HEX?\n", {"#H1F\n"}, "#H1F\n"},
      {{"query", R"(A\x00\t\xfF\\)"}, "A\0\t\xFF\\\n"s, {"ok\n"}, "ok\n"},
      {{"query", "*IDN?", "-T", R"(\r\n)"}, "*IDN?\r\n", {"a\n", "b\r", "\n"}, "a\nb\r\n"},
      {{"query", "*IDN?", "--termination", ";"}, "*IDN?;", {"no line end;"}, "no line end;\n"},
      {{"query", "CURV?"}, "CURV?\n", {"#15a\0\n"s, "\nb"}, "#15a\0\n\nb"s},
      {{"query", "CURV?"}, "CURV?\n", {"#", "15a\0b"s, "\nc\n"}, "#15a\0b\nc"s},
      {{"query", "CURV?", "-T", "none"}, "CURV?", {"#10"}, "#10"},
      {{"query", "CURV?"}, "CURV?\n", {"#11\n;5", "\n"}, "#11\n;5\n"},
      {{"query", "RAW?", "--count", "5"}, "RAW?\n", {"ab\n", "cdefg\n"}, "ab\ncd"},
      {{"read"}, "", {"no line end", kEnd}, "no line end\n"},
      {{"read"}, "", {kEnd}, "", "no answer came"},
      {{"read"}, "", {"#15ab\n", kEnd}, "#15ab\n", "only part of a block came"},
      {{"read"}, "", {"#9", kEnd}, "#9", "only part of a block came"},
      {{"read", "--count", "9"}, "", {"abc\n", kEnd}, "abc\n", "4 of 9 bytes came"},
      {{"write", "VOLT 5"}, "VOLT 5\n", {}, ""},
      {{"write", "VOLT 5", "--termination", "none"}, "VOLT 5", {}, ""},
      {{"write", "-"}, "a\\n\0b\n\n"s, {}, "", "", "a\\n\0b\n"s},
      {{"write", "-", "--termination=none"}, std::string(3'000'000, 'x'), {}, "", "", std::string(3'000'000, 'x')},
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
    for (const std::string& piece : row.pieces) piece == kEnd ? peer.halfClose() : peer.send(piece);
    EXPECT_EQ(child.wait(), row.complaint.empty() ? 0 : 1);
    EXPECT_EQ(child.output(), row.printed);
    const std::string complaint =
        "qvvisa: reading from " + peer.resource() + ": " + row.complaint + " before the connection was closed\n";
    EXPECT_EQ(child.error(), kConnects + (row.complaint.empty() ? "" : complaint));
  }
}

TEST(Tool, SerialPorts) {
  // The tool's end is held open so that the line survives between its calls.
  int line = -1;
  int holder = -1;
  char name[100];
  ASSERT_EQ(openpty(&line, &holder, name, nullptr, nullptr), 0);
  setenv("QVVISA_SERIAL_PORTS", ("7="s + name).c_str(), 1);
  const struct {
    Words arguments;
    std::string sent;
    std::string answer;
    std::string printed;
  } rows[] = {
      {{}, "?\n", "text\n", "text\n"},
      {{}, "?\n", "#15a\n\0\nb"s, "#15a\n\0\nb"s},
      {{"--set", "ASRL_BAUD=9600", "--termination", ";"}, "?;", "a\nb;", "a\nb;\n"},
      {{"--count", "3"}, "?\n", "a\nb", "a\nb"},
      {{"--set", "TMO_VALUE=1000", "-T", "none"}, "?", "ended by the time limit\n", "ended by the time limit\n"},
  };
  for (const auto& row : rows) {
    Words command{"query", "ASRL7::INSTR", "?", kNoHurry};
    command.insert(command.end(), row.arguments.begin(), row.arguments.end());
    ToolProcess child = tool(command);
    std::string sent(row.sent.size(), '\0');
    for (char& byte : sent) EXPECT_EQ(read(line, &byte, 1), 1);
    EXPECT_EQ(sent, row.sent);
    EXPECT_EQ(write(line, row.answer.data(), row.answer.size()), static_cast<ssize_t>(row.answer.size()));
    EXPECT_EQ(child.wait(), 0) << child.error();
    EXPECT_EQ(child.output(), row.printed);
    tcflush(holder, TCIOFLUSH);
  }
  ToolProcess attribute = tool({"attr", "COM7::9600", "ASRL_BAUD", "ASRL_PARITY", "INTF_TYPE"});
  EXPECT_EQ(attribute.wait(), 0);
  EXPECT_EQ(attribute.output(), "9600\nVI_ASRL_PAR_NONE\nVI_INTF_ASRL\n");
  close(holder);
  close(line);
}

TEST(Tool, AnswersOrTellsWhyNot) {
  const TcpPeer peer;
  const TcpPeer refuses(TcpPeer::kDeaf);
  const std::string open = peer.resource();
  const std::string timeout = "VI_ERROR_TMO (0xBFFF0015): Timeout expired before operation completed.\n";
  const std::string setupdi = "QVVI_SETUPDI_ERR (0xBFFF0204): A setupdi library (Windows) call returned an error.\n";
  const std::string unsupported = "VI_ERROR_NSUP_OPER (0xBFFF0067)";
  const struct {
    Words arguments;
    int exitStatus;
    std::string text;  ///< all of an answer, part of a complaint
    std::string printed = "";
  } rows[] = {
      {{"status", "0xbfff0015"}, 0, timeout},
      {{"status", "-1073807339"}, 0, timeout},
      {{"status", "3221159957"}, 0, timeout},
      {{"status", "VI_ERROR_TMO"}, 0, timeout},
      {{"status", "error_tmo"}, 0, timeout},
      {{"status", "-1"}, 0, "0xFFFFFFFF: The status code passed to the operation could not be interpreted.\n"},
      {{"status", "QVVI_SETUPDI_ERR"}, 0, setupdi},
      {{"status", "0x12345678"}, 0, "0x12345678: The status code passed to the operation could not be interpreted.\n"},
      {{"attr", open, "VI_ATTR_TMO_VALUE"}, 0, "3000\n"},
      {{"attr", open, "tmo_value=1234", "TMO_VALUE"}, 0, "1234\n"},
      {{"attr", open, "0x3FFF001A=0xFFFFFFFF", "1073676314"}, 0, "4294967295\n"},
      {{"attr", open, "INTF_TYPE", "IO_PROT", "TERMCHAR", "TRIG_ID", "SEND_END_EN", "RSRC_CLASS", "RSRC_MANF_ID"},
       0,
       "VI_INTF_TCPIP\nVI_PROT_NORMAL\n0x0A\nVI_TRIG_SW\nVI_TRUE\nSOCKET\n0x7C5A\n"},
      {{"query", refuses.resource(), "*IDN?"},
       1,
       kConnects + "connect function failed with error: " + std::to_string(ECONNREFUSED) + "\nqvvisa: opening " +
           refuses.resource() + ": VI_ERROR_SYSTEM_ERROR (0xBFFF0000): Unknown system error (miscellaneous error).\n"},
      {{"read", "GPIB0::5::INSTR"}, 1, "opening GPIB0::5::INSTR: VI_ERROR_INV_RSRC_NAME (0xBFFF0012): Invalid"},
      {{"read", open, "-t", "30"}, 1, "no answer came within 30 ms: VI_ERROR_TMO (0xBFFF0015): Timeout"},
      {{"stb", open}, 1, unsupported},
      {{"clear", open}, 1, unsupported},
      {{"ren", open, "GPIB_REN_ASSERT"}, 1, unsupported},
      {{"control-in", open, "0xA1", "7", "0", "0", "24"}, 1, unsupported},
      {{"control-out", open, "0x21", "7", "0", "0", "01 ff"}, 1, unsupported},
      {{"attr", open, "VI_ATTR_TCPIP_DEVICE_NAME"}, 1, "VI_ERROR_NSUP_ATTR (0xBFFF001D)"},
      {{"attr", open, "TERMCHAR=13"}, 1, "setting VI_ATTR_TERMCHAR of " + open + ": VI_ERROR_ATTR_READONLY"},
      {{"attr", open, "VOLTAGE"}, 2, "no attribute is called 'VOLTAGE'"},
      {{"read", open, "--set", "TMO_VALUE"}, 2, "no value for TMO_VALUE"},
      {{"read", open, "--set", "TMO_VALUE=4294967296"}, 2, "not a value of TMO_VALUE"},
      {{"write", open, R"(\q)"}, 2, "not an escape"},
      {{"write", open, R"(\x1)"}, 2, "not an escape"},
      {{"write", open, "x", "--termination", R"(\q)"}, 2, "not an escape"},
      {{"ren", open, "7x"}, 2, "not a mode of remote enable"},
      {{"control-in", open, "0xA1", "7", "0", "65536", "24"}, 2, "not a number from 0 to 65535"},
      {{"control-out", open, "0x21", "7", "0", "0", "1"}, 2, "not pairs of hexadecimal digits"},
      {{"status", "VI_ERROR_NONSENSE"}, 2, "neither a status code nor the name of one"},
      {{"find", "no such thing"}, 1, "nothing matches 'no such thing': VI_ERROR_RSRC_NFOUND (0xBFFF0011)"},
      {{"find", "--json", "no such thing"}, 1, "VI_ERROR_RSRC_NFOUND", "[]\n"},
      {{}, 2, "subcommand"},
      {{"measure"}, 2, "--help"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.arguments));
    ToolProcess child = tool(row.arguments);
    EXPECT_EQ(child.wait(), row.exitStatus);
    EXPECT_EQ(child.output(), row.exitStatus == 0 ? row.text : row.printed);
    if (row.exitStatus != 0)
      expectContains(child.error(), row.text);
    else
      EXPECT_EQ(child.error(), row.arguments[0] == "attr" ? kConnects : "");
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
