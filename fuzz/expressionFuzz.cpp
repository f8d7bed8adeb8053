/// Fuzzes whole search expressions on simulated lists of interfaces. Input: the expression, a NUL, the serial number of
/// one interface.
#include "QVvisaFind.h"
#include "fuzz.h"
#include "interfaces.h"
#include "slre.h"

namespace {

/// The regular part as the matcher has to see it.
std::string translated(std::string_view regular) {
  std::string regex;
  for (std::size_t i = 0; i < regular.size(); ++i) regex += regular.substr(i, 2) == "?*" ? '.' : regular[i];
  return regex;
}

template <typename Entries, typename Print>
int judge(const Entries& entries, Print print, const std::string& regex, bool hasAttributes) {
  int count = 0;
  for (auto entry : entries) {
    char name[VI_FIND_BUFLEN] = "";
    print(&entry, name);
    require(ends(name), "name runs over its buffer");
    const int length = static_cast<int>(std::string_view(name).size());
    const bool matches = !regex.empty() && slre_match_within(QVVISA_MATCH_COST, regex.c_str(), name, length) > 0;
    require(entry.matchRE == matches, "the regular part selects otherwise");
    require(entry.matchX == (matches && (!hasAttributes || entry.matchAE)), "selected otherwise than both parts say");
    count += entry.matchX;
  }
  return count;
}

void search(char* expression, Interfaces& interfaces) {
  QVvisa_findResrcPatA_t split;
  const ViStatus splitStatus = QVvisa_helperProcessPattern_A(&split, expression);
  require(splitStatus == VI_SUCCESS || splitStatus == VI_ERROR_INV_RSRC_NAME, "status of the split");
  if (splitStatus != VI_SUCCESS) return require(!split.regExpr && !split.attrExpr, "parts of a refused expression");

  QVvisa_devList_t* lists = &interfaces.lists;
  const ViStatus attributes = QVvisa_helperProcessPattern_BC(split.attrExpr, split.aLen, lists);
  require(attributes == VI_SUCCESS || attributes == VI_ERROR_INV_RSRC_NAME, "status of the attribute part");
  if (attributes == VI_SUCCESS) {
    const ViStatus regular = QVvisa_helperProcessPattern_REGEX(split.regExpr, split.rLen, lists);
    require(regular == (split.rLen > 0 ? VI_SUCCESS : VI_ERROR_RSRC_NFOUND), "status of the regular part");
    QVvisa_helperCountFoundDevicesUsb(lists->usbList, split.attrExpr);
    QVvisa_helperCountFoundDevicesAsrl(lists->asrlList, split.attrExpr);
    const std::string regex = translated(split.regExpr);
    const bool hasAttributes = split.attrExpr != nullptr;
    require(judge(interfaces.usb, QVvisa_FindRsrcHelperPrintPuiUsb, regex, hasAttributes) ==
                    interfaces.usbList.numMatchUsb &&
                judge(interfaces.asrl, QVvisa_FindRsrcHelperPrintPuiAsrl, regex, hasAttributes) ==
                    interfaces.asrlList.numMatchAsrl,
            "count of the matches");
    QVvisa_findListUsb_result_t** usb = nullptr;
    QVvisa_findListAsrl_result_t** asrl = nullptr;
    require(QVvisa_helperGenerateFindListUsb(lists->usbList, &usb) == VI_SUCCESS &&
                QVvisa_helperGenerateFindListAsrl(lists->asrlList, &asrl) == VI_SUCCESS,
            "results");
    QVvisa_closeFindResultListArrUsb(&usb);
    QVvisa_closeFindResultListArrAsrl(&asrl);
  }
  QVvisa_helperProcessPattern_Aclose(&split);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view all(reinterpret_cast<const char*>(data), size);
  const std::string_view expression = all.substr(0, all.find('\0'));
  Interfaces interfaces(all.substr(std::min(all.size(), expression.size() + 1)));
  search(ExactText(expression).get(), interfaces);
  return 0;
}
