#!/usr/bin/env bash
# What is installed offers what hosts need and no more: each header compiles alone, and the libraries export our own names
# only, nothing that they instantiate of others' templates.
set -euo pipefail
source=$1 installed=$2 compiler=$3

# A header that one of our sources includes before anything else compiles alone there: in every build without
# precompiled headers, as that for the address sanitizer is.
tried=$(find "$source"/ZN* "$source/ZintarCore" -name '*.cpp' -exec grep -hm1 '^#include' {} + |
  sed -n 's/^#include "\(.*\)".*/\1/p' | sort -u)
cd "$installed/include/zintar"
find . -name '*.h' -printf '%P\n' | sort | comm -23 - <(echo "$tried") |
  xargs -P2 -I{} "$compiler" -std=c++20 -fsyntax-only -Wall -Wextra -Werror -I. -include {} -x c++ /dev/null

mapfile -t libraries < <(find "$installed" -name 'libZ*.so')
((${#libraries[@]})) || { echo "no library is installed" >&2; exit 1; }
ours='^(_Z(T[VITS]|Tv?hn?[0-9_]+|GV)?Z*(N[rVKRO]*)?[0-9]+(zn|ZN|NS|UI|UN|getNamedProperty|zin_swizzle)|k[A-Z]|Zintar_|ZN|UI|UN|UserNotification)'
foreign=$(nm -D --defined-only "${libraries[@]}" | sed -nE 's/^[0-9a-f]+ [A-Za-z] //p' | grep -vE "$ours" || true)
if [[ $foreign ]]; then
  echo "exported, but not ours:" >&2
  c++filt <<<"$foreign" >&2
  exit 1
fi
