#!/usr/bin/env bash
# Runs the C program of the flat functions over stores made for it, and looks for its trace lines.
#
#   zynkflat_test.sh PROBE C_PROGRAM
set -euo pipefail
probe=$1 program=$2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset ZYN_REGISTRY_ROOT ZYN_DEFAULT_CONFIGURATION ZYN_SPLIT_TRACES ZYN_SHORT_TRACES
export ZYN_STORE_MACHINE=$work/machine.db ZYN_STORE_USER=$work/user.db
export ZYN_TRACE_FILE=$work/trace ZYN_TRACE_CRITERIA=1,FFFF,FFFFFFFF

expect() { # codes and function, then the text
    grep -qE "\\(01,$1, $2\$" "$work/trace.log" ||
        { echo "no line $1 $2 in"; cat "$work/trace.log"; exit 1; }
}

"$probe" config:FLAT install put:Language=enu >/dev/null
"$program" enu
expect 'Er,Kr\), .*, ZynPrfCurrentConfig' 'ConfigurationID not found in ZynPrfCurrentConfig\(\)'
expect 'Er,Kr\), .*, ZynPrfCurrentConfig' 'Unknown exception occured in ZynPrfCurrentConfig\(\)'
"$probe" install put:Language=de >/dev/null
"$program" none
expect 'SC,Kr\), .*, ZynPrfLanguage' \
    'Profile Find Language\(\) , RetCode =[0-9]+ , ReasonCode =0 , ZynPrfLanguage\(\)'
