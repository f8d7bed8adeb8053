#include "QVvisaFind.h"

#include "DebugMalloc.h"
#include "QVvisaBackends.h"
#include "QVvisaLock.h"
#include "QVvisaTools.h"
#include "slre.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <iterator>
#include <span>
#include <string_view>
#include <utility>

namespace {

/// Copies a name and no byte more: a caller's buffer may be as short as the names that it expects.
void copyName(const char* name, char* buf) {
  memcpy(buf, name, strlen(name) + 1);
}

/// The members of each kind of list under common names, so that each step is written once.
struct Usb {
  using List = QVvisa_devIntfListUsb_t;
  using Result = QVvisa_findListUsb_result_t;

  static std::span<QVvisa_devIntfUsb_t> entries(const List& list) {
    return {list.intfUsb, static_cast<size_t>(list.numDevIntfUsb)};
  }
  static constexpr auto numMatch = &List::numMatchUsb;
  static constexpr auto print = QVvisa_FindRsrcHelperPrintPuiUsb;
  static constexpr auto initArray = QVvisa_initFindResultListArrUsb;
  static constexpr auto closeArray = QVvisa_closeFindResultListArrUsb;
  static constexpr auto initResult = QVvisa_initFindResultListElemUsb;

  static void fill(Result& result, const QVvisa_devIntfUsb_t& entry) {
    result.intf = entry.bInterfaceNumber;
    result.vid = entry.vid;
    result.pid = entry.pid;
    result.class_ = entry.bInterfaceClass;
    result.subClass = entry.bInterfaceSubClass;
    result.protocol = entry.bInterfaceProtocol;
    memcpy(result.sn, entry.sn, sizeof result.sn);
  }
};

struct Asrl {
  using List = QVvisa_devIntfListAsrl_t;
  using Result = QVvisa_findListAsrl_result_t;

  static std::span<QVvisa_devIntfAsrl_t> entries(const List& list) {
    return {list.intfAsrl, static_cast<size_t>(list.numDevIntfAsrl)};
  }
  static constexpr auto numMatch = &List::numMatchAsrl;
  static constexpr auto print = QVvisa_FindRsrcHelperPrintPuiAsrl;
  static constexpr auto initArray = QVvisa_initFindResultListArrAsrl;
  static constexpr auto closeArray = QVvisa_closeFindResultListArrAsrl;
  static constexpr auto initResult = QVvisa_initFindResultListElemAsrl;

  static void fill(Result& result, const QVvisa_devIntfAsrl_t& entry) { result.comPort = entry.comPort; }
};

struct Other {
  using List = QVvisa_resourceList_t;
  using Result = QVvisa_findListOther_result_t;

  static std::span<QVvisa_resource_t> entries(const List& list) {
    return {list.resources, static_cast<size_t>(list.numResources)};
  }
  static constexpr auto numMatch = &List::numMatch;
  static void print(const QVvisa_resource_t* entry, char* buf) { copyName(entry->name, buf); }
  static constexpr auto initArray = QVvisa_initFindResultListArrOther;
  static constexpr auto closeArray = QVvisa_closeFindResultListArrOther;
  static constexpr auto initResult = QVvisa_initFindResultListElemOther;

  static void fill(Result& result, const QVvisa_resource_t& entry) {
    memcpy(result.name, entry.name, sizeof result.name);
  }
};

template <typename Bus>
void matchEntries(const typename Bus::List* list, const char* regex) {
  if (!list) return;
  for (auto& entry : Bus::entries(*list)) {
    char name[VI_FIND_BUFLEN];
    Bus::print(&entry, name);
    if (slre_match_within(QVVISA_MATCH_COST, regex, name, static_cast<int>(strlen(name))) > 0) entry.matchRE = 1;
  }
}

template <typename Bus>
void countMatches(typename Bus::List* list, const char* attrExpr) {
  if (!list) return;
  list->*Bus::numMatch = 0;
  for (auto& entry : Bus::entries(*list)) {
    if (!entry.matchRE || (attrExpr && !entry.matchAE)) continue;
    entry.matchX = 1;
    ++(list->*Bus::numMatch);
  }
}

template <typename Bus>
ViStatus makeResults(typename Bus::List* list, typename Bus::Result*** array) {
  if (!array) return VI_ERROR_INV_OBJECT;
  *array = nullptr;
  if (!list || list->*Bus::numMatch == 0) return VI_SUCCESS;
  ViStatus status = Bus::initArray(array, list->*Bus::numMatch);
  if (status != VI_SUCCESS) return status;
  typename Bus::Result** next = *array;
  for (const auto& entry : Bus::entries(*list)) {
    if (!entry.matchX) continue;
    status = Bus::initResult(next);
    if (status != VI_SUCCESS) {
      Bus::closeArray(array);
      return status;
    }
    Bus::fill(**next++, entry);
  }
  return VI_SUCCESS;
}

/// Owns the copies of a split expression.
struct SplitExpression : QVvisa_findResrcPatA_t {
  SplitExpression() = default;
  ~SplitExpression() { QVvisa_helperProcessPattern_Aclose(this); }
  SplitExpression(const SplitExpression&) = delete;
  SplitExpression& operator=(const SplitExpression&) = delete;
};

/// Owns the interface lists of one search.
struct InterfaceLists : QVvisa_devList_t {
  InterfaceLists() : QVvisa_devList_t{} {}
  ~InterfaceLists() {
    QVvisa_closeDevIntfListElemUsb(&usbList);
    QVvisa_closeDevIntfListElemAsrl(&asrlList);
    QVvisa_closeResourceList(&otherList);
  }
  InterfaceLists(const InterfaceLists&) = delete;
  InterfaceLists& operator=(const InterfaceLists&) = delete;
};

/// Owns result arrays until a find list takes them.
struct Results {
  QVvisa_findListUsb_result_t** usb = nullptr;
  QVvisa_findListAsrl_result_t** asrl = nullptr;
  QVvisa_findListOther_result_t** other = nullptr;

  Results() = default;
  ~Results() {
    QVvisa_closeFindResultListArrUsb(&usb);
    QVvisa_closeFindResultListArrAsrl(&asrl);
    QVvisa_closeFindResultListArrOther(&other);
  }
  Results(const Results&) = delete;
  Results& operator=(const Results&) = delete;
};

/// Prints a resource name piece by piece, terminated after each. A search prints every entry under the fast lock, so
/// that the time of a general formatter would be felt. The longest name has 159 characters.
class NamePrinter {
public:
  explicit NamePrinter(char* buf) : end_(buf) {}

  NamePrinter& text(std::string_view piece) {
    end_ = std::copy(piece.begin(), piece.end(), end_);
    *end_ = '\0';
    return *this;
  }
  /// Four upper-case digits.
  NamePrinter& hex(ViUInt16 number) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const char digits[] = {kDigits[number >> 12], kDigits[number >> 8 & 0xF], kDigits[number >> 4 & 0xF],
                           kDigits[number & 0xF]};
    return text({digits, sizeof digits});
  }
  NamePrinter& decimal(int number) {
    char digits[12];
    return text({digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr});
  }

private:
  char* end_;
};

/// A NUL-terminated copy, or null without memory.
char* copyOf(std::string_view text) {
  auto* copy = static_cast<char*>(DEBUG_MALLOC(text.size() + 1));
  if (!copy) return nullptr;
  memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

/// The one rewrite of the expression language: `?*` stands for any text.
void translate(char* regex) {
  for (; *regex; ++regex) {
    if (regex[0] == '?' && regex[1] == '*') regex[0] = '.';
  }
}

ViStatus filter(const SplitExpression& expression, QVvisa_devList_t* lists) {
  ViStatus status = QVvisa_GetAllDevIntf(lists);
  if (status == VI_SUCCESS) status = QVvisa_helperProcessPattern_BC(expression.attrExpr, expression.aLen, lists);
  if (status == VI_SUCCESS) status = QVvisa_helperProcessPattern_REGEX(expression.regExpr, expression.rLen, lists);
  if (status != VI_SUCCESS) return status;
  QVvisa_helperCountFoundDevicesUsb(lists->usbList, expression.attrExpr);
  QVvisa_helperCountFoundDevicesAsrl(lists->asrlList, expression.attrExpr);
  countMatches<Other>(lists->otherList, expression.attrExpr);
  return VI_SUCCESS;
}

template <typename Bus>
int matchesIn(const typename Bus::List* list) {
  return list ? list->*Bus::numMatch : 0;
}

/// Empties a variable that holds a result array; null for no variable.
template <typename Result>
Result** taken(Result*** array) {
  return array ? std::exchange(*array, nullptr) : nullptr;
}

/// The answer of a search, which owns the result arrays now.
QVvisa_findList_t takeResults(QVvisa_devList_t* lists, QVvisa_findListHelper_result_t* results) {
  QVvisa_findList_t answer = {};
  answer.ppflrUsb = taken(results->pppfrlUsb);
  answer.numUsb = matchesIn<Usb>(lists->usbList);
  answer.ppflrAsrl = taken(results->pppfrlAsrl);
  answer.numAsrl = matchesIn<Asrl>(lists->asrlList);
  answer.ppflrOther = taken(results->pppfrlOther);
  answer.numOther = matchesIn<Other>(lists->otherList);
  answer.numTot = answer.numUsb + answer.numAsrl + answer.numOther;
  return answer;
}

void releaseResults(QVvisa_findList_t& answer) {
  QVvisa_closeFindResultListArrUsb(&answer.ppflrUsb);
  QVvisa_closeFindResultListArrAsrl(&answer.ppflrAsrl);
  QVvisa_closeFindResultListArrOther(&answer.ppflrOther);
}

/// Gives an answer a handle; without one its results are gone.
ViStatus registerFindList(QVvisa_findList_t& answer, ViPFindList vi) {
  QVvisa_findList_t* findList = nullptr;
  const ViStatus status = QVvisa_initFindListElem(&findList);
  if (status != VI_SUCCESS) {
    releaseResults(answer);
    return status;
  }
  *findList = answer;
  const CoreLock lock;
  return QVvisa_AddHandleFindList(&findList, vi);
}

}  // namespace

ViStatus QVvisa_helperProcessPattern_A(QVvisa_findResrcPatA_t* frPat, char* pattern) {
  if (!frPat || !pattern) return VI_ERROR_INV_OBJECT;
  const std::string_view text(pattern);
  const size_t open = text.find('{');
  const bool hasAttributes = open != std::string_view::npos;
  const std::string_view regular = text.substr(0, open);
  const auto length = [](std::string_view part) { return static_cast<int>(std::min<size_t>(part.size(), INT_MAX)); };
  *frPat = {pattern, length(text), nullptr, length(regular), nullptr, 0};
  std::string_view attributes;
  if (hasAttributes) {
    const size_t close = text.find('}', open);
    if (close == std::string_view::npos) return VI_ERROR_INV_RSRC_NAME;
    if (*skipWhiteSpace(pattern + close + 1) != '\0') return VI_ERROR_INV_RSRC_NAME;
    attributes = text.substr(open + 1, close - open - 1);
    frPat->aLen = length(attributes);
  }
  if (regular.size() > QVVISA_MAX_REGEX_LEN || attributes.size() > QVVISA_MAX_ATTR_EXPR_LEN) {
    return VI_ERROR_INV_RSRC_NAME;
  }
  if (hasAttributes) frPat->attrExpr = copyOf(attributes);
  if (!hasAttributes || frPat->attrExpr) frPat->regExpr = copyOf(regular);
  if (frPat->regExpr) return VI_SUCCESS;
  QVvisa_helperProcessPattern_Aclose(frPat);
  return VI_ERROR_ALLOC;
}

void QVvisa_helperProcessPattern_Aclose(QVvisa_findResrcPatA_t* frPat) {
  if (!frPat) return;
  DEBUG_FREE(frPat->regExpr);
  DEBUG_FREE(frPat->attrExpr);
  frPat->regExpr = nullptr;
  frPat->rLen = 0;
  frPat->attrExpr = nullptr;
  frPat->aLen = 0;
}

ViStatus QVvisa_GetAllDevIntf(QVvisa_devList_t* pdl) {
  if (!pdl) return VI_ERROR_INV_OBJECT;
  ViStatus result = VI_ERROR_RSRC_NFOUND;
  for (const QVvisa_backend_t* backend : QVvisa_backends()) {
    if (!backend->enumerate) continue;
    const ViStatus status = backend->enumerate(pdl);
    if (status != VI_SUCCESS && status != VI_ERROR_RSRC_NFOUND) return status;
    if (status == VI_SUCCESS) result = VI_SUCCESS;
  }
  return result;
}

ViStatus QVvisa_helperProcessPattern_REGEX(char* pattern, int plen, QVvisa_devList_t* pdl) {
  if (!pdl) return VI_ERROR_INV_OBJECT;
  if (!pattern || plen <= 0) return VI_ERROR_RSRC_NFOUND;
  if (plen > QVVISA_MAX_REGEX_LEN) return VI_ERROR_INV_RSRC_NAME;
  char regex[QVVISA_MAX_REGEX_LEN + 1] = {};
  memcpy(regex, pattern, strnlen(pattern, static_cast<size_t>(plen)));
  translate(regex);
  matchEntries<Usb>(pdl->usbList, regex);
  matchEntries<Asrl>(pdl->asrlList, regex);
  matchEntries<Other>(pdl->otherList, regex);
  return VI_SUCCESS;
}

void QVvisa_helperCountFoundDevicesUsb(QVvisa_devIntfListUsb_t* pdil, char* attrExpr) {
  countMatches<Usb>(pdil, attrExpr);
}

void QVvisa_helperCountFoundDevicesAsrl(QVvisa_devIntfListAsrl_t* pdil, char* attrExpr) {
  countMatches<Asrl>(pdil, attrExpr);
}

ViStatus QVvisa_helperGenerateFindListUsb(QVvisa_devIntfListUsb_t* pdil, QVvisa_findListUsb_result_t*** pppflr) {
  return makeResults<Usb>(pdil, pppflr);
}

ViStatus QVvisa_helperGenerateFindListAsrl(QVvisa_devIntfListAsrl_t* pdil, QVvisa_findListAsrl_result_t*** pppflr) {
  return makeResults<Asrl>(pdil, pppflr);
}

ViStatus QVvisa_helperGenerateViRsrcFind(QVvisa_devList_t* pdl, QVvisa_findListHelper_result_t* pflhr, ViPFindList vi,
                                         ViPUInt32 retCnt, ViChar* desc) {
  if (!pdl || !pflhr) return VI_ERROR_INV_OBJECT;
  if (matchesIn<Usb>(pdl->usbList) + matchesIn<Asrl>(pdl->asrlList) + matchesIn<Other>(pdl->otherList) == 0) {
    if (retCnt) *retCnt = 0;
    return VI_ERROR_RSRC_NFOUND;
  }
  QVvisa_findList_t answer = takeResults(pdl, pflhr);
  // The first result is used up whether or not it can be delivered.
  char first[VI_FIND_BUFLEN];
  QVvisa_findNext(&answer, first);
  if (!vi) {
    releaseResults(answer);
  } else if (const ViStatus status = registerFindList(answer, vi); status != VI_SUCCESS) {
    return status;
  }
  if (desc) copyName(first, desc);
  if (retCnt) *retCnt = static_cast<ViUInt32>(answer.numTot);
  return VI_SUCCESS;
}

void QVvisa_FindRsrcHelperPrintRootUsb(ViUInt8 class_, ViUInt8 subClass, ViUInt8 protocol, ViUInt16 vid, ViUInt16 pid,
                                       ViUInt8 intf, unsigned char* sn, char* buf) {
  if (!buf || !sn) return;
  const auto* serial = reinterpret_cast<const char*>(sn);
  NamePrinter name(buf);
  name.text("USB0::0x").hex(vid).text("::0x").hex(pid).text("::").text({serial, strnlen(serial, MAX_BUF_SIZE_SN - 1)});
  if (isUSBTMC(class_, subClass, protocol))
    name.text("::INSTR");
  else
    name.text("::").decimal(intf).text("::RAW");
}

void QVvisa_FindRsrcHelperPrintRootAsrl(ViInt32 comPort, char* buf) {
  if (buf) NamePrinter(buf).text("ASRL").decimal(comPort).text("::INSTR");
}

void QVvisa_FindRsrcHelperPrintPuiUsb(QVvisa_devIntfUsb_t* pui, char* buf) {
  if (!pui) return;
  QVvisa_FindRsrcHelperPrintRootUsb(pui->bInterfaceClass, pui->bInterfaceSubClass, pui->bInterfaceProtocol, pui->vid,
                                    pui->pid, pui->bInterfaceNumber, pui->sn, buf);
}

void QVvisa_FindRsrcHelperPrintPuiAsrl(QVvisa_devIntfAsrl_t* pui, char* buf) {
  if (pui) QVvisa_FindRsrcHelperPrintRootAsrl(pui->comPort, buf);
}

void QVvisa_FindRsrcHelperPrintPflrUsb(QVvisa_findListUsb_result_t* pflr, char* buf) {
  if (!pflr) return;
  QVvisa_FindRsrcHelperPrintRootUsb(pflr->class_, pflr->subClass, pflr->protocol, pflr->vid, pflr->pid, pflr->intf,
                                    pflr->sn, buf);
}

void QVvisa_FindRsrcHelperPrintPflrAsrl(QVvisa_findListAsrl_result_t* pflr, char* buf) {
  if (pflr) QVvisa_FindRsrcHelperPrintRootAsrl(pflr->comPort, buf);
}

ViStatus QVvisa_findRsrc(char* expr, ViPFindList vi, ViPUInt32 retCnt, ViChar* desc) {
  SplitExpression expression;
  ViStatus status = QVvisa_helperProcessPattern_A(&expression, expr);
  if (status != VI_SUCCESS) return status;

  const CoreLock lock;
  if (!gpQvvisa) return VI_ERROR_SYSTEM_ERROR;
  InterfaceLists lists;
  status = filter(expression, &lists);
  if (status != VI_SUCCESS) return status;

  Results results;
  status = QVvisa_helperGenerateFindListUsb(lists.usbList, &results.usb);
  if (status == VI_SUCCESS) status = QVvisa_helperGenerateFindListAsrl(lists.asrlList, &results.asrl);
  if (status == VI_SUCCESS) status = makeResults<Other>(lists.otherList, &results.other);
  if (status != VI_SUCCESS) return status;
  QVvisa_findListHelper_result_t handedOver{&results.usb, &results.asrl, &results.other};
  return QVvisa_helperGenerateViRsrcFind(&lists, &handedOver, vi, retCnt, desc);
}

ViStatus QVvisa_findNext(QVvisa_findList_t* pfl, ViChar* desc) {
  if (pfl->idxUsb < pfl->numUsb) {
    QVvisa_FindRsrcHelperPrintPflrUsb(pfl->ppflrUsb[pfl->idxUsb++], desc);
  } else if (pfl->idxAsrl < pfl->numAsrl) {
    QVvisa_FindRsrcHelperPrintPflrAsrl(pfl->ppflrAsrl[pfl->idxAsrl++], desc);
  } else if (pfl->idxOther < pfl->numOther) {
    copyName(pfl->ppflrOther[pfl->idxOther++]->name, desc);
  } else {
    return VI_ERROR_RSRC_NFOUND;
  }
  return VI_SUCCESS;
}
