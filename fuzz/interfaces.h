/// The interfaces that the fuzzed searches see.
#pragma once

#include "QVvisaInterfaces.h"

#include <array>
#include <cstdint>
#include <string_view>

/// Three USB interfaces and two serial ports, fresh for each search.
struct Interfaces {
  /// @param serial  the serial number of the last USB interface, cut at 127 characters
  explicit Interfaces(std::string_view serial) {
    serial.substr(0, sizeof usb[2].sn - 1).copy(reinterpret_cast<char*>(usb[2].sn), sizeof usb[2].sn - 1);
  }
  Interfaces(const Interfaces&) = delete;
  Interfaces& operator=(const Interfaces&) = delete;

  std::array<QVvisa_devIntfUsb_t, 3> usb = {{{0x7C5A, 0x42, 0, 254, 3, 1, {'A', '1', '2', '3', '4'}, 0, 0, 0},
                                             {0x7C5A, 0x43, 1, 8, 6, 80, {}, 0, 0, 0},
                                             {0x7C5A, 0xFFFF, 255, 254, 3, 1, {}, 0, 0, 0}}};
  std::array<QVvisa_devIntfAsrl_t, 2> asrl = {{{3, 0x1234, 0x5678, 115200, 0, 0, 0}, {1000, 0, 0, 115200, 0, 0, 0}}};
  QVvisa_devIntfListUsb_t usbList = {static_cast<int>(usb.size()), usb.data(), 0};
  QVvisa_devIntfListAsrl_t asrlList = {static_cast<int>(asrl.size()), asrl.data(), 0};
  QVvisa_devList_t lists = {&usbList, &asrlList};
};
