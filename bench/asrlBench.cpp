/// A mebibyte from a pseudo terminal through QV_viRead, which takes it byte by byte, against bare reads of 4 KiB.
/// Another process writes it.
#include "QVvisa.h"
#include "ratio.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t kSize = 1 << 20;

/// The master of a raw pseudo terminal, and a process that writes to it without end.
class Source {
public:
  Source() {
    grantpt(master_);
    unlockpt(master_);
    slavePath_ = ptsname(master_);
    // Keeps the line from hanging up between two openers.
    slave_ = open(slavePath_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings{};
    tcgetattr(slave_, &settings);
    cfmakeraw(&settings);
    tcsetattr(slave_, TCSANOW, &settings);
    writer_ = fork();
    if (writer_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      const std::vector<char> block(4096, 'x');
      while (write(master_, block.data(), block.size()) > 0) {
      }
      _exit(0);
    }
  }
  ~Source() {
    kill(writer_, SIGKILL);
    waitpid(writer_, nullptr, 0);
    close(slave_);
    close(master_);
  }
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  int slave() const { return slave_; }
  const std::string& path() const { return slavePath_; }

private:
  int master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  int slave_ = -1;
  std::string slavePath_;
  pid_t writer_ = -1;
};

void bareRead(benchmark::State& state) {
  const Source source;
  std::vector<char> buf(kSize);
  for (auto _ : state) {
    for (size_t got = 0; got < kSize;) {
      const ssize_t part = read(source.slave(), buf.data() + got, std::min<size_t>(4096, kSize - got));
      if (part <= 0) return state.SkipWithError("read failed");
      got += static_cast<size_t>(part);
    }
  }
}

void libraryRead(benchmark::State& state) {
  const Source source;
  setenv("QVVISA_SERIAL_PORTS", ("7=" + source.path()).c_str(), 1);
  char name[] = "ASRL7::INSTR";
  ViSession rm = 0;
  ViSession vi = 0;
  if (QV_viOpenDefaultRM(&rm) != VI_SUCCESS || QV_viOpen(rm, name, VI_NO_LOCK, 0, &vi) != VI_SUCCESS) {
    return state.SkipWithError("open failed");
  }
  QV_viSetAttribute(vi, VI_ATTR_ASRL_END_IN, VI_ASRL_END_NONE);
  std::vector<ViByte> buf(kSize);
  for (auto _ : state) {
    if (QV_viRead(vi, buf.data(), kSize, nullptr) != VI_SUCCESS) state.SkipWithError("read failed");
  }
  QV_viClose(vi);
}

BENCHMARK(bareRead)->Unit(benchmark::kMillisecond);
BENCHMARK(libraryRead)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  return runRatios(argc, argv, {{"bareRead", "libraryRead", 1 / 1.3}});
}
