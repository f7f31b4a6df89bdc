# shellcheck shell=bash disable=SC2154
# What is going on, for a person at a terminal. Sourced by ./dev, which sets $root and $logs.

running="$logs/running"
ticker=''

# A terminal has one line that says which steps are at work, for how long, and how far a build is.
clear_line() { [ -z "$ticker" ] || printf '\r\033[K'; }

clock() { printf '%d:%02d' "$(($1 / 60))" "$(($1 % 60))"; }

show_running() {
  local file name from log count line=''
  for file in "$running"/*; do
    { read -r from && read -r log && read -r name; } 2>/dev/null <"$file" || continue
    count="$(tail -c 4000 "$log" 2>/dev/null | tr '\r' '\n' |
      grep -oE '^\[[0-9]+/[0-9]+\]|^ *[0-9]+/[0-9]+ Test' | tail -n 1 | tr -d ' ')" || true
    line+="${line:+, }$name $(clock $(($(date +%s) - from)))${count:+ ${count%Test}}"
  done
  printf '\r\033[K%.*s' "$((${COLUMNS:-100} - 1))" "$line"
}

# watch_steps DESCRIPTOR: starts that line where the descriptor is a terminal.
watch_steps() {
  mkdir -p "$running"
  rm -f "$running"/*
  [ -t "$1" ] || return 0
  COLUMNS="$(tput cols 2>/dev/null || echo 100)"
  while sleep 1; do show_running; done >&"$1" &
  ticker=$!
}

unwatch_steps() {
  [ -z "$ticker" ] || kill "$ticker" 2>/dev/null || true
  clear_line
  ticker=''
}

step_begins() { printf '%s\n%s\n%s\n' "$(date +%s)" "$2" "$1" >"$running/${1// /-}"; }

step_ends() { rm -f "$running/${1// /-}"; }

# failing_part LOG: where a build failed, or the tests that did, or the end.
failing_part() {
  if grep -q '^FAILED: ' "$1"; then
    sed -n '/^FAILED: /,$p' "$1" | head -n 100
  elif grep -q '^ *Start  *[0-9]*:' "$1"; then
    grep -v '^ *Start \|^ *[0-9]*/[0-9]* Test .* Passed ' "$1" | tail -n 300
  else
    grep -vi '^passed' "$1" | tail -n 100
  fi
  printf '(the whole log: %s)\n' "${1#"$root/"}"
}
