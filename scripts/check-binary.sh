#!/bin/sh
# Checks a stripped program of a release: position-independent, full RELRO, stack protector, checked library calls;
# and no larger than a limit.
#
# Usage: check-binary.sh PROGRAM [BYTES]
set -eu

program=$1 limit=${2:-}
failed=0

# expect WHAT PATTERN TEXT
expect() {
  printf '%s\n' "$3" | grep -qE "$2" && return
  echo "check-binary.sh: $program has no $1" >&2
  failed=1
}

headers=$(LC_ALL=C readelf -hlW "$program")
dynamic=$(LC_ALL=C readelf -dW "$program")
symbols=$(LC_ALL=C readelf --dyn-syms -W "$program")
expect 'position-independent code' 'Type: +DYN .*Position-Independent Executable' "$headers"
expect 'read-only relocations' GNU_RELRO "$headers"
expect 'binding at start' 'FLAGS_1.* NOW' "$dynamic"
expect 'stack protector' __stack_chk_fail "$symbols"
expect 'checked library calls' '__[a-z]+printf_chk' "$symbols"

size=$(stat -c %s "$program")
echo "$program: $size bytes${limit:+ of $limit}"
if [ -n "$limit" ] && [ "$size" -gt "$limit" ]; then
  echo "check-binary.sh: $program is larger than $limit bytes" >&2
  failed=1
fi
exit "$failed"
