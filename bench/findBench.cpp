/// What a search costs on top of the enumeration that it needs, on buses of 250 and 2,000 interfaces of the scripted
/// libusb, and how much longer than a plain one a hostile search can make it.
#include "QVvisaFind.h"
#include "QVvisaLock.h"
#include "QVvisaPrivate.h"
#include "hostileExpression.h"
#include "ratio.h"
#include "support/libusbDouble.h"

#include <string>

namespace {

/// Every second instrument has a serial number of the greatest length.
std::string serial(int number) {
  std::string text = "SN" + std::to_string(number);
  if (number % 2 == 1) text.resize(MAX_BUF_SIZE_SN - 2, '7');
  return text;
}

/// A bus of instruments with one interface each; the library is up.
class Bus : public UsbTest {
public:
  explicit Bus(int interfaces) {
    for (int i = 0; i < interfaces; ++i) bus.add(instrument(serial(i).c_str()));
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

void searchFor(benchmark::State& state, std::string expression, ViUInt32 expected) {
  Bus bus(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    ViUInt32 count = 0;
    char desc[VI_FIND_BUFLEN];
    QV_viFindRsrc(QV_DEFAULT_RM_SESSION_HANDLE, expression.data(), nullptr, &count, desc);
    if (count < expected) state.SkipWithError("not all found");
    bus.forgetCalls();
  }
}

void search(benchmark::State& state) {
  searchFor(state, "?*::INSTR", static_cast<ViUInt32>(state.range(0)));
}

void hostile(benchmark::State& state) {
  static const std::string worst = [] {
    std::vector<std::string> names;
    for (int i = 17; i < 19; ++i) names.push_back("USB0::0x7C5A::0x0042::" + serial(i) + "::INSTR");
    const std::string found = HostileExpressions(names).find(std::chrono::seconds(5));
    std::printf("hostile expression: %s\n", found.c_str());
    return found;
  }();
  searchFor(state, worst, 0);
}

/// The attribute part of the greatest length that takes the most steps, as far as is known.
void nested(benchmark::State& state) {
  const std::string brackets(2030, '('), comparison = "254==VI_ATTR_USB_CLASS";
  searchFor(state, "?*{" + brackets + comparison + std::string(brackets.size(), ')') + "}",
            static_cast<ViUInt32>(state.range(0)));
}

BENCHMARK(enumeration)->Arg(2000)->Unit(benchmark::kMillisecond);
BENCHMARK(search)->Arg(250)->Arg(2000)->Unit(benchmark::kMillisecond);
BENCHMARK(hostile)->Arg(2000)->Unit(benchmark::kMillisecond);
BENCHMARK(nested)->Arg(250)->Unit(benchmark::kMillisecond);

/// A search may take half as long again as its enumeration.
constexpr double kAtMost = 1.5;
/// Eight times the interfaces may take eight times as long, and a quarter more for what the caches no longer hold.
constexpr double kLinear = 8 * 1.25;
/// Whatever its expression, a search takes less than so many times as long as a plain one.
constexpr double kHostile = 50;

}  // namespace

int main(int argc, char** argv) {
  return runRatios(argc, argv,
                   {{"enumeration/2000", "search/2000", 1 / kAtMost},
                    {"search/250", "search/2000", 1 / kLinear},
                    {"search/2000", "hostile/2000", 1 / kHostile},
                    {"search/250", "nested/250", 1 / kHostile}});
}
