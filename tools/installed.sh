# shellcheck shell=bash
# What ./test fresh does with the packages inside a fresh system: installs them as README says, uses them, and looks at what
# stays when they are removed. Sourced there, with the repository's top folder as working directory.

# The packages that are made here, as they are installed.
ours() { dpkg-query -W -f '${Package} ${Maintainer}\n' | sed -n 's/ .*ZNMessaging.*//p'; }

build_examples() {
  local example name
  for example in Examples/*/CMakeLists.txt; do
    example=$(dirname "$example")
    name=$(basename "$example")
    cmake -G Ninja -S "$example" -B ~/examples/"$name"
    cmake --build ~/examples/"$name"
  done
}

use_programs() {
  local program answer
  for program in $(dpkg -L znmessaging-tools zinhost | grep '^/usr/bin/.'); do
    "$program" --help >/dev/null
    zcat "/usr/share/man/man1/$(basename "$program").1.gz" | grep -q '^\.SH NAME'
    bash -n "/usr/share/bash-completion/completions/$(basename "$program")"
  done
  # The libraries find their resources, and pkg-config the libraries.
  answer=$(printf '{"do": "openInbox"}\n{"do": "showInbox"}\n' | zinsim)
  [[ $answer == *'"rows"'* ]] || { echo "the inbox screen is not shown: $answer"; return 1; }
  printf '#include "ZNMessaging/ZNMessaging.h"\nint main() { return !ZNMessaging::sharedInstance(); }\n' >~/one.cpp
  # shellcheck disable=SC2046 # words
  g++ -std=c++20 ~/one.cpp $(pkg-config --cflags --libs ZNMessaging) -o ~/one
  pkg-config --exists --print-errors ZNMessaging ZNSimulator ZNFreedesktop ZNQt
  ~/one
}

# What was ours is gone, or another package's, too.
remove_packages() {
  local packages path left=()
  mapfile -t packages < <(ours)
  dpkg -L "${packages[@]}" | sort -u >~/paths
  sudo apt-get -q purge -y "${packages[@]}"
  while read -r path; do
    if [[ -e $path ]] && ! dpkg -S "$path" >/dev/null 2>&1; then left+=("$path"); fi
  done < <(grep '^/.*[^.]$' ~/paths)
  ((${#left[@]} == 0)) || { echo "left behind: ${left[*]}"; return 1; }
  [[ -z $(ours) ]]
}

try_it() {  # FILE WITH README'S COMMANDS
  sudo apt-get -q update
  sudo apt-get -q install -y --no-install-recommends g++ cmake ninja-build pkg-config libglib2.0-dev
  eval "$(<"$1")"
  build_examples
  ~/examples/minimal-host/minimal-host Examples/configuration.json | tee ~/said
  grep -q 'after a click: 1 in the inbox' ~/said
  use_programs
  remove_packages
}
