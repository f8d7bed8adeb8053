/// The search behind QV_viFindRsrc and QV_viFindNext: split of the expression, enumeration, filters, counting, result
/// lists and the printing of resource names. All but the split runs under the fast lock.
#pragma once

#include "QVvisaInterfaces.h"
#include "QVvisaMemory.h"
#include "QVvisaTokens.h"
#include "export.h"

extern "C" {

/// Longest regular and attribute part of an expression, in characters.
constexpr int QVVISA_MAX_REGEX_LEN = 255;
constexpr int QVVISA_MAX_ATTR_EXPR_LEN = 4096;

/// What the match of one entry may cost (slre.h). A search holds the fast lock, so that its expression, whatever it is,
/// takes some hundredths of a millisecond per entry at most.
constexpr int QVVISA_MATCH_COST = 24 << 10;

/// A search expression in its two parts.
struct QVvisa_findResrcPatA_t {
  char* pattern = nullptr;  ///< the caller's expression, not owned
  int pLen = 0;
  char* regExpr = nullptr;  ///< own copy of the regular part
  int rLen = 0;
  char* attrExpr = nullptr;  ///< own copy of the attribute part; null when the expression has no braces
  int aLen = 0;
};

/// Hands the result arrays over: whoever takes or releases an array clears the variable behind it.
struct QVvisa_findListHelper_result_t {
  QVvisa_findListUsb_result_t*** pppfrlUsb;
  QVvisa_findListAsrl_result_t*** pppfrlAsrl;
  QVvisa_findListOther_result_t*** pppfrlOther = nullptr;
};

/// Splits an expression. On success the caller owns the copies, see QVvisa_helperProcessPattern_Aclose; on failure
/// nothing is allocated.
/// @retval VI_SUCCESS, VI_ERROR_INV_OBJECT for a null argument, VI_ERROR_ALLOC
/// @retval VI_ERROR_INV_RSRC_NAME no closing brace, text behind it, or a part too long
QVVISA_API ViStatus QVvisa_helperProcessPattern_A(QVvisa_findResrcPatA_t* frPat, char* pattern);
/// Frees both copies.
QVVISA_API void QVvisa_helperProcessPattern_Aclose(QVvisa_findResrcPatA_t* frPat);
/// Runs the enumerators of all buses.
/// @retval VI_SUCCESS           something is attached
/// @retval VI_ERROR_RSRC_NFOUND nothing is
/// @return Otherwise the status of the first bus that failed.
QVVISA_API ViStatus QVvisa_GetAllDevIntf(QVvisa_devList_t* pdl);
/// Sets `matchRE` on every entry whose resource name the regular part matches. A faulty expression matches nothing.
/// @retval VI_SUCCESS, VI_ERROR_INV_OBJECT for a null list, VI_ERROR_RSRC_NFOUND for an empty pattern
/// @retval VI_ERROR_INV_RSRC_NAME above 255 characters
QVVISA_API ViStatus QVvisa_helperProcessPattern_REGEX(char* pattern, int plen, QVvisa_devList_t* pdl);
/// Select the entries that `matchRE` and, where there is an attribute part, `matchAE` tell, and count them.
QVVISA_API void QVvisa_helperCountFoundDevicesUsb(QVvisa_devIntfListUsb_t* pdil, char* attrExpr);
QVVISA_API void QVvisa_helperCountFoundDevicesAsrl(QVvisa_devIntfListAsrl_t* pdil, char* attrExpr);
/// Make the result array of the selected entries; the caller owns it. Nothing selected gives a null array.
/// @retval VI_SUCCESS, VI_ERROR_INV_OBJECT for a null `pppflr`, VI_ERROR_ALLOC with nothing left
QVVISA_API ViStatus QVvisa_helperGenerateFindListUsb(QVvisa_devIntfListUsb_t* pdil,
                                                     QVvisa_findListUsb_result_t*** pppflr);
QVVISA_API ViStatus QVvisa_helperGenerateFindListAsrl(QVvisa_devIntfListAsrl_t* pdil,
                                                      QVvisa_findListAsrl_result_t*** pppflr);
/// Makes and registers the find list, if `vi` isn't null, and delivers the first result. Takes or releases both arrays.
/// @retval VI_SUCCESS           at least one result
/// @retval VI_ERROR_RSRC_NFOUND none
/// @retval VI_ERROR_ALLOC       no memory, or 16 find lists are open
QVVISA_API ViStatus QVvisa_helperGenerateViRsrcFind(QVvisa_devList_t* pdl, QVvisa_findListHelper_result_t* pflhr,
                                                    ViPFindList vi, ViPUInt32 retCnt, ViChar* desc);

/// Print a resource name into VI_FIND_BUFLEN characters; a null pointer prints nothing.
QVVISA_API void QVvisa_FindRsrcHelperPrintRootUsb(ViUInt8 class_, ViUInt8 subClass, ViUInt8 protocol, ViUInt16 vid,
                                                  ViUInt16 pid, ViUInt8 intf, unsigned char* sn, char* buf);
QVVISA_API void QVvisa_FindRsrcHelperPrintRootAsrl(ViInt32 comPort, char* buf);
QVVISA_API void QVvisa_FindRsrcHelperPrintPuiUsb(QVvisa_devIntfUsb_t* pui, char* buf);
QVVISA_API void QVvisa_FindRsrcHelperPrintPuiAsrl(QVvisa_devIntfAsrl_t* pui, char* buf);
QVVISA_API void QVvisa_FindRsrcHelperPrintPflrUsb(QVvisa_findListUsb_result_t* pflr, char* buf);
QVVISA_API void QVvisa_FindRsrcHelperPrintPflrAsrl(QVvisa_findListAsrl_result_t* pflr, char* buf);
}

/// The whole search. The outputs, each of which may be null, are cleared beforehand and written on success only.
/// @return as QV_viFindRsrc, behind its argument checks
ViStatus QVvisa_findRsrc(char* expr, ViPFindList vi, ViPUInt32 retCnt, ViChar* desc);

/// Prints the next result into `desc` and moves on. The caller holds the fast lock.
/// @retval VI_SUCCESS, VI_ERROR_RSRC_NFOUND at the end, with `desc` as it was
ViStatus QVvisa_findNext(QVvisa_findList_t* pfl, ViChar* desc);
