/// The attribute part of a search expression: a boolean language over the numbers of an interface. The text becomes a
/// flat token list once per search, and the list is evaluated once per interface entry: one pass per class of
/// operators, each operator token ending up with the value of its sub-expression. Everything runs under the fast lock.
#pragma once

#include "QVvisaInterfaces.h"
#include "export.h"

extern "C" {

constexpr int MAX_TOKEN_LEN = 128;

/// Token ids.
enum {
  TOK_END = 0,
  TOK_VID = 1,
  TOK_PID = 2,
  TOK_CLASS = 3,
  TOK_SUBCLASS = 4,
  TOK_PROT = 5,
  TOK_NAME = 6,
  TOK_MANUF = 7,
  TOK_SN = 8,
  TOK_EQUALITY = 16,
  TOK_GREATER = 17,
  TOK_GREATEQ = 18,
  TOK_SMALLER = 19,
  TOK_SMALLEQ = 20,
  TOK_INEQ = 21,
  TOK_AND = 22,
  TOK_OR = 23,
  TOK_NOT = 24,
  TOK_OPEN_PAR = 32,
  TOK_CLOSE_PAR = 33,
  TOK_BAUD = 34,
  TOK_RVAL_I = 64,  ///< a number
  TOK_RVAL_S = 65,  ///< a quoted string
};

/// Classes of token ids, for tokCheck.
enum {
  TOK_COMBINED_INUM = 128,    ///< the numeric attributes
  TOK_COMBINED_IOP = 129,     ///< the comparison operators
  TOK_COMBINED_LOGIC = 130,   ///< `&&` and `||`
  TOK_COMBINED_STRING = 131,  ///< no id at all: strings are never compared
};

enum { TOK_PROC_NOT = 0, TOK_PROC_STEP1 = 1 };
enum { TOK_RESULT_FALSE = 0, TOK_RESULT_TRUE = 1, TOK_RESULT_UNDEF = 7 };

#define FR_STRING_ATTR_VID "VI_ATTR_MANF_ID"
#define FR_STRING_ATTR_PID "VI_ATTR_MODEL_CODE"
#define FR_STRING_ATTR_USB_CLASS "VI_ATTR_USB_CLASS"
#define FR_STRING_ATTR_USB_SUBCLASS "VI_ATTR_USB_SUBCLASS"
#define FR_STRING_ATTR_USB_PROT "VI_ATTR_USB_PROTOCOL"
#define FR_STRING_ATTR_NAME "VI_ATTR_MODEL_NAME"
#define FR_STRING_ATTR_MANUF "VI_ATTR_MANF_NAME"
#define FR_STRING_ATTR_SN "VI_ATTR_USB_SERIAL_NUM"
#define FR_STRING_ATTR_EQUALITY "=="
#define FR_STRING_ATTR_GREATEQ ">="
#define FR_STRING_ATTR_GREATER ">"
#define FR_STRING_ATTR_SMALLEQ "<="
#define FR_STRING_ATTR_SMALLER "<"
#define FR_STRING_ATTR_INEQ "!="
#define FR_STRING_ATTR_AND "&&"
#define FR_STRING_ATTR_OR "||"
#define FR_STRING_ATTR_NOT "!"
#define FR_STRING_OPEN_PAR "("
#define FR_STRING_CLOSE_PAR ")"
#define FR_STRING_ATTR_BAUD "VI_ATTR_ASRL_BAUD"

struct QVvisa_frToken_t {
  uint8_t tokId;
  int val;                  ///< a number, or the value bound to a numeric attribute
  char buf[MAX_TOKEN_LEN];  ///< a string, or the text bound to a string attribute; a full one has no terminator
  uint8_t processed;        ///< TOK_PROC_NOT while the token takes part in the evaluation
  uint8_t result;           ///< truth value held by the token
};

struct QVvisa_frTokenList_t {
  QVvisa_frToken_t* tokens;  ///< owned
  int size;
};

/// A token with a fixed text.
struct QVvisa_tokString_t {
  uint8_t tokId;
  const char* id;
};

/// The first row that fits wins, so that a longer operator stands before its own beginning. Ends in TOK_END and null.
QVVISA_API extern const QVvisa_tokString_t tokenStrings[21];

/// Makes a list of `size` tokens, all zeroed.
/// @retval VI_SUCCESS, VI_ERROR_INV_PARAMETER for a null `ppftl` or a `size` below 1, VI_ERROR_ALLOC
QVVISA_API ViStatus QVvisa_initFrTokenList(QVvisa_frTokenList_t** ppftl, int size);
/// Frees a list and nulls the pointer; does nothing for null.
QVVISA_API void QVvisa_closeFrTokenList(QVvisa_frTokenList_t** ppftl);

/// Evaluates an attribute part on all entries: sets `matchAE` where it is true. An empty part changes nothing; an
/// expression that can't be evaluated is false.
/// @retval VI_SUCCESS, VI_ERROR_INV_OBJECT for a null `pdl`, VI_ERROR_ALLOC
/// @retval VI_ERROR_INV_RSRC_NAME the text can't be read
QVVISA_API ViStatus QVvisa_helperProcessPattern_BC(char* pattern, int plen, QVvisa_devList_t* pdl);
/// Turns text into a token list, which the caller owns on success.
/// @retval VI_SUCCESS, VI_ERROR_INV_OBJECT for a null argument, VI_ERROR_ALLOC
/// @retval VI_ERROR_INV_RSRC_NAME the text can't be read, or is longer than 4096 characters
QVVISA_API ViStatus QVvisa_helperProcessPattern_B(char* pattern, int plen, QVvisa_frTokenList_t** ppftl);
/// Bind a token list to each entry of a list, which may be null, and evaluate it. @retval VI_SUCCESS always
QVVISA_API ViStatus QVvisa_helperProcessPatternUsb_C(QVvisa_frTokenList_t* pftl, QVvisa_devIntfListUsb_t* pdilUsb);
QVVISA_API ViStatus QVvisa_helperProcessPatternAsrl_C(QVvisa_frTokenList_t* pftl, QVvisa_devIntfListAsrl_t* pdilAsrl);

/// Makes a list ready for one evaluation.
QVVISA_API void initTokens(QVvisa_frTokenList_t* pftl);
/// Evaluates the tokens `startTok` to `endTok`, both included.
/// @param[out] result  TOK_RESULT_...; TOK_RESULT_UNDEF for a lone token without a truth value
/// @retval VI_SUCCESS, VI_ERROR_INV_OBJECT for a null argument, VI_ERROR_INV_EXPR
QVVISA_API ViStatus processTokens(QVvisa_frTokenList_t* pftl, int startTok, int endTok, uint8_t* result);
/// Whether an id is, or belongs to the class, `idCompare`.
QVVISA_API ViBoolean tokCheck(int idTest, int idCompare);
/// Finds the nearest unprocessed token on each side of `cur`, in the whole list.
/// @retval VI_SUCCESS, VI_ERROR_INV_OBJECT for a null argument, VI_ERROR_INV_EXPR where there is none
QVVISA_API ViStatus findPrevNextToken(QVvisa_frTokenList_t* pftl, int cur, QVvisa_frToken_t** left,
                                      QVvisa_frToken_t** right);
/// Finds the nearest unprocessed token to the right of `cur`.
QVVISA_API ViStatus findNextToken(QVvisa_frTokenList_t* pftl, int cur, QVvisa_frToken_t** right);
/// Apply a comparison, a logical operator and a negation: the operator takes the result, the operands are used up.
/// @retval VI_SUCCESS, VI_ERROR_INV_OBJECT for a null argument, VI_ERROR_INV_EXPR for operands that don't fit
QVVISA_API ViStatus tokOperator(QVvisa_frToken_t* left, QVvisa_frToken_t* oper, QVvisa_frToken_t* right);
QVVISA_API ViStatus tokExpOper(QVvisa_frToken_t* left, QVvisa_frToken_t* oper, QVvisa_frToken_t* right);
QVVISA_API ViStatus tokNotOper(QVvisa_frToken_t* oper, QVvisa_frToken_t* right);
}
