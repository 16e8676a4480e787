# shellcheck shell=bash
# What ./run and ./test share: installing missing packages, configuring a build folder and building in it. Sourced with
# the repository's top folder as working directory. Messages go to standard error, long output to a log that is shown
# when something fails.

library_packages=(g++ cmake ninja-build pkg-config nlohmann-json3-dev libcurl4-openssl-dev libexpat1-dev)
application_packages=("${library_packages[@]}" libcli11-dev libcpp-httplib-dev)
desktop_packages=(libsystemd-dev libssl-dev qt6-base-dev dbus)
# What stands in for a desktop where there is none.
headless_packages=(xvfb dunst imagemagick xdotool x11-xserver-utils fonts-dejavu-core curl procps)
test_packages=("${application_packages[@]}" "${desktop_packages[@]}" "${headless_packages[@]}" libgtest-dev libglib2.0-dev
  python3 python3-cryptography ca-certificates openssl locales xdg-desktop-portal-gtk bubblewrap notification-daemon)

say() { printf '%s\n' "$*" >&2; }

fail() {
  say "$(basename "$0"): $*"
  exit 1
}

wrong_usage() {
  say "$(basename "$0"): $*"
  say "Try './$(basename "$0") --help'."
  exit 2
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

  # Another apt at work is waited for.
  local update=(apt-get -q update) install=(apt-get -q install -y --no-install-recommends "${missing[@]}")
  local as_root=()
  if (($(id -u) != 0)); then
    if ! command -v sudo >/dev/null; then
      fail "packages are missing, and neither root nor sudo is at hand to install them. Run as root:
  ${update[*]} && ${install[*]}"
    fi
    sudo -v || fail "packages are missing, and sudo does not let you install them: ${missing[*]}"
    as_root=(sudo)
  fi
  as_root+=(env DEBIAN_FRONTEND=noninteractive)
  update+=(-o DPkg::Lock::Timeout=600)
  install+=(-o DPkg::Lock::Timeout=600)
  local log=build/packages.log
  : >"$log"
  if ! { patiently "Installing ${missing[*]}" "$log" "${as_root[@]}" "${update[@]}" &&
    patiently "Installing ${missing[*]}" "$log" "${as_root[@]}" "${install[@]}"; }; then
    show_log "$log"
    fail "the packages could not be installed. To do it by hand, as root:
  apt-get update && apt-get install -y --no-install-recommends ${missing[*]}"
  fi
}

# patiently WHAT LOG command...: runs the command with its output added to the log. What takes longer than a moment is
# told: on a terminal one line says what is being done and how far it is, elsewhere there is a line at first and after
# each minute.
patiently() {
  local what=$1 log=$2 status=0 watcher
  shift 2
  watch_over "$what" "$log" $$ 9>&- &
  watcher=$!
  "$@" >>"$log" 2>&1 </dev/null 9>&- || status=$?
  kill "$watcher" 2>/dev/null || true
  wait "$watcher" 2>/dev/null || true
  if [[ -t 2 ]]; then printf '\r\033[K' >&2; fi
  return $status
}

# The other half of `patiently`. Waits with `read`, as a process of its own would outlive it and keep the output open.
watch_over() {  # WHAT LOG PROCESS
  local what=$1 log=$2 process=$3 started=$SECONDS next=2 never
  exec {never}<> <(:)
  while read -rt 0.5 -u "$never" || kill -0 "$process" 2>/dev/null; do
    if [[ -t 2 ]]; then
      printf '\r\033[K%s' "$(progress_of "$what" "$log" "$started")" >&2
    elif ((SECONDS - started >= next)); then
      if ((next == 2)); then say "$what (log: $log) ..."; else say "$(progress_of "$what" "$log" "$started")"; fi
      next=$((SECONDS - started + 60))
    fi
  done
}

progress_of() {  # WHAT LOG START: one line that fits a terminal
  local step text
  step=$(tail -n 40 "$2" 2>/dev/null | sed -n 's|^\[\([0-9]*/[0-9]*\)\].*|, \1|p' | tail -n 1)
  text="$1: $((SECONDS - $3)) s$step"
  if ((${#text} > 78)); then text="${1:0:50} ...: $((SECONDS - $3)) s$step"; fi
  printf '%s' "$text"
}

# Everything that is made goes into ./build. Says at once when that cannot work.
need_build_folder() {
  local folder owner
  if ! mkdir -p build 2>/dev/null; then
    fail "this folder is read-only for you, and all that is built goes into its folder build; copy the checkout to a place of your own"
  fi
  for folder in build build/.lock build/*/; do
    [[ -e $folder && ! -w $folder ]] || continue
    owner=$(stat -c %U "$folder")
    [[ $owner == "$(id -un)" ]] && fail "${folder%/} cannot be written; is the disk mounted read-only?"
    fail "${folder%/} belongs to $owner; run this as $owner, or remove the folder build (it holds only what was built)"
  done
}

# locked command...: alone among all calls of ./run and ./test in this folder; two builds in one would disturb each other.
locked() {
  exec 9>build/.lock
  if ! flock -n 9; then
    say "Another ./run or ./test is building here; waiting for it ..."
    flock 9
  fi
  "$@"
  exec 9>&-
}

# The compiler that CXX names, if it does.
need_compiler() {
  local name=${CXX:-g++}
  [[ $name != clang++ ]] || need_packages clang libclang-rt-dev  # the latter for the sanitizers
  command -v "${name%% *}" >/dev/null || fail "there is no compiler \"$name\", which CXX names"
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
  elif [[ -f $cache && $preset != fuzz && $preset != clang ]] && ! is_made_with_compiler "$cache"; then
    say "Starting $folder afresh: it was made with another compiler."
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
  local log=$folder/configure.log
  : >"$log"
  if ! patiently "Configuring $preset" "$log" cmake --preset "$preset" "$@"; then
    rm -f "$folder/build.ninja"
    show_log "$log"
    fail "$folder could not be configured"
  fi
}

# Whether a build folder was made with the compiler that would be taken now.
is_made_with_compiler() {  # CACHE
  local made wanted=${CXX:-c++}
  made=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$1")
  [[ $(command -v "${wanted%% *}") -ef $made ]]
}

# build PRESET [target...]: builds in build/PRESET; all without targets.
build() {
  local preset=$1 folder=build/$1
  shift
  local log=$folder/build.log
  : >"$log"
  if ! patiently "Building $preset" "$log" ninja -C "$folder" "$@"; then
    # Of a failed build the first complaints count, not the steps that were still running.
    if grep -q '^FAILED: ' "$log"; then
      sed '1,/^FAILED: /d' "$log" | grep -vE '^\[[0-9]+/[0-9]+\]' | head -n 60 >&2
    else
      tail -n 20 "$log" >&2
    fi
    fail "the build failed; the whole log is in $log"
  fi
}
