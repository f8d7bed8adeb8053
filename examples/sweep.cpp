// Steps a power supply through some voltages and prints what it measures at each. Argument: its resource name; without
// one, the first USB instrument that answers.
#include <QVvisa.hpp>

#include <cstdlib>
#include <iostream>
#include <stdexcept>

namespace {

qvvisa::Session openFirst(qvvisa::ResourceManager& manager) {
  for (const std::string& name : manager.find("USB?*INSTR")) {
    std::error_code error;
    qvvisa::Session session = manager.open(name, error);
    if (!error) return session;
    std::cerr << name << ": " << error.message() << '\n';
  }
  throw std::runtime_error("no USB instrument can be opened");
}

void sweep(qvvisa::Session& supply) {
  for (int step = 0; step <= 4; ++step) {
    const std::string volts = std::to_string(0.5 * step);
    supply.write("VOLT " + volts);
    std::cout << volts << " V set, " << supply.query("MEAS:VOLT?") << " V measured\n";
  }
  const std::string error = supply.query("SYST:ERR?");
  if (std::atoi(error.c_str()) != 0) throw std::runtime_error(supply.name() + " reports " + error);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    qvvisa::ResourceManager manager;
    qvvisa::Session supply = argc > 1 ? manager.open(argv[1]) : openFirst(manager);
    sweep(supply);
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
