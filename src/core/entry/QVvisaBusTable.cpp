#include "QVvisaAsrl.h"
#include "QVvisaBackends.h"
#include "QVvisaTCPIP.h"
#include "QVvisaUSB.h"

namespace {

constexpr const QVvisa_backend_t* kBuses[] = {
    &QVvisa_usbBackend,
    &QVvisa_asrlBackend,
    &QVvisa_tcpipBackend,
};

}  // namespace

std::span<const QVvisa_backend_t* const> QVvisa_backends() {
  return kBuses;
}
