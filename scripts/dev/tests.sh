# shellcheck shell=bash disable=SC2154
# The steps of ./dev test. Sourced by ./dev, which sets $root, $logs and $jobs.

# count PASSED FAILED SKIPPED: steps run side by side, in processes of their own.
count() { printf '%d %d %d\n' "$@" >>"$logs/counts"; }

# result NAME OUTCOME FROM [DETAILS]
result() {
  step_ends "$1"
  clear_line
  printf '%-28s %s  %4d s\n%s' "$1" "$2" "$((SECONDS - $3))" "${4:+$4$'\n'}"
}

# step NAME COMMAND...: one check. Its output goes to a log, the failing part of which is shown.
step() {
  local name="$1" from="$SECONDS" log="$logs/${1// /-}.log"
  shift
  step_begins "$name" "$log"
  if "$@" >"$log" 2>&1; then
    count 1 0 0
    result "$name" passed "$from"
  else
    count 0 1 0
    result "$name" FAILED "$from" "$(failing_part "$log")"
    return 1
  fi
}

# skip NAME REASON: a check that this machine cannot do.
skip() {
  count 0 0 1
  clear_line
  printf '%-28s skipped: %s\n' "$1" "$2"
}

# junit_count FILE ATTRIBUTE: a number of the report's first element.
junit_count() {
  local count
  count="$(grep -m 1 -o "\b$2=\"[0-9]*\"" "$1" | tr -dc 0-9 || true)"
  printf '%s' "${count:-0}"
}

# together_count FILE: of the tests that share a process with others (all.FOLDER), how many passed beyond the one that the
# report counts. A process in which one fails counts as one that fails.
together_count() {
  awk '/<testcase name="/ { shared = /name="all[.]/; known = /status="run"/ }
    shared && /\[  PASSED  \] [0-9]+ test/ { sum += $4 - known }
    END { print sum + 0 }' "$1"
}

# counted_step NAME COMMAND...: runs a command that writes a JUnit report; every test in it counts for itself. An argument
# @REPORT@ is replaced by the report's file.
counted_step() {
  local name="$1" from="$SECONDS" status=0 all=0 bad=0 left_out=0 details=''
  shift
  local log="$logs/${name// /-}.log" report="$logs/${name// /-}.xml"
  rm -f "$report"
  step_begins "$name" "$log"
  "${@//@REPORT@/"$report"}" >"$log" 2>&1 || status=$?
  if [ -f "$report" ]; then
    all="$(junit_count "$report" tests)"
    bad="$(junit_count "$report" failures)"
    left_out="$(($(junit_count "$report" skipped) + $(junit_count "$report" disabled)))"
    all="$((all + $(together_count "$report")))"
  fi
  # A run that ends badly without naming a failed test is a failure by itself.
  if [ "$status" -ne 0 ] && [ "$bad" -eq 0 ]; then bad=1 all=$((all + 1)); fi
  count "$((all - bad - left_out))" "$bad" "$left_out"
  if [ "$bad" -gt 0 ]; then
    details="$(failing_part "$log")"
  elif [ "$left_out" -gt 0 ]; then
    details="$(grep -o 'skipped message="[^"]*"' "$report" | sort | uniq -c || true)"
  fi
  result "$name" "$((all - bad - left_out)) of $all passed" "$from" "$details"
}

# ctest_step PRESET [CTEST_ARGUMENT...]: one test more at a time than there are processors, as many wait for another program.
ctest_step() {
  local preset="$1"
  shift
  counted_step "tests $preset" ctest --test-dir "$root/build/$preset" -j "$((jobs + 1))" --output-on-failure --no-tests=error \
    --output-junit @REPORT@ "$@"
}

# wine_tests [ARGUMENT...]: what tests/windows/run.py is given. It waits for nothing without an end; this is the last one.
wine_tests() {
  timeout --foreground -k 30 600 python3 "$root/tests/windows/run.py" --build "$root/build/windows-x64" \
    --hosted "$root/build/hosted" --jobs "$jobs" "$@"
}

# What is tested of the ARM64 executable: each program of Wine takes five times as long in an emulator.
arm64_suites=(StackGuard Fresh Controls WifiOnly TwoStarts FactoryAudit Kit.test_what_it_asks)
arm64_tests() {
  timeout --foreground -k 30 900 "$root/tests/windows/arm64/run" "$root/build/windows-arm64" "$root/build/hosted" \
    --jobs "$jobs" "$@" "${arm64_suites[@]}"
}

check_format() { source_files "${source_folders[@]}" | xargs clang-format --dry-run --Werror; }

# tracked INTERPRETER SUFFIX: the scripts of this checkout, those without a suffix by their first line.
tracked() {
  local file
  git -C "$root" ls-files | while read -r file; do
    case "${file##*/}" in
      *."$2") printf '%s\n' "$root/$file" ;;
      *.*) ;;
      *) ! head -n 1 "$root/$file" 2>/dev/null | grep -aq "^#!.*\b$1\b" || printf '%s\n' "$root/$file" ;;
    esac
  done
}

check_shell() { tracked '\(ba\|\)sh' sh | xargs shellcheck; }

check_python() { tracked python3 py | xargs flake8 --config "$root/.flake8"; }

# The compile commands of the sanitized build are clang's own, so clang-tidy understands all of them.
check_clang_tidy() { nice python3 "$root/scripts/tidy.py" --build "$root/build/asan" --jobs "$jobs"; }

# The ARM64 executable, as far as this machine can make it and execute it.
test_windows_arm64() {
  local lacking
  if ! lacking="$(cross_tools 2>&1)"; then
    skip "build windows-arm64" "${lacking##*$'\n'}"
  elif step "build windows-arm64" build windows-arm64; then
    ctest_step windows-arm64
    if ! lacking="$("$root/tests/windows/arm64/run" probe 2>&1)"; then
      skip "tests arm64" "${lacking##*$'\n'}"
    else
      counted_step "tests arm64" arm64_tests --report @REPORT@
    fi
  fi
}

# What is mostly waiting, for Wine's machines and for an emulator, runs beside the builds for Linux.
test_windows() {
  local x64=1
  if step "build windows-x64" build windows-x64; then x64=0; fi
  # The runs under Wine are compared with those of the program.
  until [ -f "$logs/hosted-is-built" ]; do sleep 1; done
  if [ "$x64" -eq 0 ]; then
    counted_step "tests wine" wine_tests --report @REPORT@
    ctest_step windows-x64
  fi
  test_windows_arm64
  step "build windows-x64-clang" build windows-x64-clang Vantord || true
  # For Linux, but the other line takes longer.
  if step "build tsan" build tsan service_tests races_tests; then ctest_step tsan -L threaded; fi
}

test_linux() {
  step "clang-format" check_format || true
  step "shellcheck" check_shell || true
  step "flake8" check_python || true
  local hosted=1
  if step "build hosted" build hosted; then hosted=0; fi
  : >"$logs/hosted-is-built"
  [ "$hosted" -ne 0 ] || ctest_step hosted
  if step "build asan" build asan; then ctest_step asan; fi
  step "clang-tidy" check_clang_tidy || true
}

run_tests() {
  mkdir -p "$logs"
  rm -f "$logs/counts" "$logs/hosted-is-built"
  ASAN_OPTIONS="detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1:${ASAN_OPTIONS:-}"
  # Each thread of the service has a second stack for the last of these, here of less than a megabyte, and each allocation
  # keeps where it was made, here ten frames.
  ASAN_OPTIONS="max_uar_stack_size_log=16:malloc_context_size=10:$ASAN_OPTIONS"
  export ASAN_OPTIONS
  # Without the first, each of several hundred exits waits a second for reports that are still to come.
  export TSAN_OPTIONS="atexit_sleep_ms=0:${TSAN_OPTIONS:-}"
  export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1:${UBSAN_OPTIONS:-}"
  watch_steps 1
  # A process group of its own: an interrupted run takes it along.
  set -m
  test_windows </dev/null &
  local windows=$!
  set +m
  # shellcheck disable=SC2064  # the process of now
  trap "unwatch_steps; kill -- -$windows 2>/dev/null || true" EXIT
  trap 'exit 130' INT TERM
  test_linux
  wait "$windows" || count 0 1 0
  trap - EXIT INT TERM
  unwatch_steps
  awk '{ passed += $1; failed += $2; skipped += $3 }
    END {
      printf "%d passed, %d failed", passed, failed
      if (skipped) printf ", %d skipped", skipped
      printf "\n"
      exit failed != 0
    }' "$logs/counts"
}
