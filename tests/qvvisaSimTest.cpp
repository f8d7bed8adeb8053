/// The simulator as a user runs it, around the command-line tool and by itself.
#include "support/testing.h"
#include "support/toolProcess.h"

namespace {

const std::string kSim = QVVISA_SIM " ", kTool = QVVISA_TOOL " ";

/// How a shell command ended, and what it printed.
using Result = std::pair<int, std::string>;

Result run(const std::string& command) {
  // Programs with AddressSanitizer want its library in front of a preloaded one.
  setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
  unsetenv("QVVISA_SERIAL_PORTS");
  ToolProcess shell(command);
  const int status = shell.wait();
  return {status, shell.output()};
}

TEST(QvvisaSim, CommandFindsOneInstrumentOnEveryBus) {
  EXPECT_EQ(run(kSim + "--usb --idn-serial X1 -- sh -c '" + kTool + "query $QVVISA_SIM_USB *IDN?'"),
            Result(0, "KESTRIX,SIM-1,X1,1.0\n"));
  EXPECT_EQ(run(kSim + "--tcp --serial --usb -- sh -c '" + kTool + "query $QVVISA_SIM_USB \"VOLT 2;VOLT?\"; " + kTool +
                "query $QVVISA_SIM_SERIAL \"VOLT?;VOLT 3\"; " + kTool + "query $QVVISA_SIM_TCP VOLT?'"),
            Result(0, "2.000\n2.000\n3.000\n"));
}

TEST(QvvisaSim, ServesTheTool) {
  const std::string all = "USB0::0x7C5A::0x0042::A1234::INSTR\nUSB0::0x7C5A::0x0042::A1234::1::RAW\nASRL7::INSTR\n";
  // Another bus tells when the instrument has got the query.
  const auto inVain = [](const std::string& limit) {
    return "$T query $U FOO -t " + limit +
           " 2>/dev/null & until $T query $QVVISA_SIM_TCP SYST:ERR? | grep -q 113; "
           "do :; done; ";
  };
  const std::string giveUp = "kill $!; wait $! || echo $?; $T query $U *IDN?";
  // A script, where T is the tool and U the USB instrument, and all that it prints.
  const std::pair<std::string, std::string> rows[] = {
      {"$T find", all},
      {"$T find USB?*INSTR", all.substr(0, all.find('\n') + 1)},
      {"$T find -l | sed s,$UMOCKDEV_DIR,D, | tr -s \" \"",
       R"(RESOURCE VENDOR PRODUCT SERIAL NUMBER CLASS DEVICE
USB0::0x7C5A::0x0042::A1234::INSTR 0x7C5A KESTRIX 0x0042 SIM-1 A1234 USB488 Test and Measurement Device -
USB0::0x7C5A::0x0042::A1234::1::RAW 0x7C5A 0x0042 A1234 raw USB interface -
ASRL7::INSTR - named by QVVISA_SERIAL_PORTS - serial port D/serial
)"},
      {"$T find --json ?*::INSTR | sed s,$UMOCKDEV_DIR,D,",
       R"([
  {
    "resource": "USB0::0x7C5A::0x0042::A1234::INSTR",
    "vendorId": "0x7C5A",
    "productId": "0x0042",
    "serialNumber": "A1234",
    "manufacturer": "KESTRIX",
    "model": "SIM-1",
    "class": "USB488 Test and Measurement Device",
    "device": null,
    "description": null
  },
  {
    "resource": "ASRL7::INSTR",
    "vendorId": null,
    "productId": null,
    "serialNumber": null,
    "manufacturer": null,
    "model": null,
    "class": "serial port",
    "device": "D/serial",
    "description": "named by QVVISA_SERIAL_PORTS"
  }
]
)"},
      {"$T stb $U; $T write $U \"*CLS;*ESE 32;FOO\"; $T stb $U", "0x00\n0x24\n"},
      // An answer that nobody fetched is an error of the next query, unless it is cleared away.
      {"$T write $U *TST?; $T query $U SYST:ERR?", "-410,\"Query INTERRUPTED\"\n"},
      {"$T write $U *TST?; $T clear $U; $T query $U SYST:ERR?", "0,\"No error\"\n"},
      {"$T ren $U GPIB_REN_ASSERT; $T ren $U 0; $T attr $U TMO_VALUE -t 0", "0\n"},
      {"$T control-in $U 0xA1 7 0 0 16", "01 00 00 01 04 00 00 00 00 00 00 00 00 01 07 0F\n"},
      {"$T control-out $U 0x40 9 1 2 \"01 fF 4a\"; $T control-in $U 0xC0 9 1 2 4; $T control-in $U 0xC0 9 1 2 3 --raw",
       "01 FF 4A\n\x01\xFFJ"},
      // The longest answer, one byte more, and one so long that its rest stays in the instrument.
      {"$T query $U \"DATA:BLOC? 2029\" | wc -c", "2035\n"},
      {"$T query $U \"DATA:BLOC? 2030\" 2>&1 | grep -o \"2036 bytes\"; ! $T query $U \"DATA:BLOC? 4000\" 2>/dev/null; "
       "$T query $U *IDN? 2>&1 | grep -o \"qvvisa clear $U\"; $T clear $U; $T query $U *IDN?",
       "2036 bytes\nqvvisa clear USB0::0x7C5A::0x0042::A1234::INSTR\nKESTRIX,SIM-1,A1234,1.0\n"},
      // A query that waits for its answer in vain and is given up, with a time limit and without one.
      {inVain("0") + "$T query $U *IDN? 2>&1 | sed -n \"s/.*in use by.* qvvisa (process $!).*/in use/p\"; " + giveUp,
       "in use\n143\nKESTRIX,SIM-1,A1234,1.0\n"},
      {inVain("1000") + giveUp, "143\nKESTRIX,SIM-1,A1234,1.0\n"},
      {"P=; test $(id -u) != 0 || P=\"setpriv --bounding-set=-all\"; chmod 0 $UMOCKDEV_DIR/dev/bus/usb/001/002; "
       "$P $T query $U ? 2>&1 | grep -o \"no permission for /dev/bus/usb/001/002\"",
       "no permission for /dev/bus/usb/001/002\n"},
      {"$T query ${U%A1234*}Z::INSTR ? 2>&1 | grep -o \"another serial number, .*\"", "another serial number, A1234\n"},
      {"$T find \"usb?*\" 2>&1 | grep -o \"did you mean .*\"", "did you mean 'USB?*'? It matches 2\n"},
  };
  for (const auto& [script, printed] : rows) {
    EXPECT_EQ(
        run(kSim + "--usb --serial --tcp -- sh -c 'set -e; T=" QVVISA_TOOL "; U=$QVVISA_SIM_USB; " + script + "'"),
        Result(0, printed));
  }
}

TEST(QvvisaSim, EnvironmentNamesTheInstrument) {
  const std::string show = " -- sh -c 'echo $QVVISA_SERIAL_PORTS $QVVISA_SIM_SERIAL $QVVISA_SIM_USB'";
  EXPECT_EQ(run(kSim + "--usb --idn-serial Z" + show), Result(0, "USB0::0x7C5A::0x0042::Z::INSTR\n"));
  const std::string link = testing::TempDir() + "qvvisaSim." + std::to_string(getpid());
  EXPECT_EQ(run(kSim + "--serial " + link + show), Result(0, "7=" + link + " ASRL7::INSTR\n"));
  EXPECT_EQ(run("QVVISA_SERIAL_PORTS=17=/a,7=/b " + kSim + "--serial " + link + show),
            Result(0, "17=/a,7=/b,8=" + link + " ASRL8::INSTR\n"));
}

TEST(QvvisaSim, PassesOnHowTheCommandEnded) {
  const std::pair<const char*, int> rows[] = {{"--tcp -- sh -c 'exit 42'", 42},
                                              {"--tcp -- sh -c 'kill -9 $$'", 137},
                                              {"--tcp -- sh -c 'kill $PPID; exec sleep 60'", 143},
                                              {"--tcp -- /nonexistent", 127},
                                              {"", 1}};
  for (const auto& [arguments, status] : rows) EXPECT_EQ(run(kSim + arguments), Result(status, "")) << arguments;
  EXPECT_NE(run(kSim + "--tcp 65536").first, 0);
}

TEST(QvvisaSim, ServesUntilToldToStop) {
  const auto [status, output] = run("echo | " + kSim + "--tcp");
  EXPECT_EQ(output.substr(0, 19), "TCPIP0::127.0.0.1::");
  EXPECT_EQ(status, 0);
  const std::string fifo = testing::TempDir() + "qvvisaSim.fifo." + std::to_string(getpid());
  EXPECT_EQ(run("mkfifo " + fifo + "; " + kSim + "--usb >" + fifo + " & read -r name preload directory <" + fifo +
                "; rm " + fifo + "; env $preload $directory " + kTool + "query $name *IDN?; kill $!; wait $!"),
            Result(0, "KESTRIX,SIM-1,A1234,1.0\n"));
}

}  // namespace
