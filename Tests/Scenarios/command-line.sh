#!/bin/sh
# What zinsim says about lines and options that cannot be used, and how it behaves as a program among others.
#   command-line.sh ZINSIM
set -u
zinsim=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
unset ZN_LOG
failures=0

fail() {
  echo "FAILED: $1" >&2
  failures=$((failures + 1))
}

# expect STATUS STDOUT STDERR WHAT: compares the last run, which went through `go`.
expect() {
  [ "$status" = "$1" ] || fail "$4: status $status instead of $1"
  [ "$(cat out)" = "$2" ] || fail "$4: printed: $(cat out)"
  [ "$(cat err)" = "$3" ] || fail "$4: complained: $(cat err)"
}

go() {
  "$zinsim" "$@" >out 2>err
  status=$?
}

# A good line runs and its output stands; the bad one is named; nothing of it, and no line after it, is done.
refused() {
  printf '%s\n' '# a comment' '' '{"do": "exists", "path": "x"}' "$1" '{"do": "exists", "path": "y"}' >bad
  go <bad
  expect 2 '{"exists": false, "path": "x"}' "zinsim: line 4: $2" "$1"
}

# What a command does not know is ignored, but not silently, or refused; null is as good as nothing.
printf '%s\n' '{"do": "exists", "path": "x", "pth": 1, "_mine": 2, "comment": "c"}' \
  '{"do": "tap", "payload": {}, "action": null}' >spare
problem='zinsim: line 1: "exists" has no field "pth" (did you mean "path"?)'
go <spare
expect 0 '{"exists": false, "path": "x"}' "$problem, which is ignored" "spare fields"
go --strict <spare
expect 2 '' "$problem" "spare fields, --strict"
echo '{"do": "badge", "is": 1, "quietly": true}' >strange
go --strict strange
expect 2 '' 'zinsim: strange: line 1: "badge" has no field "quietly" (it has "is")' "a strange field"

refused '{"do": "tap"}' '"tap" needs the field "payload"'
refused '{"do": "fly"}' 'unknown command "fly"'
refused '{"do": "state", "is": "asleep"}' \
  'field "is" of "state" must be one of "active", "inactive", "background", not "asleep"'
refused '{"do": "plist", "path": "../out", "holds": {}}' \
  'field "path" must name a place below the home folder, not "../out"'
refused '{"do": "call", "on": "ZNMessaging", "operation": "fly:"}' 'unknown operation "fly:" of ZNMessaging'
refused '{"do": "call", "on": "ZNMessaging", "operation": "didReceieveNotificationinApplication:withInfo:", "arguments": ["application", "x"]}' \
  'argument 2 (withInfo) of "didReceieveNotificationinApplication:withInfo:" must be a dictionary or null, not "x"'
# A refused call must not bring the module to life either: nothing else was printed above.

printf '{"do": "exists", "path": "x"}\n{"do": "tap",\n' >broken.jsonl
go broken.jsonl
expect 2 '{"exists": false, "path": "x"}' 'zinsim: broken.jsonl: line 2: not JSON: column 14: the text ends too early' "broken"

# Options.
go --only event,evnt
expect 2 '' "zinsim: --only: there is no kind of effect \"evnt\"
Try 'zinsim --help' for more information." "--only"
go .
expect 2 '' 'zinsim: .: Is a directory' "folder"
go --help
[ "$status" = 0 ] && [ ! -s err ] && grep -q '^USAGE' out || fail "--help"
"$zinsim" --help 2>err >/dev/full
[ $? = 1 ] && [ -s err ] || fail "a full disk goes unnoticed"

# Standard input, named or not; a last line without its line feed; CR LF; kinds that are left out.
printf '{"do": "exists", "path": "x"}\r\n  \t\r\n{"do": "track", "event": "e"}' >lines
go --only event - <lines
expect 0 '{"event": "e", "attributes": {}, "interactive": true}' '' "--only event"

# What is expected of a scenario: written, met, missed; kinds that do not count.
go --expect lines.expected lines
expect 2 '' 'zinsim: lines.expected: No such file or directory; --update writes it' "nothing to compare with"
go --expect lines.expected --update lines
expect 0 '' 'zinsim: lines.expected is updated' "--update"
go --expect lines.expected --update lines
expect 0 '' '' "--update without a difference"
sed -i 's/"e"/"f"/' lines.expected
go --expect lines.expected lines
expect 1 '--- lines.expected
+++ what is printed
@@ -1,2 +1,2 @@
 {"exists": false, "path": "x"}
-{"event": "f", "attributes": {}, "interactive": true}
+{"event": "e", "attributes": {}, "interactive": true}' '' "a difference"
go --expect lines.expected --except log --except event lines
expect 0 '' '' "a difference that does not count"
sed -i 's/"x"/"y"/' lines.expected
go --expect lines.expected --except event lines
[ "$status" = 1 ] || fail "a difference beside one that does not count: status $status"

# Without --home nothing stays behind.
mkdir tmp
export TMPDIR="$work/tmp"
go lines
[ -z "$(ls -A tmp)" ] || fail "left behind: $(ls -A tmp)"
refused '{"do": "fly"}' 'unknown command "fly"'
[ -z "$(ls -A tmp)" ] || fail "left behind: $(ls -A tmp)"

# The answer to a command is there before the next one is asked for, and one home belongs to one process at a time.
mkfifo commands answers
"$zinsim" --home "$work/made/for/it" <commands >answers &
exec 3>commands 4<answers
echo '{"do": "exists", "path": "Library"}' >&3
read -r answer <&4
[ "$answer" = '{"exists": true, "path": "Library"}' ] || fail "answered $answer"
go --home "$work/made/for/it" lines
expect 2 '' "zinsim: $work/made/for/it is in use by another process" "home in use"
exec 3>&-
wait $! || fail "the first process ended with $?"
go --home made/for/it lines
[ "$status" = 0 ] || fail "the home is free again"

# Nothing stays behind either when the process is told to end, or when nobody reads any more.
"$zinsim" <commands >answers &
exec 3>commands 4<answers
echo '{"do": "exists", "path": "Library"}' >&3
read -r answer <&4
[ -n "$(ls -A tmp)" ] || fail "no temporary home"
kill -TERM $!
wait $!
[ $? = 143 ] || fail "the end by a signal does not show"
[ -z "$(ls -A tmp)" ] || fail "left behind after a signal: $(ls -A tmp)"
exec 3>&- 4<&-
yes '{"do": "exists", "path": "x"}' | "$zinsim" 2>err | read -r answer
[ -z "$(ls -A tmp)" ] || fail "left behind without a reader: $(ls -A tmp)"

[ "$failures" = 0 ]
