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

# A program that is compiled in the wrong way is told so by one sentence, which no other errors drown.
expect_one_sentence() {  # SENTENCE FLAG...
  local sentence=$1 each output
  shift
  for each in g++ clang++; do
    command -v "$each" >/dev/null || continue
    output=$("$each" -fsyntax-only -I. "$@" -include ZNMessaging/Messaging.h -x c++ /dev/null 2>&1) || true
    if [[ $output != *"$sentence"* || $(wc -l <<<"$output") -gt 10 ]]; then
      printf 'with %s %s:\n%s\n' "$each" "$*" "$output" >&2
      exit 1
    fi
  done
}
expect_one_sentence "ZNMessaging needs C++20: compile with -std=c++20 or newer" -std=c++17
expect_one_sentence "needs run-time type information: compile without -fno-rtti" -std=c++20 -fno-rtti
expect_one_sentence "needs exceptions: compile without -fno-exceptions" -std=c++20 -fno-exceptions

mapfile -t libraries < <(find "$installed" -name 'libZ*.so')
((${#libraries[@]})) || { echo "no library is installed" >&2; exit 1; }
ours='^(_Z(T[VITS]|Tv?hn?[0-9_]+|GV)?Z*(N[rVKRO]*)?[0-9]+(zn|ZN|NS|UI|UN|getNamedProperty|zin_swizzle)|k[A-Z]|Zintar_|ZN|UI|UN|UserNotification)'
foreign=$(nm -D --defined-only "${libraries[@]}" | sed -nE 's/^[0-9a-f]+ [A-Za-z] //p' | grep -vE "$ours" || true)
if [[ $foreign ]]; then
  echo "exported, but not ours:" >&2
  c++filt <<<"$foreign" >&2
  exit 1
fi
