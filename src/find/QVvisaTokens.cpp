#include "QVvisaTokens.h"

#include "DebugMalloc.h"
#include "QVvisaTools.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

const QVvisa_tokString_t tokenStrings[] = {
    {TOK_VID, FR_STRING_ATTR_VID},
    {TOK_PID, FR_STRING_ATTR_PID},
    {TOK_CLASS, FR_STRING_ATTR_USB_CLASS},
    {TOK_SUBCLASS, FR_STRING_ATTR_USB_SUBCLASS},
    {TOK_PROT, FR_STRING_ATTR_USB_PROT},
    {TOK_NAME, FR_STRING_ATTR_NAME},
    {TOK_MANUF, FR_STRING_ATTR_MANUF},
    {TOK_SN, FR_STRING_ATTR_SN},
    {TOK_EQUALITY, FR_STRING_ATTR_EQUALITY},
    {TOK_GREATEQ, FR_STRING_ATTR_GREATEQ},
    {TOK_GREATER, FR_STRING_ATTR_GREATER},
    {TOK_SMALLEQ, FR_STRING_ATTR_SMALLEQ},
    {TOK_SMALLER, FR_STRING_ATTR_SMALLER},
    {TOK_INEQ, FR_STRING_ATTR_INEQ},
    {TOK_AND, FR_STRING_ATTR_AND},
    {TOK_OR, FR_STRING_ATTR_OR},
    {TOK_NOT, FR_STRING_ATTR_NOT},
    {TOK_OPEN_PAR, FR_STRING_OPEN_PAR},
    {TOK_CLOSE_PAR, FR_STRING_CLOSE_PAR},
    {TOK_BAUD, FR_STRING_ATTR_BAUD},
    {TOK_END, nullptr},
};

namespace {

/// Longest attribute part, in characters.
constexpr int kMaxLength = 4096;

/// Walks the text token by token.
class Scanner {
public:
  explicit Scanner(std::string_view text) : rest_(text) { skipBlanks(); }

  bool atEnd() const { return rest_.empty(); }

  /// Reads the token at the cursor; false when there is none.
  bool next(QVvisa_frToken_t& token) {
    token = {};
    if (!readFixed(token) && !readString(token) && !readNumber(token)) return false;
    skipBlanks();
    return true;
  }

private:
  bool readFixed(QVvisa_frToken_t& token) {
    for (const QVvisa_tokString_t* row = tokenStrings; row->id; ++row) {
      if (!rest_.starts_with(row->id)) continue;
      token.tokId = row->tokId;
      rest_.remove_prefix(strlen(row->id));
      return true;
    }
    return false;
  }

  /// The first character behind the opening quotation mark is text even if it is one itself.
  bool readString(QVvisa_frToken_t& token) {
    if (!rest_.starts_with('"')) return false;
    const size_t close = rest_.find('"', 2);
    if (close == std::string_view::npos) return false;
    token.tokId = TOK_RVAL_S;
    rest_.substr(1, std::min<size_t>(close - 1, MAX_TOKEN_LEN)).copy(token.buf, MAX_TOKEN_LEN);
    rest_.remove_prefix(close + 1);
    return true;
  }

  bool readNumber(QVvisa_frToken_t& token) {
    token.tokId = TOK_RVAL_I;
    if (rest_.starts_with("0x")) {
      rest_.remove_prefix(2);
      uint32_t value = 0;
      if (!convert(value, 16)) return false;
      token.val = static_cast<int>(value);
    } else {
      // A sign would be taken by the conversion, but a number begins with a digit.
      if (rest_.starts_with('-') || !convert(token.val, 10)) return false;
    }
    // A decimal number, too, swallows the hexadecimal digits behind it.
    while (!rest_.empty() && isHexDigit(rest_.front())) rest_.remove_prefix(1);
    return true;
  }

  template <typename T>
  bool convert(T& value, int base) const {
    return std::from_chars(rest_.data(), rest_.data() + rest_.size(), value, base).ec == std::errc();
  }

  void skipBlanks() {
    while (!rest_.empty() && isWhiteSpace(rest_.front())) rest_.remove_prefix(1);
  }

  std::string_view rest_;
};

/// Number of tokens in a text, 0 when it can't be read.
int countTokens(std::string_view text) {
  Scanner scanner(text);
  int count = 0;
  do {
    QVvisa_frToken_t token;
    if (!scanner.next(token)) return 0;
    ++count;
  } while (!scanner.atEnd());
  return count;
}

void bindText(QVvisa_frToken_t& token, const char* text) {
  strncpy(token.buf, text, sizeof token.buf);
}

/// What the tokens of an expression compare on one entry.
struct Attributes {
  QVvisa_resourceNumber_t numbers[QVVISA_MAX_RESOURCE_NUMBERS];
  const char* serialNumber = nullptr;
};

Attributes attributesOf(const QVvisa_devIntfUsb_t& entry) {
  return {{{VI_ATTR_MANF_ID, entry.vid},
           {VI_ATTR_MODEL_CODE, entry.pid},
           {VI_ATTR_USB_CLASS, entry.bInterfaceClass},
           {VI_ATTR_USB_SUBCLASS, entry.bInterfaceSubClass},
           {VI_ATTR_USB_PROTOCOL, entry.bInterfaceProtocol}},
          reinterpret_cast<const char*>(entry.sn)};
}

Attributes attributesOf(const QVvisa_devIntfAsrl_t& entry) {
  return {{{VI_ATTR_MANF_ID, entry.vid}, {VI_ATTR_MODEL_CODE, entry.pid}, {VI_ATTR_ASRL_BAUD, entry.baudRate}}};
}

Attributes attributesOf(const QVvisa_resource_t& entry) {
  Attributes attributes = {};
  std::ranges::copy(entry.numbers, attributes.numbers);
  return attributes;
}

/// The attribute that a token stands for, 0 for a token that isn't a number of the entries'.
ViAttr attributeOf(uint8_t tokId) {
  switch (tokId) {
  case TOK_VID:
    return VI_ATTR_MANF_ID;
  case TOK_PID:
    return VI_ATTR_MODEL_CODE;
  case TOK_CLASS:
    return VI_ATTR_USB_CLASS;
  case TOK_SUBCLASS:
    return VI_ATTR_USB_SUBCLASS;
  case TOK_PROT:
    return VI_ATTR_USB_PROTOCOL;
  case TOK_BAUD:
    return VI_ATTR_ASRL_BAUD;
  default:
    return 0;
  }
}

/// Gives a token its value on one entry. A token that the entry's bus knows nothing of keeps what it holds: 0, or the
/// value of an entry of another bus. No entry carries the names of its device.
void bind(QVvisa_frToken_t& token, const Attributes& entry) {
  if (token.tokId == TOK_NAME || token.tokId == TOK_MANUF) bindText(token, "todo");
  if (token.tokId == TOK_SN && entry.serialNumber) bindText(token, entry.serialNumber);
  const ViAttr name = attributeOf(token.tokId);
  if (name == 0) return;
  const auto* number = std::ranges::find(entry.numbers, name, &QVvisa_resourceNumber_t::name);
  if (number != std::end(entry.numbers)) token.val = number->value;
}

/// Whether an expression can be evaluated doesn't rest on the values, so that the first failure stands for all entries.
template <typename Entry>
void evaluate(QVvisa_frTokenList_t* list, std::span<Entry> entries) {
  for (Entry& entry : entries) {
    const Attributes attributes = attributesOf(entry);
    for (QVvisa_frToken_t& token : std::span(list->tokens, static_cast<size_t>(list->size))) bind(token, attributes);
    initTokens(list);
    uint8_t result = TOK_RESULT_UNDEF;
    if (processTokens(list, 0, list->size - 1, &result) != VI_SUCCESS) return;
    if (result == TOK_RESULT_TRUE) entry.matchAE = 1;
  }
}

bool isTruth(const QVvisa_frToken_t& token) {
  return token.result == TOK_RESULT_TRUE || token.result == TOK_RESULT_FALSE;
}

bool compare(int left, uint8_t oper, int right) {
  switch (oper) {
  case TOK_EQUALITY:
    return left == right;
  case TOK_GREATER:
    return left > right;
  case TOK_GREATEQ:
    return left >= right;
  case TOK_SMALLER:
    return left < right;
  case TOK_SMALLEQ:
    return left <= right;
  default:
    return left != right;
  }
}

uint8_t truth(bool value) {
  return value ? TOK_RESULT_TRUE : TOK_RESULT_FALSE;
}

/// The parentheses of a bracket that has been evaluated hold each other's place in `val`.
void link(QVvisa_frTokenList_t* list, int open, int close) {
  list->tokens[open].val = close;
  list->tokens[close].val = open;
  list->tokens[close].processed = TOK_PROC_STEP1;
}

bool isEvaluated(const QVvisa_frTokenList_t* list, int open, int close) {
  if (open < 0 || close <= open || close >= list->size) return false;
  const QVvisa_frToken_t &first = list->tokens[open], &last = list->tokens[close];
  return first.tokId == TOK_OPEN_PAR && last.tokId == TOK_CLOSE_PAR && last.processed != TOK_PROC_NOT &&
         first.val == close && last.val == open;
}

/// The next place behind a token that may be unprocessed: not inside a bracket that has been evaluated.
int following(const QVvisa_frTokenList_t* list, int i) {
  const int close = list->tokens[i].val;
  return (isEvaluated(list, i, close) ? close : i) + 1;
}

/// Likewise the place before a token.
int preceding(const QVvisa_frTokenList_t* list, int i) {
  const int open = list->tokens[i].val;
  return isEvaluated(list, open, i) ? open : i - 1;
}

using BinaryOperation = ViStatus (*)(QVvisa_frToken_t*, QVvisa_frToken_t*, QVvisa_frToken_t*);

/// Applies the operators of a range that `wanted` names, left to right.
ViStatus processBinary(QVvisa_frTokenList_t* list, int startTok, int endTok, int wanted, BinaryOperation operation) {
  for (int i = startTok; i <= endTok; i = following(list, i)) {
    QVvisa_frToken_t& token = list->tokens[i];
    if (token.processed != TOK_PROC_NOT || !tokCheck(token.tokId, wanted)) continue;
    QVvisa_frToken_t* left = nullptr;
    QVvisa_frToken_t* right = nullptr;
    ViStatus status = findPrevNextToken(list, i, &left, &right);
    if (status == VI_SUCCESS) status = operation(left, &token, right);
    if (status != VI_SUCCESS) return status;
  }
  return VI_SUCCESS;
}

ViStatus processNegations(QVvisa_frTokenList_t* list, int startTok, int endTok) {
  for (int i = startTok; i <= endTok; i = following(list, i)) {
    QVvisa_frToken_t& token = list->tokens[i];
    if (token.processed != TOK_PROC_NOT || token.tokId != TOK_NOT) continue;
    QVvisa_frToken_t* right = nullptr;
    ViStatus status = findNextToken(list, i, &right);
    if (status == VI_SUCCESS) status = tokNotOper(&token, right);
    if (status != VI_SUCCESS) return status;
  }
  return VI_SUCCESS;
}

/// The one token that is left holds the value of the range.
ViStatus collectResult(QVvisa_frTokenList_t* list, int startTok, int endTok, uint8_t* result) {
  int left = 0;
  for (int i = startTok; i <= endTok; i = following(list, i)) {
    QVvisa_frToken_t& token = list->tokens[i];
    if (token.processed != TOK_PROC_NOT) continue;
    *result = token.result;
    token.processed = TOK_PROC_STEP1;
    ++left;
  }
  return left == 1 ? VI_SUCCESS : VI_ERROR_INV_EXPR;
}

/// Evaluates a range without brackets, or whose brackets have been evaluated.
ViStatus processFlat(QVvisa_frTokenList_t* list, int startTok, int endTok, uint8_t* result) {
  ViStatus status = processBinary(list, startTok, endTok, TOK_COMBINED_IOP, tokOperator);
  if (status == VI_SUCCESS) status = processBinary(list, startTok, endTok, TOK_AND, tokExpOper);
  if (status == VI_SUCCESS) status = processBinary(list, startTok, endTok, TOK_OR, tokExpOper);
  if (status == VI_SUCCESS) status = processNegations(list, startTok, endTok);
  return status == VI_SUCCESS ? collectResult(list, startTok, endTok, result) : status;
}

/// Evaluates the brackets of a range, the inner ones first since they close first: the open parenthesis takes the value
/// and stands for the bracket from then on. One that never closes isn't noticed here. Brackets may be nested deeper
/// than a thread's stack, so each open parenthesis keeps in `val` the place of the one around it.
ViStatus processParentheses(QVvisa_frTokenList_t* list, int startTok, int endTok) {
  constexpr int kNone = -1;
  int innermost = kNone;
  for (int i = startTok; i <= endTok; ++i) {
    QVvisa_frToken_t& token = list->tokens[i];
    if (token.processed != TOK_PROC_NOT) continue;
    if (token.tokId == TOK_OPEN_PAR) token.val = std::exchange(innermost, i);
    if (token.tokId != TOK_CLOSE_PAR) continue;
    if (innermost == kNone) return VI_ERROR_INV_EXPR;
    QVvisa_frToken_t& open = list->tokens[innermost];
    const ViStatus status = processFlat(list, innermost + 1, i - 1, &open.result);
    if (status != VI_SUCCESS) return status;
    const int outer = open.val;
    link(list, innermost, i);
    innermost = outer;
  }
  return VI_SUCCESS;
}

/// Nearest unprocessed token from `cur` on, in steps that `next` gives; null at the end of the list.
QVvisa_frToken_t* neighbour(QVvisa_frTokenList_t* list, int cur, int (*next)(const QVvisa_frTokenList_t*, int)) {
  for (int i = next(list, cur); i >= 0 && i < list->size; i = next(list, i)) {
    if (list->tokens[i].processed == TOK_PROC_NOT) return &list->tokens[i];
  }
  return nullptr;
}

}  // namespace

ViStatus QVvisa_initFrTokenList(QVvisa_frTokenList_t** ppftl, int size) {
  if (!ppftl || size < 1) return VI_ERROR_INV_PARAMETER;
  auto* list = static_cast<QVvisa_frTokenList_t*>(DEBUG_MALLOC(sizeof(QVvisa_frTokenList_t)));
  if (!list) return VI_ERROR_ALLOC;
  list->tokens = static_cast<QVvisa_frToken_t*>(DEBUG_CALLOC(static_cast<size_t>(size), sizeof(QVvisa_frToken_t)));
  list->size = size;
  if (!list->tokens) {
    DEBUG_FREE(list);
    return VI_ERROR_ALLOC;
  }
  *ppftl = list;
  return VI_SUCCESS;
}

void QVvisa_closeFrTokenList(QVvisa_frTokenList_t** ppftl) {
  if (!ppftl || !*ppftl) return;
  DEBUG_FREE((*ppftl)->tokens);
  DEBUG_FREE(*ppftl);
  *ppftl = nullptr;
}

ViStatus QVvisa_helperProcessPattern_BC(char* pattern, int plen, QVvisa_devList_t* pdl) {
  if (!pattern || plen == 0) return VI_SUCCESS;
  if (!pdl) return VI_ERROR_INV_OBJECT;
  QVvisa_frTokenList_t* list = nullptr;
  const ViStatus status = QVvisa_helperProcessPattern_B(pattern, plen, &list);
  if (status != VI_SUCCESS) return status;
  QVvisa_helperProcessPatternUsb_C(list, pdl->usbList);
  QVvisa_helperProcessPatternAsrl_C(list, pdl->asrlList);
  if (pdl->otherList)
    evaluate(list, std::span(pdl->otherList->resources, static_cast<size_t>(pdl->otherList->numResources)));
  QVvisa_closeFrTokenList(&list);
  return VI_SUCCESS;
}

ViStatus QVvisa_helperProcessPattern_B(char* pattern, int plen, QVvisa_frTokenList_t** ppftl) {
  if (!pattern || !ppftl) return VI_ERROR_INV_OBJECT;
  if (plen < 0 || plen > kMaxLength) return VI_ERROR_INV_RSRC_NAME;
  const std::string_view text(pattern, strnlen(pattern, static_cast<size_t>(plen)));
  const int count = countTokens(text);
  if (count == 0) return VI_ERROR_INV_RSRC_NAME;
  const ViStatus status = QVvisa_initFrTokenList(ppftl, count);
  if (status != VI_SUCCESS) return status;
  Scanner scanner(text);
  for (int i = 0; i < count; ++i) scanner.next((*ppftl)->tokens[i]);
  return VI_SUCCESS;
}

ViStatus QVvisa_helperProcessPatternUsb_C(QVvisa_frTokenList_t* pftl, QVvisa_devIntfListUsb_t* pdilUsb) {
  if (pftl && pdilUsb) evaluate(pftl, std::span(pdilUsb->intfUsb, static_cast<size_t>(pdilUsb->numDevIntfUsb)));
  return VI_SUCCESS;
}

ViStatus QVvisa_helperProcessPatternAsrl_C(QVvisa_frTokenList_t* pftl, QVvisa_devIntfListAsrl_t* pdilAsrl) {
  if (pftl && pdilAsrl) evaluate(pftl, std::span(pdilAsrl->intfAsrl, static_cast<size_t>(pdilAsrl->numDevIntfAsrl)));
  return VI_SUCCESS;
}

void initTokens(QVvisa_frTokenList_t* pftl) {
  if (!pftl) return;
  for (QVvisa_frToken_t& token : std::span(pftl->tokens, static_cast<size_t>(pftl->size))) {
    token.processed = TOK_PROC_NOT;
    token.result = TOK_RESULT_UNDEF;
  }
}

ViStatus processTokens(QVvisa_frTokenList_t* pftl, int startTok, int endTok, uint8_t* result) {
  if (!pftl || !result) return VI_ERROR_INV_OBJECT;
  const ViStatus status = processParentheses(pftl, startTok, endTok);
  return status == VI_SUCCESS ? processFlat(pftl, startTok, endTok, result) : status;
}

ViBoolean tokCheck(int idTest, int idCompare) {
  switch (idCompare) {
  case TOK_COMBINED_INUM:
    return (idTest >= TOK_VID && idTest <= TOK_PROT) || idTest == TOK_BAUD;
  case TOK_COMBINED_IOP:
    return idTest >= TOK_EQUALITY && idTest <= TOK_INEQ;
  case TOK_COMBINED_LOGIC:
    return idTest == TOK_AND || idTest == TOK_OR;
  default:
    break;
  }
  const bool isPlainId =
      (idCompare >= TOK_END && idCompare <= TOK_SN) || (idCompare >= TOK_EQUALITY && idCompare <= TOK_NOT) ||
      (idCompare >= TOK_OPEN_PAR && idCompare <= TOK_BAUD) || idCompare == TOK_RVAL_I || idCompare == TOK_RVAL_S;
  return isPlainId && idTest == idCompare;
}

ViStatus findPrevNextToken(QVvisa_frTokenList_t* pftl, int cur, QVvisa_frToken_t** left, QVvisa_frToken_t** right) {
  if (!pftl || !left || !right) return VI_ERROR_INV_OBJECT;
  if (cur < 1 || cur > pftl->size - 2) return VI_ERROR_INV_EXPR;
  *left = neighbour(pftl, cur, preceding);
  *right = neighbour(pftl, cur, following);
  return *left && *right ? VI_SUCCESS : VI_ERROR_INV_EXPR;
}

ViStatus findNextToken(QVvisa_frTokenList_t* pftl, int cur, QVvisa_frToken_t** right) {
  if (!pftl || !right) return VI_ERROR_INV_OBJECT;
  if (cur < 0 || cur > pftl->size - 2) return VI_ERROR_INV_EXPR;
  *right = neighbour(pftl, cur, following);
  return *right ? VI_SUCCESS : VI_ERROR_INV_EXPR;
}

ViStatus tokOperator(QVvisa_frToken_t* left, QVvisa_frToken_t* oper, QVvisa_frToken_t* right) {
  if (!left || !oper || !right) return VI_ERROR_INV_OBJECT;
  const auto isAttributeAndNumber = [](const QVvisa_frToken_t& a, const QVvisa_frToken_t& b) {
    return tokCheck(a.tokId, TOK_COMBINED_INUM) && b.tokId == TOK_RVAL_I;
  };
  if (!isAttributeAndNumber(*left, *right) && !isAttributeAndNumber(*right, *left)) return VI_ERROR_INV_EXPR;
  oper->result = truth(compare(left->val, oper->tokId, right->val));
  left->processed = TOK_PROC_STEP1;
  right->processed = TOK_PROC_STEP1;
  return VI_SUCCESS;
}

ViStatus tokExpOper(QVvisa_frToken_t* left, QVvisa_frToken_t* oper, QVvisa_frToken_t* right) {
  if (!left || !oper || !right) return VI_ERROR_INV_OBJECT;
  if (!isTruth(*left) || !isTruth(*right)) return VI_ERROR_INV_EXPR;
  const bool isLeft = left->result == TOK_RESULT_TRUE;
  const bool isRight = right->result == TOK_RESULT_TRUE;
  oper->result = truth(oper->tokId == TOK_AND ? isLeft && isRight : isLeft || isRight);
  left->processed = TOK_PROC_STEP1;
  right->processed = TOK_PROC_STEP1;
  return VI_SUCCESS;
}

ViStatus tokNotOper(QVvisa_frToken_t* oper, QVvisa_frToken_t* right) {
  if (!oper || !right) return VI_ERROR_INV_OBJECT;
  if (!isTruth(*right)) return VI_ERROR_INV_EXPR;
  oper->result = truth(right->result != TOK_RESULT_TRUE);
  right->processed = TOK_PROC_STEP1;
  return VI_SUCCESS;
}
