#include "QVvisaInterfaces.h"

#include "DebugMalloc.h"
#include "QVvisaDefaults.h"

#include <climits>

namespace {

/// Where a list of one bus keeps its entries and their number.
template <typename List, typename Entry>
struct Fields {
  int List::*count;
  Entry* List::*entries;
};

constexpr Fields<QVvisa_devIntfListUsb_t, QVvisa_devIntfUsb_t> kUsb{&QVvisa_devIntfListUsb_t::numDevIntfUsb,
                                                                    &QVvisa_devIntfListUsb_t::intfUsb};
constexpr Fields<QVvisa_devIntfListAsrl_t, QVvisa_devIntfAsrl_t> kAsrl{&QVvisa_devIntfListAsrl_t::numDevIntfAsrl,
                                                                       &QVvisa_devIntfListAsrl_t::intfAsrl};
constexpr Fields<QVvisa_resourceList_t, QVvisa_resource_t> kOther{&QVvisa_resourceList_t::numResources,
                                                                  &QVvisa_resourceList_t::resources};

template <typename List, typename Entry>
void closeList(List** list, const Fields<List, Entry>& fields) {
  if (!list || !*list) return;
  DEBUG_FREE((*list)->*fields.entries);
  DEBUG_FREE(*list);
  *list = nullptr;
}

template <typename List, typename Entry>
ViStatus growList(List** list, int size, const Fields<List, Entry>& fields, const Entry& fresh) {
  if (!list || size <= 0) return VI_ERROR_INV_PARAMETER;
  if (!*list) *list = static_cast<List*>(DEBUG_CALLOC(1, sizeof(List)));
  if (!*list) return VI_ERROR_ALLOC;

  int& count = (*list)->*fields.count;
  void* grown = nullptr;
  if (size <= INT_MAX - count) {
    grown = DEBUG_REALLOC((*list)->*fields.entries,
                          (static_cast<size_t>(count) + static_cast<size_t>(size)) * sizeof(Entry));
  }
  if (!grown) {
    closeList(list, fields);
    return VI_ERROR_ALLOC;
  }
  (*list)->*fields.entries = static_cast<Entry*>(grown);
  for (int i = 0; i < size; ++i) ((*list)->*fields.entries)[count + i] = fresh;
  count += size;
  return VI_SUCCESS;
}

}  // namespace

ViStatus QVvisa_reInitDevIntfListUsb(QVvisa_devIntfListUsb_t** ppdilUsb, int size) {
  return growList(ppdilUsb, size, kUsb, QVvisa_devIntfUsb_t{});
}

void QVvisa_closeDevIntfListElemUsb(QVvisa_devIntfListUsb_t** ppdilUsb) {
  closeList(ppdilUsb, kUsb);
}

ViStatus QVvisa_reInitDevIntfListAsrl(QVvisa_devIntfListAsrl_t** ppdilAsrl, int size) {
  return growList(ppdilAsrl, size, kAsrl, QVvisa_devIntfAsrl_t{-1, 0, 0, QVVISA_DEFAULT_BAUD_RATE, 0, 0, 0});
}

void QVvisa_closeDevIntfListElemAsrl(QVvisa_devIntfListAsrl_t** ppdilAsrl) {
  closeList(ppdilAsrl, kAsrl);
}

ViStatus QVvisa_addResource(QVvisa_devList_t* found, const QVvisa_resource_t& resource) {
  return growList(&found->otherList, 1, kOther, resource);
}

void QVvisa_closeResourceList(QVvisa_resourceList_t** list) {
  closeList(list, kOther);
}
