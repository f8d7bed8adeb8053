#!/usr/bin/env bash
# Fails if the shared library lacks one of the sixteen public operations or shows a name outside its families.
# Argument: the shared library.
set -euo pipefail
names=$(nm -D --defined-only "$1" | awk '{print $3}')
missing=0
for operation in OpenDefaultRM FindRsrc FindNext Open Close SetAttribute GetAttribute StatusDesc Read Write ReadSTB \
  Clear Flush GpibControlREN UsbControlOut UsbControlIn; do
  grep -qx "QV_vi$operation" <<<"$names" || { echo "missing: QV_vi$operation"; missing=1; }
done
families='^(QV_|QVvisa|QVlibusb|qvls_|qvh_|OS_|hptime|B128S_|debug_|slre_|UTIL_|libusb2QVvisa|libserial2QVvisa|g[A-Z]|g_|gp|glib)'
# Operations and constants whose names carry no prefix.
single='^(RS232GUID|rs232GuidStr|devProps|flock_QVvisa|visaErr|tokenStrings|initTokens|processTokens|tokCheck|tokOperator|tokExpOper|tokNotOper|findPrevNextToken|findNextToken|isUSBTMC|isWhiteSpace|isHexDigit|skipWhiteSpace|removeChar|removeNul|maskBuf|get_system_error_message|initLogFile|closeLogFile|enableLogging|isLoggingEnabled|isLoggingPossible|checkLogLevelMask|printLogFileName|printLinearList)$'
strangers=$(grep -vE "$families" <<<"$names" | grep -vE "$single" || true)
if [ -n "$strangers" ]; then
  printf 'names outside the families:\n%s\n' "$strangers"
  missing=1
fi
exit "$missing"
