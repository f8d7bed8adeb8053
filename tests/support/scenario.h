/// A whole use of the library, for tests that let something fail in it: start, open on each bus, find, time limits,
/// queries, attributes, close, stop.
#pragma once

#include "QVvisa.h"
#include "testing.h"

#include <map>
#include <set>

/// What the operations of a run answered.
struct Outcome {
  const char* operation;
  ViStatus status;
};
using Outcomes = std::vector<Outcome>;

constexpr ViStatus kTcpFailure = -1;

/// Whether each operation did its work.
inline bool allSucceeded(const Outcomes& outcomes) {
  return std::all_of(outcomes.begin(), outcomes.end(), [](const Outcome& o) { return o.status == VI_SUCCESS; });
}

/// The first answer that the operation isn't documented to give, or null.
inline const Outcome* undocumented(const Outcomes& outcomes) {
  // Of the USB library's failures, which each operation on USB can have.
  static const std::set<ViStatus> usb = {VI_SUCCESS_DEV_NPRESENT,
                                         VI_ERROR_INV_PARAMETER,
                                         VI_ERROR_NPERMISSION,
                                         VI_ERROR_RSRC_NFOUND,
                                         VI_ERROR_RSRC_BUSY,
                                         VI_ERROR_TMO,
                                         QVVI_ERR_CTL_TRANSFER_STALLED,
                                         VI_ERROR_QUEUE_OVERFLOW,
                                         QVVI_LIBUSB_INTERRUPTED,
                                         VI_ERROR_ALLOC,
                                         VI_ERROR_NSUP_MODE,
                                         VI_ERROR_SYSTEM_ERROR,
                                         VI_WARN_UNKNOWN_STATUS,
                                         VI_ERROR_IO};
  static const std::map<std::string_view, std::set<ViStatus>> others = {
      {"start", {}},
      {"open", {QVVI_SETUPDI_ERR}},
      {"find", {QVVI_SETUPDI_ERR}},
      {"next", {}},
      {"set", {kTcpFailure, VI_ERROR_NSUP_MODE}},
      {"get", {VI_WARN_NULL_OBJECT}},
      {"write", {kTcpFailure}},
      {"read", {kTcpFailure, VI_ERROR_RESP_PENDING, VI_ERROR_INV_MODE}},
      {"status byte", {}},
      {"clear", {QVVI_NEEDS_EQUIVALENT}}};
  for (const Outcome& o : outcomes) {
    const auto more = others.find(o.operation);
    const bool canFail = more != others.end() && (usb.contains(o.status) || more->second.contains(o.status));
    if (o.status != VI_SUCCESS && !canFail) return &o;
  }
  return nullptr;
}

class Scenario {
public:
  /// Runs it over the resources of these names; a session that can't be opened is left out.
  static Outcomes run(const std::vector<std::string>& names, ViUInt32 limit_ms) {
    Scenario scenario;
    ViSession rm = 0;
    if (scenario.note("start", QV_viOpenDefaultRM(&rm)) != VI_SUCCESS) return scenario.outcomes_;
    std::vector<std::pair<std::string, ViSession>> sessions;
    for (std::string name : names) {
      ViSession vi = 0;
      if (scenario.note("open", QV_viOpen(rm, name.data(), VI_NO_LOCK, 0, &vi)) == VI_SUCCESS) {
        sessions.emplace_back(name, vi);
      }
    }
    scenario.find(rm);
    for (const auto& [name, vi] : sessions) scenario.use(name, vi, limit_ms);
    for (const auto& [name, vi] : sessions) scenario.note("close", QV_viClose(vi));
    scenario.note("close", QV_viClose(rm));
    return scenario.outcomes_;
  }

private:
  ViStatus note(const char* operation, ViStatus status) {
    outcomes_.push_back({operation, status});
    return status;
  }
  void find(ViSession rm) {
    ViFindList list = 0;
    ViUInt32 count = 0;
    char name[VI_FIND_BUFLEN];
    std::string expression = "?*INSTR{VI_ATTR_MANF_ID == 0x7C5A || (!(VI_ATTR_ASRL_BAUD <= 9600))}";
    if (note("find", QV_viFindRsrc(rm, expression.data(), &list, &count, name)) != VI_SUCCESS) return;
    if (count > 1) note("next", QV_viFindNext(list, name));
    note("close", QV_viClose(list));
  }
  void use(const std::string& name, ViSession vi, ViUInt32 limit_ms) {
    char text[MAX_BUF_SIZE_ATTR];
    note("set", QV_viSetAttribute(vi, VI_ATTR_TMO_VALUE, limit_ms));
    if (name.starts_with("ASRL")) {
      note("set", QV_viSetAttribute(vi, VI_ATTR_ASRL_BAUD, 19200));
      note("get", QV_viGetAttribute(vi, VI_ATTR_ASRL_AVAIL_NUM, text));
    }
    query(vi);
    for (const ViAttr attribute : {VI_ATTR_INTF_TYPE, VI_ATTR_SEND_END_EN, VI_ATTR_TMO_VALUE}) {
      note("get", QV_viGetAttribute(vi, attribute, text));
    }
    if (!name.starts_with("USB")) return waitInVain(vi);
    ViUInt16 status = 0;
    note("status byte", QV_viReadSTB(vi, &status));
    note("clear", QV_viClear(vi));
  }
  /// Nothing comes, unless it is a late answer to an earlier use.
  void waitInVain(ViSession vi) {
    ViByte nothing = 0;
    note("set", QV_viSetAttribute(vi, VI_ATTR_TMO_VALUE, 1));
    const ViStatus status = QV_viRead(vi, &nothing, 1, nullptr);
    note("read", status == VI_ERROR_TMO || status == kTcpFailure ? VI_SUCCESS : status);
  }
  void query(ViSession vi) {
    ViByte answer[16] = {};
    ViUInt32 count = 0;
    ViByte question[] = {'*', 'I', 'D', 'N', '?', '\n'};
    if (note("write", QV_viWrite(vi, question, sizeof question, &count)) != VI_SUCCESS || count != sizeof question)
      return;
    if (note("read", QV_viRead(vi, answer, sizeof answer, &count)) != VI_SUCCESS) return;
    EXPECT_EQ(std::string(reinterpret_cast<char*>(answer), count).substr(0, 3), count == 0 ? "" : "42\n");
  }

  Outcomes outcomes_;
};
