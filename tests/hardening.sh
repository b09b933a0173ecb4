#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Sees that binaries carry what cmake/Hardening.cmake asks for: hardening.sh FILE... [--fortified FILE...]
set -uo pipefail
failures=0
fortified=0

# expect TEXT PATTERN WHAT: a line of TEXT must match.
expect() {
    grep -qE -- "$2" <<<"$1" && return
    echo "$file: no $3"
    failures=$((failures + 1))
}

for file; do
    if [ "$file" = --fortified ]; then
        fortified=1
        continue
    fi
    headers=$(readelf -hlW "$file") && dynamic=$(readelf -dW "$file") &&
        symbols=$(readelf --dyn-syms -W "$file") || exit 1
    expect "$headers" '^ *Type: *DYN ' "position-independent code"
    expect "$headers" 'GNU_STACK.* RW +0x' "stack without execution"
    expect "$headers" 'GNU_RELRO' "relocations made read-only"
    expect "$dynamic" 'BIND_NOW|FLAGS_1.* NOW' "binding at the start"
    expect "$symbols" ' __stack_chk_fail(@|$)' "stack protector"
    [ "$fortified" = 0 ] || expect "$symbols" ' __[a-z]+_chk(@|$)' "checked string functions"
done
exit $((failures > 0))
