/// The texts of the status codes.
#pragma once

#include "QVvisa.h"
#include "export.h"

extern "C" {

struct QVvisa_statusDescr_t {
  ViStatus status;
  const char* description;
};

/// 105 codes in ascending order of their unsigned value, and an end row, recognised by its null description.
QVVISA_API extern const QVvisa_statusDescr_t gStatusDesc[106];
/// The text of a code without a row.
QVVISA_API extern const char gUnknownStatusDescr[];
}
