/// Sessions of the standard's operations, for tests.
#pragma once

#include "QVvisa_std.h"
#include "support/tcpPeer.h"

/// How a read ended, and what it delivered.
using Read = std::pair<ViStatus, std::string>;

/// A session of the resource manager, which takes all of its sessions with it.
struct Manager : NonCopyable {
  Manager() { EXPECT_EQ(viOpenDefaultRM(&vi), VI_SUCCESS); }
  ~Manager() { viClose(vi); }
  ViSession vi = VI_NULL;
};

class StdSession : public testing::Test {
protected:
  void open(const std::string& name) {
    EXPECT_EQ(viOpen(manager_.vi, name.c_str(), VI_NO_LOCK, VI_TMO_IMMEDIATE, &vi_), VI_SUCCESS);
  }
  void set(ViAttr name, ViBusSize value) { EXPECT_EQ(viSetAttribute(vi_, name, value), VI_SUCCESS) << name; }
  template <typename T>
  T get(ViAttr name, ViSession vi = VI_NULL) {
    T value{};
    EXPECT_EQ(viGetAttribute(vi == VI_NULL ? vi_ : vi, name, &value), VI_SUCCESS) << name;
    return value;
  }
  Read read(ViUInt32 cnt) {
    std::string bytes(cnt, '?');
    ViUInt32 count = 77;
    const ViStatus status = viRead(vi_, reinterpret_cast<ViPBuf>(bytes.data()), cnt, &count);
    bytes.resize(count);
    return {status, bytes};
  }
  ViStatus write(const std::string& text) {
    return viWrite(vi_, reinterpret_cast<ViConstBuf>(text.data()), static_cast<ViUInt32>(text.size()), nullptr);
  }

  const Manager manager_;
  ViSession vi_ = VI_NULL;
};

class StdTcp : public StdSession {
protected:
  StdTcp() {
    open(peer_.resource());
    peer_.accept();
  }
  TcpPeer peer_;
};
