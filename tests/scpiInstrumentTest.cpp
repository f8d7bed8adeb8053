/// The simulated instrument by itself: its language, its status, and how sessions cut bytes into messages.
#include "scpiInstrument.h"
#include "support/testing.h"

namespace {

using qvsim::ScpiInstrument;
using qvsim::ScpiSession;

TEST(ScpiInstrument, Dialogues) {
  const std::pair<std::string, std::string> rows[] = {
      // Headers.
      {"*idn?\r\n", "KESTRIX,SIM-1,A1234,1.0\n"},
      {"  *TST? \n*OPC?", "0\n"},
      {"\n;\n \r\n", ""},
      {"syst:error:next?\n", "0,\"No error\"\n"},
      {"SYSTE:ERR?\n*IDN\nSYSTEM:ERR?;ERROR?\n", "-113,\"Undefined header\";-113,\"Undefined header\"\n"},
      {"SYST:ERR?;ERR?;*OPC?;ERR:NEXT?;ERR?;NEXT?\n",
       "0,\"No error\";0,\"No error\";1;0,\"No error\";-113,\"Undefined header\"\n"},
      // Settings.
      {"VOLT 1.5\nVOLT?;*RST;VOLT?\n", "1.500;0.000\n"},
      {"voltage\t+3E1;:Voltage?\n", "30.000\n"},
      {"VOLT 2;:MEAS:VOLT?;VOLT:DC?\n", "+1.999200E+00;+1.999200E+00\n"},
      {"VOLT 7\nVOLT 30.01;VOLT -0.1;VOLT 1E999\nVOLT?;:SYST:ERR?;ERR?;ERR?;ERR?\n",
       "7.000;-222,\"Data out of range\";-222,\"Data out of range\";-222,\"Data out of range\";0,\"No error\"\n"},
      {"VOLT;VOLT x;VOLT 1q;VOLT? 1;VOLT nan;:SYST:ERR?;ERR?;ERR?;ERR?;ERR?\n",
       "-109,\"Missing parameter\";-104,\"Data type error\";-131,\"Invalid suffix\";"
       "-108,\"Parameter not allowed\";-104,\"Data type error\"\n"},
      // Status.
      {"*ESR?\n*ESR?;*OPC;*WAI;*ESR?\n", "128\n0;1\n"},
      {"*CLS;FOO;VOLT 99;*ESR?\n", "48\n"},
      {"*CLS;FOO;*STB?;*CLS;*STB?\n", "4;16\n"},
      {"*CLS;*ESE 32;*ESE?;FOO;*STB?;*SRE 255;*SRE?;*STB?\n", "32;52;191;116\n"},
      {"*ESE 256;*SRE -1;*ESE?;*SRE?;:SYST:ERR?\n", "0;0;-222,\"Data out of range\"\n"},
      // Blocks.
      {"DATA:BLOCK? 0\nDATA:BLOC? 3\n", std::string("#10\n#13\0\1\2\n", 11)},
      {"DATA:BLOCK? 1E9;:SYST:ERR?\n", "-222,\"Data out of range\"\n"},
      // A message without an end is skipped.
      {std::string(ScpiSession::maximumMessage + 1, ' ') + "*IDN?\nSYST:ERR?\n", "-363,\"Input buffer overrun\"\n"},
  };
  for (const auto& [sent, received] : rows) {
    ScpiInstrument instrument;
    ScpiSession session(instrument, ScpiSession::Link::stream);
    session.feed(sent.substr(0, sent.size() / 2));
    session.feed(sent.substr(sent.size() / 2));
    EXPECT_EQ(session.take(SIZE_MAX), received) << sent.substr(0, 80);
  }
  const std::string pattern = ScpiInstrument::blockPattern(300);
  for (size_t i = 0; i < 300; ++i) EXPECT_EQ(static_cast<unsigned char>(pattern.at(i)), i % 256);
}

TEST(ScpiInstrument, FullErrorQueueSaysSo) {
  ScpiInstrument instrument;
  for (int i = 0; i < 20; ++i) instrument.reportError(-100);
  for (int i = 0; i < 15; ++i) EXPECT_EQ(instrument.execute("SYST:ERR?", false), "-100,\"Command error\"\n");
  EXPECT_EQ(instrument.execute("SYST:ERR?;ERR?", false), "-350,\"Queue overflow\";0,\"No error\"\n");
}

TEST(ScpiSession, MessagesEndWithTheirLastByteInterruptResponsesAndCanBeCleared) {
  ScpiInstrument instrument;
  ScpiSession session(instrument, ScpiSession::Link::message);
  session.feed("*IDN?", false);
  EXPECT_EQ(session.available(), 0U);
  session.feed("", true);
  EXPECT_EQ(session.statusByte(), qvsim::stb::messageAvailable);
  EXPECT_EQ(session.take(7), "KESTRIX");
  session.feed("*TST?\n", true);
  EXPECT_EQ(session.take(SIZE_MAX), "0\n");
  session.feed("SYST:ERR?", true);
  EXPECT_EQ(session.take(SIZE_MAX), "-410,\"Query INTERRUPTED\"\n");
  session.feed("*IDN?\nVOLT 3;FO");
  session.clear();
  session.feed("*TST?", true);
  EXPECT_EQ(session.take(SIZE_MAX), "0\n");
  EXPECT_EQ(instrument.voltage(), 0.0);
}

}  // namespace
