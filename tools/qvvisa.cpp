/// qvvisa, the command line to instruments.
#include "commandLine.h"
#include "interruption.h"

#include <iostream>
#include <sstream>

namespace {

int runTool(int argc, char** argv) {
  StandardOutput output;
  CommandLine commandLine(output);
  try {
    commandLine.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::ostringstream out;
    const int status = commandLine.explain(error, out, std::cerr);
    output.write(out.str());
    output.close();
    return status;
  }
  const Answer answer = commandLine.run();
  if (!answer.output.empty()) output.write(answer.output);
  output.close();
  if (!answer.flaw.empty()) std::cerr << "qvvisa: " << answer.flaw << '\n';
  return answer.status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return runTool(argc, argv);
  } catch (const Interrupted& interrupted) {
    endBy(interrupted.signal);
  } catch (const UsageError& error) {
    std::cerr << "qvvisa: " << error.what() << '\n';
    return kMisused;
  } catch (const std::exception& error) {
    std::cerr << "qvvisa: " << error.what() << '\n';
    return kFailed;
  }
}
