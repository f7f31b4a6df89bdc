# shellcheck shell=bash disable=SC2154
# Debian packages, by word of ./dev. Sourced by ./dev, which sets $root.

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    say "dev: installing packages needs root: run this as root, or install sudo"
    return 1
  fi
}

# packages_of WORD: the packages under the brackets that name it, each as "PACKAGE REMARK".
packages_of() {
  awk -v word="$1" '
    /^\[/ { gsub(/[][]/, " "); wanted = 0; for (i = 1; i <= NF; i++) if ($i == word) wanted = 1; next }
    wanted && NF && $1 !~ /^#/ && !seen[$1]++ { $1 = $1; print }' "$root/cmake/packages.txt"
}

# missing_packages WORD needed|optional: without an optional one some checks are skipped; its program may come from
# elsewhere.
missing_packages() {
  local package remark
  while read -r package remark; do
    case "$2 $remark" in
      'needed optional:'*) continue ;;
      'optional optional:'*) ! command -v "$package" >/dev/null || continue ;;
      'optional '*) continue ;;
    esac
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || printf '%s\n' "$package"
  done < <(packages_of "$1")
}

install_packages() {
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "$@" >&2
}

# set_up WORD
set_up() {
  if ! command -v apt-get >/dev/null; then
    say "dev: no apt-get here; going on with what is installed (cmake/packages.txt names what is needed)"
    return 0
  fi
  local missing optional
  mapfile -t missing < <(missing_packages "$1" needed)
  mapfile -t optional < <(missing_packages "$1" optional)
  [ "${#missing[@]}${#optional[@]}" != 00 ] || return 0
  say "dev: installing ${missing[*]} ${optional[*]}"
  # Another source of this machine may be unreachable; what counts is whether the packages can be installed.
  as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q >&2 || say "dev: the package lists are not up to date"
  [ "${#missing[@]}" -eq 0 ] || install_packages "${missing[@]}"
  [ "${#optional[@]}" -eq 0 ] || install_packages "${optional[@]}" || say "dev: going on without ${optional[*]}"
}
