# shellcheck shell=bash
# ./test fresh: what README promises, tried as a new user in minimal Debian systems made for it, each with nothing but
# what Debian itself calls essential, and sudo. Their packages come from the mirror that this machine uses; what was
# downloaded is kept in build/fresh/packages, and what ./package compiled in build/fresh/ccache. Sourced after setup.sh.

known_systems=(bookworm trixie)

# The mirror of Debian that this machine's apt uses.
mirror_here() {
  local mirror
  # shellcheck disable=SC2016 # the names are apt's
  mirror=$(apt-get indextargets --format '$(REPO_URI) $(ORIGIN) $(LABEL)' 'Identifier: Packages' |
    sed -n 's/ Debian Debian$//p' | head -n 1)
  [[ -n $mirror ]] || fail "apt on this machine knows no mirror of Debian; does \"apt-get update\" work?"
  printf '%s' "$mirror"
}

make_base() {  # SUITE FOLDER
  local mirror include=sudo
  mirror=$(mirror_here)
  if [[ $mirror == https:* ]]; then include+=,ca-certificates; fi
  # shellcheck disable=SC2016 # mmdebstrap gives its hooks the folder as $1
  mmdebstrap --mode=root --variant=minbase --include="$include" --skip=essential/unlink --skip=download/empty \
    --setup-hook='mkdir -p "$1/var/cache/apt/archives"' \
    --setup-hook='cp -n build/fresh/packages/*.deb "$1/var/cache/apt/archives/" 2>/dev/null || :' \
    --customize-hook='cp -n "$1/var/cache/apt/archives"/*.deb build/fresh/packages/' \
    "$1" "$2" "$mirror"
}

# A copy of the base with an ordinary user, who may use sudo, and a clone of the last commit in that user's home.
make_system() {  # BASE SYSTEM
  rm -rf --one-file-system "$2" &&
    cp -a "$1" "$2" &&
    printf '127.0.0.1 localhost\n::1 localhost\n127.0.1.1 fresh\n' >"$2/etc/hosts" &&  # as an installer leaves it
    cp /etc/resolv.conf "$2/etc/resolv.conf" &&
    printf 'user ALL=(ALL) NOPASSWD: ALL\n' >"$2/etc/sudoers.d/user" &&
    chroot "$2" useradd --create-home --shell /bin/bash user &&
    git clone -q . "$2/home/user/ZNMessaging" &&
    chroot "$2" chown -R user:user /home/user
}

# Runs a shell's text in a system as its user, with that system's own processes, mounts and environment.
as_user() {  # SYSTEM TEXT
  unshare --mount --pid --ipc --uts --fork --kill-child bash -ec '
    mount -t proc proc "$1/proc"
    mount -t tmpfs -o mode=755 dev "$1/dev"
    for each in null zero full random urandom tty; do
      touch "$1/dev/$each"
      mount --bind "/dev/$each" "$1/dev/$each"
    done
    mkdir "$1/dev/shm" "$1/dev/pts"
    mount -t tmpfs -o mode=1777 shm "$1/dev/shm"
    mount -t devpts -o newinstance,ptmxmode=0666 devpts "$1/dev/pts"
    ln -s pts/ptmx "$1/dev/ptmx"
    ln -s /proc/self/fd "$1/dev/fd"
    for each in 0:stdin 1:stdout 2:stderr; do ln -s "/proc/self/fd/${each%:*}" "$1/dev/${each#*:}"; done
    mount --bind build/fresh/packages "$1/var/cache/apt/archives"
    mkdir -p "$1/home/user/.cache/ccache"
    mount --bind build/fresh/ccache "$1/home/user/.cache/ccache"
    chroot "$1" chown user:user /home/user/.cache /home/user/.cache/ccache
    hostname fresh
    exec env -i PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin HOME=/home/user USER=user LOGNAME=user \
      chroot --userspec=user --groups=user "$1" bash -c "set -e; cd ~/ZNMessaging; $2"' _ "$1" "$2" </dev/null
}

# What README's section "Linking it" says, word for word: its commands, its project and its program.
write_linking() {  # FOLDER
  mkdir -p "$1/my host"
  awk -v folder="$1" '
    /^## / { here = $0 == "## Linking it" }
    !here { next }
    /^```$/ { file = ""; next }
    /^```cmake$/ { file = folder "/my host/CMakeLists.txt"; next }
    /^```cpp$/ { file = folder "/my host/main.cpp"; next }
    /^```sh$/ { file = folder "/commands"; next }
    file { print >file }' README.md
  [[ -s $1/commands && -s "$1/my host/CMakeLists.txt" && -s "$1/my host/main.cpp" ]] ||
    fail "README.md has no commands, project and program under \"Linking it\""
  chmod -R a+rX "$1"
}

# Makes the packages in a system that is as README says, and takes them out.
try_packages() {  # SYSTEM
  timed "./package" as_user "$1" '
    sudo apt-get -q update && sudo apt-get -q install -y --no-install-recommends ccache
    ./package --check' || return 1
  mkdir -p "$work/packages"
  mv "$1"/home/user/ZNMessaging/build/packages/*.deb "$work/packages"
}

# Installs them in a system that never saw the source compiled, builds all examples against them, and removes them.
try_installed() {  # SYSTEM
  local packages=$1/home/user/ZNMessaging/build/packages
  mkdir -p "$packages"
  cp "$work/packages"/*.deb "$packages"
  commands_of "## Packages" | grep -vx ./package >"$1/install.sh" || fail "README.md does not say how to install the packages"
  cp tools/installed.sh "$1/installed.sh"
  timed "Examples/ against the packages" as_user "$1" '. /installed.sh; try_it /install.sh' || return 1
}

# The commands of a section of README.
commands_of() {  # HEADING
  awk -v heading="$1" '/^## / { here = $0 == heading } /^```/ { inside = here && $0 == "```sh"; next } inside' README.md
}

timed() {  # WHAT command...
  local what=$1 started=$SECONDS
  shift
  say "=== $suite: $what"
  if ! "$@" 2>&1 | tee -a "$log" >&2; then
    say "=== $suite: $what: FAILED after $((SECONDS - started)) s; all that was said is in $log"
    return 1
  fi
  times+=("$suite: $what: $((SECONDS - started)) s")
}

try_suite() {
  local base=$work/base system=$work/system
  timed "a minimal system" make_base "$suite" "$base" || return 1

  make_system "$base" "$system" || return 1
  write_linking "$system/linking"
  timed "README's \"Linking it\"" as_user "$system" '
    eval "$(cat /linking/commands)"
    cmake -G Ninja -S "/linking/my host" -B ~/my-host -DCMAKE_PREFIX_PATH=~/zintar
    cmake --build ~/my-host
    ~/my-host/minimal-host Examples/configuration.json' || return 1

  make_system "$base" "$system" || return 1
  try_packages "$system" || return 1
  make_system "$base" "$system" || return 1
  try_installed "$system" || return 1

  make_system "$base" "$system" || return 1
  timed "./run" as_user "$system" './run' || return 1
  timed "./test" as_user "$system" './test' || return 1
  # A system that lives in a folder lets nobody make sandboxes.
  if grep '^left out: ' "$log" | grep -qv 'bwrap can make no sandbox here$'; then
    say "=== $suite: tests were left out on a machine that ./test set up itself"
    return 1
  fi
}

try_fresh_systems() {  # SUITE...
  local status=0 line
  times=()
  (($(id -u) == 0)) || fail "only root can make fresh systems"
  need_packages mmdebstrap git
  [[ -z $(git status --porcelain) ]] || say "What is not committed is not tried."
  mkdir -p build/fresh/packages build/fresh/ccache
  work=$(mktemp -d build/fresh/work-XXXXXX)
  chmod 755 "$work"
  trap 'rm -rf --one-file-system "$work"' EXIT
  for suite in "$@"; do
    log=build/fresh/$suite.log
    : >"$log"
    try_suite || status=1
    rm -rf --one-file-system "${work:?}"/*
  done
  for line in "${times[@]}"; do say "$line"; done
  return $status
}
