#include "QVvisaBackends.h"

const QVvisa_backend_t* QVvisa_backendOf(const QVvisa_device_t* pdev) {
  if (!pdev) return nullptr;
  for (const QVvisa_backend_t* backend : QVvisa_backends()) {
    if (backend->present(pdev)) return backend;
  }
  return nullptr;
}
