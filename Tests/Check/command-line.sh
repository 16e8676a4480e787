#!/usr/bin/env bash
# zincheck as its user sees it, who says the same, and that the references are made from the description. $1: zincheck,
# $2: zinsim, $3: zinserver, $4: the sources.
set -uo pipefail
zincheck=$1
zinsim=$2
zinserver=$3
sources=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0

# expect STATUS OUTPUT ERRORS arguments...
expect() {
  local status=$1 output=$2 errors=$3
  shift 3
  "$zincheck" "$@" >out 2>err <input
  local got=$?
  [[ $got == "$status" ]] || fail "zincheck $*: exit status $got instead of $status"
  [[ $(<out) == "$output" ]] || fail "zincheck $*: prints $(<out)"
  [[ $(head -n 1 err) == "$errors" ]] || fail "zincheck $*: complains $(<err)"
}

fail() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

echo '{"aps": {"alert": "A", "badge": "3"}}' >badge.json
echo '{"aps": {"alert": "A"}}' >good.json
echo '{"not": {"attribute": "a", "is": "exists"}}' >filter.json
echo '{"mine": 1}' >other.json
: >input
badge='1:33: error: "badge" is text, not a number: the badge stays as it is (write 3)'
expect 1 "badge.json:$badge" '' good.json badge.json
expect 0 '' '' good.json
expect 0 '[]' '' --json good.json
expect 1 '[{"advice": "write 3", "column": 33, "file": "badge.json", "line": 1, "sentence": "\"badge\" is text, not a number: the badge stays as it is", "severity": "error"}]' \
  '' --json badge.json
expect 2 "badge.json:$badge" 'zincheck: nowhere.json: there is no such file' nowhere.json badge.json
expect 2 '' 'zincheck: other.json: its keys do not tell what it is; say so with --as' other.json
expect 1 'filter.json:1:1: warning: neither "aps" nor "zintar" is there: nothing is shown, and nothing is counted (write {"aps": {"alert": "Today only."}, "zintar": {"cid": "autumn-sale"}})' \
  '' --as payload filter.json
expect 2 '' 'zincheck: there is no kind "push"; use payload, campaigns, condition, configuration or scenario' --as push good.json
expect 2 '' 'zincheck: no file is named'
cp badge.json input
expect 1 "standard input:$badge" '' -

cat >input <<'END'
{"do": "check", "payload": {"aps": {"alert": "A", "badge": "3"}}, "text": "{\"aps\": {}}\n,"}
END
cat >expected <<'END'
{"check": "payload", "findings": [{"advice": "write 3", "sentence": "\"badge\" is text, not a number: the badge stays as it is", "severity": "error"}]}
{"check": "payload", "findings": [{"advice": "look for a bracket too many", "column": 1, "line": 2, "sentence": "this is no JSON: something follows after the end of the value", "severity": "error"}]}
END
"$zinsim" <input | diff expected - || fail "zinsim's check prints that"

# zinserver says it once for each version of a file.
mkdir folder
echo '{"campaigns": [], "dnd_start_time": "22:30", "dnd_end_time": 700}' >folder/triggers.json
mkfifo greeting
"$zinserver" --folder folder --port 0 >greeting 2>log &
server=$!
read -r _ _ address <greeting
for try in first again changed; do
  [[ $try != changed ]] || echo '{"campaigns": []}  ' >folder/triggers.json
  exec 3<>"/dev/tcp/127.0.0.1/${address##*:}"
  printf 'POST /v1/triggers HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\nContent-Length: 2\r\n\r\n{}' >&3
  cat <&3 >answer
  [[ $(head -n 1 answer) == "HTTP/1.1 200"* ]] || fail "zinserver answers $(<answer)"
done
kill "$server"
wait "$server"
[[ $(grep -c '^zinserver: triggers.json:1:37: error: "dnd_start_time" is text' log) == 1 ]] || fail "zinserver says $(<log)"

for kind in payload campaigns; do
  file=docs/${kind%s}.md
  "$zincheck" --reference "$kind" | diff -u "$sources/$file" - ||
    fail "$file is not what the description gives; make it anew: zincheck --reference $kind >$file"
done
exit $((failures > 0))
