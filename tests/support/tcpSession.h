/// Sessions on a TCP peer, through the public operations.
#pragma once

#include "QVvisaPrivate.h"
#include "startLibrary.h"
#include "tcpPeer.h"
#include "testing.h"

#include <iostream>

/// A running library with a session open. What the library prints is kept out of the test's output unless that fails.
class TcpSession : public testing::Test {
protected:
  TcpSession() {
    testing::internal::CaptureStdout();
    rm_ = start();
    vi_ = open(VI_EXCLUSIVE_LOCK);
  }
  ~TcpSession() override {
    QVvisa_closeLibrary();
    EXPECT_FALSE(QVvisa_isUp());
    const std::string rest = testing::internal::GetCapturedStdout();
    if (HasFailure()) std::cerr << rest;
  }

  /// What was printed since the last call.
  static std::string printed() {
    std::string text = testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    return text;
  }
  ViStatus tryOpen(std::string name, ViSession* vi, ViAccessMode mode = VI_NO_LOCK) {
    return QV_viOpen(rm_, name.data(), mode, 0, vi);
  }
  ViSession open(ViAccessMode mode = VI_NO_LOCK) {
    ViSession vi = 0;
    EXPECT_EQ(tryOpen(peer_.resource(), &vi, mode), VI_SUCCESS);
    peer_.accept();
    return vi;
  }
  static void write(ViSession vi, std::string text) {
    ViUInt32 count = 77;
    EXPECT_EQ(QV_viWrite(vi, bytesOf(text), static_cast<ViUInt32>(text.size()), &count), VI_SUCCESS);
    EXPECT_EQ(count, text.size());
  }
  static std::string read(ViSession vi, ViUInt32 cnt = 100) {
    std::string buffer(cnt, 'x');
    ViUInt32 count = 77;
    EXPECT_EQ(QV_viRead(vi, bytesOf(buffer), cnt, &count), VI_SUCCESS);
    EXPECT_EQ(buffer.find_first_not_of('\0', count), std::string::npos) << "bytes behind the data";
    return buffer.substr(0, count);
  }
  static ViBuf bytesOf(std::string& text) { return reinterpret_cast<ViBuf>(text.data()); }

  TcpPeer peer_;
  ViSession rm_ = 0;
  ViSession vi_ = 0;
};
