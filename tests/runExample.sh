#!/usr/bin/env bash
# Runs an example on a simulated instrument, where it has to print a text, and on a name that no bus knows, where it has
# to fail and say why. Arguments: qvvisa-sim, the text, the example's command.
set -euo pipefail
sim=$1 expected=$2
shift 2
output=$("$sim" --tcp -- bash -c '"$@" "$QVVISA_SIM_TCP"' - "$@")
[[ $output == *"$expected"* ]] || { echo "not '$expected' but: $output"; exit 1; }
if error=$("$@" GPIB0::5::INSTR 2>&1 >/dev/null); then
  echo "did not fail on a name that no bus knows"
  exit 1
fi
[[ $error == *"Invalid resource"* ]] || { echo "not the status text but: $error"; exit 1; }
