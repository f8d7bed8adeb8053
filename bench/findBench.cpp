/// What a search costs on top of the enumeration that it needs, on buses of 250 and 2,000 interfaces of the scripted
/// libusb.
#include "QVvisaFind.h"
#include "QVvisaLock.h"
#include "QVvisaPrivate.h"
#include "ratio.h"
#include "support/libusbDouble.h"

#include <string>

namespace {

/// A bus of instruments with one interface each; the library is up.
class Bus : public UsbTest {
public:
  explicit Bus(int interfaces) {
    for (int i = 0; i < interfaces; ++i) bus.add(instrument(("SN" + std::to_string(i)).c_str()));
    ViSession rm = 0;
    QV_viOpenDefaultRM(&rm);
  }
  ~Bus() override { QVvisa_closeLibrary(); }

  /// The double notes every call.
  void forgetCalls() { bus.calls.clear(); }
  void TestBody() override {}
};

void enumeration(benchmark::State& state) {
  Bus bus(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    const CoreLock lock;
    QVvisa_devList_t lists{};
    if (QVvisa_GetAllDevIntf(&lists) != VI_SUCCESS) state.SkipWithError("nothing enumerated");
    QVvisa_closeDevIntfListElemUsb(&lists.usbList);
    QVvisa_closeDevIntfListElemAsrl(&lists.asrlList);
    bus.forgetCalls();
  }
}

void search(benchmark::State& state) {
  Bus bus(static_cast<int>(state.range(0)));
  char expression[] = "?*::INSTR";
  char desc[VI_FIND_BUFLEN];
  for (auto _ : state) {
    ViUInt32 count = 0;
    QV_viFindRsrc(QV_DEFAULT_RM_SESSION_HANDLE, expression, nullptr, &count, desc);
    if (count < static_cast<ViUInt32>(state.range(0))) state.SkipWithError("not all found");
    bus.forgetCalls();
  }
}

BENCHMARK(enumeration)->Arg(2000)->Unit(benchmark::kMillisecond);
BENCHMARK(search)->Arg(250)->Arg(2000)->Unit(benchmark::kMillisecond);

/// A search may take half as long again as its enumeration.
constexpr double kAtMost = 1.5;
/// Eight times the interfaces may take eight times as long, and a quarter more for what the caches no longer hold.
constexpr double kLinear = 8 * 1.25;

}  // namespace

int main(int argc, char** argv) {
  return runRatios(argc, argv,
                   {{"enumeration/2000", "search/2000", 1 / kAtMost}, {"search/250", "search/2000", 1 / kLinear}});
}
