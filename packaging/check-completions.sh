#!/usr/bin/env bash
# Holds the man page and the completions against the options and subcommands that the tool's help tells of. Argument: the
# build's folder.
set -euo pipefail
cd "$1"
cmake --build . --target qvvisa_references >/dev/null
tool=bin/qvvisa man=tools/man/qvvisa.1 bash=tools/bash/qvvisa zsh=tools/zsh/_qvvisa
failed=0

# differs WHAT EXPECTED FOUND: complains where the two lists of words, one a line, aren't the same.
differs() {
  diff <(sort -u <<<"$2") <(sort -u <<<"$3") >/dev/null && return
  printf '%s differs from the help (<) in:\n' "$1"
  diff <(sort -u <<<"$2") <(sort -u <<<"$3") | grep '^[<>]' || true
  failed=1
}
# The names of options at the beginning of lines such as "  -t,--timeout MS".
options_of() { "$tool" $1 --help | grep -oE '^  -[^ ]+' | tr -d ' ' | tr ',' '\n'; }
section_of_man() { sed 's/\\-/-/g' "$man" | awk -v head="$1" '/^\.S[HS]/ {on = index($0, head) == 1} on'; }
options_in() { grep -oE '\\fB-[^\\]*' | sed 's/^\\fB//'; }

mapfile -t subcommands < <("$tool" --help | awk '/^Subcommands:/ {on = 1; next} on && /^  [a-z]/ {print $1} /^$/ {on = 0}')
[ ${#subcommands[@]} -ge 10 ] || { echo "the help lists no subcommands"; exit 1; }
. "$bash"
complete_words() {
  COMP_WORDS=(qvvisa "$@") COMP_CWORD=$#
  _qvvisa
  printf '%s\n' "${COMPREPLY[@]}"
}
common=$(options_of "")
differs "bash: subcommands" "$(printf '%s\n' "${subcommands[@]}")" "$(complete_words '')"
differs "zsh: subcommands" "$(printf '%s\n' "${subcommands[@]}")" "$(grep -oE "^    '[a-z-]+:" "$zsh" | tr -d " ':")"
differs "man page: subcommands" "$(printf '%s\n' "${subcommands[@]}")" \
  "$(sed 's/\\-/-/g' "$man" | grep -oE '^\.SS "[a-z-]+' | sed 's/.*"//')"
differs "man page: options" "$common" "$(section_of_man '.SH OPTIONS' | options_in)"
zsh_options() { grep -oE "'\*-[^=[]+" | sed "s/^'\*//"; }
differs "zsh: options" "$common" "$(awk '/^  common=/ {on = 1} /^  for / {on = 0} on' "$zsh" | zsh_options)"
for subcommand in "${subcommands[@]}"; do
  own=$(options_of "$subcommand")
  differs "bash: options of $subcommand" "$own"$'\n'"$common" "$(complete_words "$subcommand" -)"
  differs "zsh: options of $subcommand" "$own" \
    "$(awk -v head="  $subcommand)" '/^  [a-z-]+\)$/ {on = $0 == head} on' "$zsh" | zsh_options)"
  differs "man page: options of $subcommand" "$(grep -vxE -e '-h|--help' <<<"$own" || true)" \
    "$(section_of_man ".SS \"$subcommand" | awk '/^\.SS/ {n = split($2, w, "\""); on = w[2] == "'"$subcommand"'"} on' | options_in || true)"
done
if command -v zsh >/dev/null; then zsh -n "$zsh" || failed=1; fi
if command -v groff >/dev/null; then
  warnings=$(groff -man -ww -z "$man" 2>&1)
  [ -z "$warnings" ] || { echo "$warnings"; failed=1; }
fi
exit "$failed"
