#!/bin/sh
# factory-line.sh TABLET LOGS: checks a tablet's folder at the end of the line and keeps the reports in the folder LOGS.
# The last line begins with PASS, FAIL or ERROR, for the station's display; the exit code is 0 for PASS only.
set -u
tablet=${1:?name the folder of a tablet}
logs=${2:?name a folder for the reports}
name=$(basename "$tablet")
mkdir -p "$logs" || exit 1

vantord-tablet check "$tablet" --report "$logs/$name.html" --junit "$logs/$name.xml" --force > "$logs/$name.txt" 2>&1
code=$?
case $code in
  0) echo "PASS $name" ;;
  5) echo "FAIL $name: $(grep -E -m1 '^  (error|warning) ' "$logs/$name.txt")" ;;
  *) echo "ERROR $name: exit code $code, see $logs/$name.txt" ;;
esac
exit "$code"
