# shellcheck shell=bash
# What ./run and ./test share: installing missing packages, configuring a build folder and building in it. Sourced with
# the repository's top folder as working directory. Messages go to standard error, long output to a log that is shown
# when something fails.

say() { printf '%s\n' "$*" >&2; }

fail() {
  say "$(basename "$0"): $*"
  exit 1
}

show_log() {  # FILE
  say "--- the end of $1 ---"
  tail -n 60 "$1" >&2
}

# The named Debian packages that are not installed, one a line.
missing_packages() {
  local installed
  installed=$(dpkg-query -W -f '${binary:Package} ${db:Status-Status}\n' "$@" 2>/dev/null |
    sed -n 's/^\([^ :]*\)\(:[a-z0-9]*\)\{0,1\} installed$/\1/p') || true
  local package
  for package in "$@"; do
    grep -qxF "$package" <<<"$installed" || printf '%s\n' "$package"
  done
}

# Makes sure that the named Debian packages are installed; installs those that are not.
need_packages() {
  if ! command -v dpkg-query >/dev/null; then
    say "Not a Debian system: make sure that what these packages hold is installed: $*"
    return
  fi
  local missing=()
  mapfile -t missing < <(missing_packages "$@")
  ((${#missing[@]})) || return 0

  local install=(apt-get install -y --no-install-recommends "${missing[@]}")
  local as_root=(env DEBIAN_FRONTEND=noninteractive)
  if (($(id -u) != 0)); then
    if ! command -v sudo >/dev/null; then
      fail "packages are missing, and neither root nor sudo is at hand to install them. Run as root:
  apt-get update && ${install[*]}"
    fi
    as_root=(sudo env DEBIAN_FRONTEND=noninteractive)
  fi
  mkdir -p build
  local log=build/packages.log
  say "Installing ${missing[*]} ..."
  if ! { "${as_root[@]}" apt-get -q update && "${as_root[@]}" "${install[@]}"; } >"$log" 2>&1; then
    show_log "$log"
    fail "the packages could not be installed. To do it by hand, as root:
  apt-get update && ${install[*]}"
  fi
}

# configure PRESET [cmake argument...]: makes build/PRESET. Does nothing when it is there with these settings already;
# changed CMake files are the build's own matter.
configure() {
  local preset=$1 folder=build/$1
  shift
  local cache=$folder/CMakeCache.txt setting
  if [[ -f $cache ]] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" "$cache"; then
    say "Starting $folder afresh: it was made for another place."
    rm -rf "$folder"
  fi
  if [[ -f $folder/build.ninja ]]; then
    local same=1
    for setting in "$@"; do
      setting=${setting#-D}
      grep -qE "^${setting%%=*}:[A-Z]+=${setting#*=}\$" "$cache" || same=0
    done
    ((same)) && return
  fi
  mkdir -p "$folder"
  if ! cmake --preset "$preset" "$@" >"$folder/configure.log" 2>&1; then
    rm -f "$folder/build.ninja"
    show_log "$folder/configure.log"
    fail "$folder could not be configured"
  fi
}

# build PRESET [target...]: builds in build/PRESET; all without targets. Says so when there is something to compile.
build() {
  local preset=$1 folder=build/$1 line told=
  shift
  local log=$folder/build.log
  if ! ninja -C "$folder" "$@" 2>&1 | tee "$log" | while IFS= read -r line; do
    [[ $line == *Building* ]] || continue
    if [[ -t 2 ]]; then
      printf '\rBuilding %s: %s  ' "$preset" "${line%%]*}]" >&2
    elif [[ -z $told ]]; then
      say "Building $preset (log: $log) ..."
    fi
    told=1
  done; then
    say ""
    # Of a failed build the first complaints count, not the steps that were still running.
    if grep -q '^FAILED: ' "$log"; then
      sed '1,/^FAILED: /d' "$log" | grep -vE '^\[[0-9]+/[0-9]+\]' | head -n 60 >&2
    else
      tail -n 20 "$log" >&2
    fi
    fail "the build failed; the whole log is in $log"
  fi
  if [[ -t 2 ]] && grep -q Building "$log"; then printf '\r%*s\r' 60 '' >&2; fi
}
