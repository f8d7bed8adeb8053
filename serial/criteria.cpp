#include "DebugMalloc.h"
#include "QVlibserial.h"
#include "deliver.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>

namespace {

/// Bytes of every text of a criterion that are set, whatever the size of the field.
constexpr size_t kCriterionTextSize = 64;

/// The text of a field, which needs no NUL when it is full.
template <size_t size>
std::string_view textOf(const char (&field)[size]) {
  return {field, strnlen(field, size)};
}

}  // namespace

qv_status qvls_InitPortSrchCrit(qvlsPortSrchCrit_t* pPSC) {
  *pPSC = {};
  pPSC->comPort = QVLIBSERIAL_DEF_COMPORT;
  return QVLS_SUCCESS;
}

qv_status qvls_InitTblDevSrchCrit(qvlsTblPortSrchCrit_t** ppPortSrchCrit, int num) {
  if (!ppPortSrchCrit) return QVLS_ERR_INVAL_PARAM1;
  if (num < 0) return QVLS_ERR_INVAL_PARAM2;
  *ppPortSrchCrit = nullptr;
  auto* table = static_cast<qvlsTblPortSrchCrit_t*>(DEBUG_MALLOC(sizeof(qvlsTblPortSrchCrit_t)));
  if (!table) return QVLS_ERR_ALLOC;
  *table = {nullptr, num, QVLS_ONLY_CONNECTED};
  if (num > 0) {
    table->tbl = static_cast<qvlsPortSrchCrit_t*>(DEBUG_CALLOC(static_cast<size_t>(num), sizeof(qvlsPortSrchCrit_t)));
    if (!table->tbl) {
      qvls_CloseTblPortSrchCrit(&table);
      return QVLS_ERR_ALLOC;
    }
    std::for_each_n(table->tbl, num, [](qvlsPortSrchCrit_t& row) { qvls_InitPortSrchCrit(&row); });
  }
  *ppPortSrchCrit = table;
  return QVLS_SUCCESS;
}

qv_status qvls_CloseTblPortSrchCrit(qvlsTblPortSrchCrit_t** ppPortSrchCrit) {
  if (!ppPortSrchCrit) return QVLS_ERR_INVAL_PARAM1;
  if (!*ppPortSrchCrit) return QVLS_SUCCESS;
  DEBUG_FREE((*ppPortSrchCrit)->tbl);
  DEBUG_FREE(*ppPortSrchCrit);
  *ppPortSrchCrit = nullptr;
  return QVLS_SUCCESS;
}

namespace {

void setCriterionText(char* field, const char* text) {
  std::strncpy(field, text ? text : "", kCriterionTextSize);
}

}  // namespace

qv_status qvls_SetDevSrchCrit(qvlsTblPortSrchCrit_t* pPortSrchCrit, int idx, int comPort, const char* serv,
                              const char* fName, const char* manufacturer) {
  if (!pPortSrchCrit) return QVLS_ERR_INVAL_PARAM1;
  if (idx < 0 || idx >= pPortSrchCrit->listLen) return QVLS_ERR_INVAL_PARAM2;
  if (comPort < 0) return QVLS_ERR_INVAL_PARAM3;
  qvlsPortSrchCrit_t& row = pPortSrchCrit->tbl[idx];
  if (comPort > 0) row.comPort = comPort;
  setCriterionText(row.svc, serv);
  setCriterionText(row.friendNam, fName);
  setCriterionText(row.manufacturer, manufacturer);
  return QVLS_SUCCESS;
}

qv_status qvls_GetDevSrchCrit(qvlsTblPortSrchCrit_t* pPortSrchCrit, int idx, char** serv, char** fName,
                              char** manufacturer) {
  if (!pPortSrchCrit) return QVLS_ERR_INVAL_PARAM1;
  if (idx < 0 || idx >= pPortSrchCrit->listLen) return QVLS_ERR_INVAL_PARAM2;
  qvlsPortSrchCrit_t& row = pPortSrchCrit->tbl[idx];
  deliver(serv, row.svc);
  deliver(fName, row.friendNam);
  deliver(manufacturer, row.manufacturer);
  return QVLS_SUCCESS;
}

qv_status qvls_SetPortPresentSrchCrit(qvlsTblPortSrchCrit_t* pPortSrchCrit, int present) {
  if (!pPortSrchCrit) return QVLS_ERR_INVAL_PARAM1;
  if (present < QVLS_ONLY_CONNECTED || present > QVLS_ONLY_DISCON) return QVLS_ERR_INVAL_PARAM2;
  pPortSrchCrit->disCon = present;
  return QVLS_SUCCESS;
}

qv_status qvls_GetPortPresentSrchCrit(const qvlsTblPortSrchCrit_t* pPortSrchCrit, int* present) {
  if (!pPortSrchCrit) return QVLS_ERR_INVAL_PARAM1;
  if (!present) return QVLS_ERR_INVAL_PARAM2;
  *present = pPortSrchCrit->disCon;
  return QVLS_SUCCESS;
}

namespace {

qv_status fitsOne(const qvlsPortSrchCrit_t* pPSC, const qvlsPort_t* pNode) {
  const auto fits = [](std::string_view required, std::string_view text) {
    return required.empty() || required == text;
  };
  const bool match = (pPSC->comPort < 0 || pPSC->comPort == pNode->comPort) &&
                     fits(textOf(pPSC->svc), textOf(pNode->service)) &&
                     fits(textOf(pPSC->friendNam), textOf(pNode->friendlyName)) &&
                     fits(textOf(pPSC->manufacturer), textOf(pNode->manufName));
  return match ? QVLS_SUCCESS : QVLS_ERR_NFOUND;
}

bool passesPresenceFilter(int filter, int present) {
  switch (filter) {
  case QVLS_ONLY_CONNECTED:
    return present == PRESENCE_CONNECTED;
  case QVLS_ONLY_DISCON:
    return present == PRESENCE_DISCON;
  default:
    return true;
  }
}

}  // namespace

qv_status qvls_CheckMatch(const qvlsTblPortSrchCrit_t* pPortTblSrchCrit, const qvlsPort_t* pNode) {
  const int filter = pPortTblSrchCrit ? pPortTblSrchCrit->disCon : QVLS_ONLY_CONNECTED;
  if (!passesPresenceFilter(filter, pNode->present)) return QVLS_ERR_NFOUND;
  if (!pPortTblSrchCrit || pPortTblSrchCrit->listLen == 0) return QVLS_SUCCESS;
  for (const qvlsPortSrchCrit_t& row :
       std::span(pPortTblSrchCrit->tbl, static_cast<size_t>(pPortTblSrchCrit->listLen))) {
    if (fitsOne(&row, pNode) == QVLS_SUCCESS) return QVLS_SUCCESS;
  }
  return QVLS_ERR_NFOUND;
}
