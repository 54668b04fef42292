#!/usr/bin/env bash
# One printer is off: the demonstration must fail and name it, and the others must have the whole document.
#
#   demonstration_printer_off_test.sh DEMONSTRATION...
output=$("$@" --switch-off Sales)
code=$?
echo "$output"
[ "$code" -eq 1 ] || { echo "exit code $code"; exit 1; }
grep -qE '^Everywhere +Sales .*NOT EQUAL' <<<"$output" || exit 1
[ "$(grep -cE '^(Office|Everywhere) .* equal$' <<<"$output")" -eq 3 ]
