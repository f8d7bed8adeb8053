#!/usr/bin/env bash
# The part of the demonstration that runs beside the simulated instruments. Argument: the qvvisa tool.
set -euo pipefail
qvvisa=$1

# Shows a command as a user would type it, and runs it, its messages included.
show() {
  local word
  printf '\n$ qvvisa'
  for word in "$@"; do
    [[ $word =~ ^[A-Za-z0-9_:.=-]+$ ]] && printf ' %s' "$word" || printf " '%s'" "$word"
  done
  printf '\n'
  "$qvvisa" "$@" 2>&1
}

echo "Instruments found on USB and serial ports:"
show find
show find -l

mapfile -t found < <("$qvvisa" find '?*::INSTR')
for resource in "${found[@]}" "$QVVISA_SIM_TCP"; do
  show query "$resource" '*IDN?'
  show query "$resource" 'VOLT 1.25;VOLT?'
  show query "$resource" 'MEAS:VOLT?'
done

for resource in "${found[@]}"; do
  case $resource in
  USB*) show stb "$resource" ;;
  ASRL*) show attr "$resource" VI_ATTR_ASRL_BAUD ;;
  esac
done

# What it finds to mend is no fault of the demonstration.
show doctor || true
show doctor "$QVVISA_SIM_TCP"
printf '\nA shell, here with lines from a pipe:\n'
printf '%s\n' 'VOLT 2.5' 'MEAS:VOLT?' '.attr TMO_VALUE' | show shell "$QVVISA_SIM_TCP"
