/// Fuzzes attribute parts: what they select has to be what the passes of the language say when they are written as
/// plainly as they can be. Input: the attribute part.
#include "QVvisaTokens.h"
#include "fuzz.h"
#include "interfaces.h"

#include <optional>
#include <vector>

namespace {

/// Longer ones take the plain passes, which are quadratic, too much time.
constexpr int MAX_TOKENS = 300;

/// A token, or a bracket or comparison that stands for the tokens it was made of.
struct Term {
  int kind;  ///< TOK_OPEN_PAR for an evaluated bracket
  int value = 0;
  std::optional<bool> truth = std::nullopt;
};
using Terms = std::vector<Term>;

bool isNumeric(const Term& term) {
  return (term.kind >= TOK_VID && term.kind <= TOK_PROT) || term.kind == TOK_BAUD;
}

bool isComparison(const Term& term) {
  return term.kind >= TOK_EQUALITY && term.kind <= TOK_INEQ;
}

bool compare(int left, int kind, int right) {
  const bool outcomes[] = {left == right, left > right, left >= right, left < right, left <= right, left != right};
  return outcomes[kind - TOK_EQUALITY];
}

/// What an operator makes of its neighbours; none where it can't be applied.
std::optional<bool> apply(const Term& left, const Term& oper, const Term& right) {
  if (isComparison(oper)) {
    const bool fits = (isNumeric(left) && right.kind == TOK_RVAL_I) || (isNumeric(right) && left.kind == TOK_RVAL_I);
    return fits ? std::optional(compare(left.value, oper.kind, right.value)) : std::nullopt;
  }
  if (!left.truth || !right.truth) return std::nullopt;
  return oper.kind == TOK_AND ? *left.truth && *right.truth : *left.truth || *right.truth;
}

/// Replaces each operator that `wanted` names by its value.
template <typename Wanted>
bool binaryPass(Terms& terms, Wanted wanted) {
  for (std::size_t i = 0; i < terms.size(); ++i) {
    if (terms[i].truth || !wanted(terms[i])) continue;
    if (i == 0 || i + 1 == terms.size()) return false;
    terms[i].truth = apply(terms[i - 1], terms[i], terms[i + 1]);
    if (!terms[i].truth) return false;
    terms.erase(terms.begin() + static_cast<std::ptrdiff_t>(i) + 1);
    terms.erase(terms.begin() + static_cast<std::ptrdiff_t>(--i));
  }
  return true;
}

bool negationPass(Terms& terms) {
  for (std::size_t i = 0; i < terms.size(); ++i) {
    if (terms[i].kind != TOK_NOT) continue;
    if (i + 1 == terms.size() || !terms[i + 1].truth) return false;
    terms[i].truth = !*terms[i + 1].truth;
    terms.erase(terms.begin() + static_cast<std::ptrdiff_t>(i) + 1);
  }
  return true;
}

/// The one term that a level comes to, none where it can't be evaluated.
std::optional<Term> level(Terms terms) {
  const bool evaluated = binaryPass(terms, isComparison) &&
                         binaryPass(terms, [](const Term& term) { return term.kind == TOK_AND; }) &&
                         binaryPass(terms, [](const Term& term) { return term.kind == TOK_OR; }) && negationPass(terms);
  return evaluated && terms.size() == 1 ? std::optional(terms[0]) : std::nullopt;
}

bool isTrue(const Terms& tokens) {
  std::vector<Terms> open(1);
  for (const Term& token : tokens) {
    if (token.kind == TOK_OPEN_PAR) {
      open.emplace_back();
    } else if (token.kind != TOK_CLOSE_PAR) {
      open.back().push_back(token);
    } else {
      if (open.size() == 1) return false;
      const auto value = level(open.back());
      if (!value) return false;
      open.pop_back();
      open.back().push_back({TOK_OPEN_PAR, 0, value->truth});
    }
  }
  // A bracket that never closes leaves its parenthesis in the way, or is all that there is.
  if (open.size() > 1) return false;
  const auto value = level(open[0]);
  return value && value->truth && *value->truth;
}

template <typename Entry>
int valueOf(const Entry& entry, const Term& term) {
  if (term.kind == TOK_VID) return entry.vid;
  if (term.kind == TOK_PID) return entry.pid;
  return term.value;
}

int ofUsb(const QVvisa_devIntfUsb_t& entry, const Term& term) {
  if (term.kind == TOK_CLASS) return entry.bInterfaceClass;
  if (term.kind == TOK_SUBCLASS) return entry.bInterfaceSubClass;
  if (term.kind == TOK_PROT) return entry.bInterfaceProtocol;
  return valueOf(entry, term);
}

/// A serial port has no USB class; the one of the last USB interface is compared.
int ofAsrl(const QVvisa_devIntfUsb_t& last, const QVvisa_devIntfAsrl_t& entry, const Term& term) {
  if (term.kind == TOK_BAUD) return entry.baudRate;
  if (term.kind == TOK_CLASS || term.kind == TOK_SUBCLASS || term.kind == TOK_PROT) return ofUsb(last, term);
  return valueOf(entry, term);
}

template <typename Value>
bool selects(Terms terms, Value value) {
  for (Term& term : terms) term.value = value(term);
  return isTrue(terms);
}

void judge(const Terms& terms, const Interfaces& interfaces) {
  for (const auto& entry : interfaces.usb)
    require(entry.matchAE == selects(terms, [&](const Term& term) { return ofUsb(entry, term); }), "USB interface");
  for (const auto& entry : interfaces.asrl)
    require(entry.matchAE ==
                selects(terms, [&](const Term& term) { return ofAsrl(interfaces.usb.back(), entry, term); }),
            "serial port");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ExactText text({reinterpret_cast<const char*>(data), size});
  const int length = static_cast<int>(size);
  if (length == 0) return 0;
  Interfaces interfaces("B5678");
  const ViStatus status = QVvisa_helperProcessPattern_BC(text.get(), length, &interfaces.lists);
  require(status == VI_SUCCESS || status == VI_ERROR_INV_RSRC_NAME, "status");
  if (status != VI_SUCCESS) return 0;

  QVvisa_frTokenList_t* list = nullptr;
  require(QVvisa_helperProcessPattern_B(text.get(), length, &list) == VI_SUCCESS, "tokens");
  Terms terms;
  for (int i = 0; i < list->size; ++i) terms.push_back({list->tokens[i].tokId, list->tokens[i].val});
  QVvisa_closeFrTokenList(&list);
  if (terms.size() <= MAX_TOKENS) judge(terms, interfaces);
  return 0;
}
