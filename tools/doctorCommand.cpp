/// doctor.
#include "commandLine.h"
#include "doctor.h"

#include <nlohmann/json.hpp>

#include <memory>

namespace {

struct Arguments {
  std::string resource;
  bool repair = false;
};

std::string lineOf(const Finding& finding) {
  return (finding.isOk ? "ok    " : "MEND  ") + finding.subject + ": " + finding.state +
         (finding.advice.empty() ? "" : "; " + finding.advice) + '\n';
}

nlohmann::ordered_json jsonOf(const Finding& finding) {
  return {{"ok", finding.isOk},
          {"subject", finding.subject},
          {"state", finding.state},
          {"advice", finding.advice.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(finding.advice)}};
}

Answer examine(const Arguments& arguments, const CommandLine& line) {
  const bool isJson = line.options().json;
  nlohmann::ordered_json findings = nlohmann::ordered_json::array();
  size_t faults = 0;
  const Report report = [&](const Finding& finding) {
    faults += finding.isOk ? 0 : 1;
    findings.push_back(jsonOf(finding));
    if (!isJson) line.output().write(lineOf(finding));
  };
  if (arguments.resource.empty()) {
    examineMachine(arguments.repair, report);
  } else {
    examineResource(arguments.resource, line.options(), arguments.repair, report);
  }
  Answer answer;
  if (isJson) answer.output = textOf({{"ok", faults == 0}, {"findings", findings}});
  if (faults > 0) {
    answer.flaw = std::to_string(faults) + (faults == 1 ? " thing" : " things") + " to mend";
    answer.status = kFailed;
  }
  return answer;
}

}  // namespace

void addDoctorCommand(CommandLine& line) {
  const auto arguments = std::make_shared<Arguments>();
  CLI::App* command = line.add("doctor", "Tell what stands in the way of instruments, and what to do about it",
                               [&line, arguments] { return examine(*arguments, line); });
  addArgument(command, "RSRC", arguments->resource,
              "Resource name of one instrument, which is asked who it is; all USB instruments and serial ports if left "
              "out, without talking to any");
  command->add_flag("--repair", arguments->repair,
                    "Give USB interfaces that a killed program left without the kernel's driver back to it");
  command->footer(
      "Each line begins with ok, or with MEND and says what to do. Exit status 1 if there is such a line.\n\n" +
      command->get_footer());
}
