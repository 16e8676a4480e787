#!/usr/bin/env bash
# zinextension as a push channel uses it, and what the application finds afterwards. $1: zinextension, $2: zinsim, $3: a
# folder for this test.
set -uo pipefail
zinextension=$1
zinsim=$2
work=$3
rm -rf "$work"
mkdir -p "$work"
cd "$work" || exit 1
failures=0

complain() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

gives() {  # exit status, expected standard error, arguments...; standard input is passed on
  local status=$1 error=$2
  shift 2
  "$zinextension" "$@" >out.txt 2>err.txt
  local got=$?
  [[ $got == "$status" ]] || complain "zinextension $*: exit status $got instead of $status"
  [[ $(<err.txt) == "$error" ]] || complain "zinextension $*: says \"$(<err.txt)\" instead of \"$error\""
}

store=(--home home --group group.zintar --app app-1)
rich='{"zintar": {"cid": "c1"}, "zinFeatures": {"richPush": {"expandedMode": {"cards": [{"cardID": 7, "actions":
  [{"actionName": 0, "actionType": 1, "value": "shop://seven"}]}]}}}}'

# Lines that cannot be used are reported; of the others those are stored that belong into the inbox, with the time when
# they came. The application takes them in, and the tapped card.
before=$(date +%s)
gives 2 "zinextension: line 2: a payload is a JSON object
zinextension: line 4: not JSON: column 2: unexpected characters" "${store[@]}" <<'LINES'
{"aps": {"alert": "First"}, "zintar": {"cid": "first"}}
[1]
# a remark
{bad
{"aps": {"alert": "Second"}, "zintar": {"cid": "second", "received_epoch_val": 1699999999}}
{"aps": {"content-available": 1}, "zintar": {"cid": "silent", "silentPush": true}}
{"aps": {"alert": "No campaign"}, "zintar": {"app_id": "app-1"}}
{"aps": {"alert": "Of another sender"}}
LINES
after=$(date +%s)
gives 0 "" "${store[@]}" --card-click c1 7 </dev/null
{
  echo '{"do": "call", "on": "ZNMessaging", "operation": "initializeMessagingWithLaunchOptions:", "arguments": [null]}'
  echo "{\"do\": \"tap\", \"payload\": $(tr -d '\n' <<<"$rich")}"
  echo '{"do": "inbox"}'
} | "$zinsim" --home home --only open,inbox >out.txt || complain "zinsim ends with status $?"
grep -qF '{"open": "deeplink", "url": "shop://seven"}' out.txt || complain "the card is not opened: $(<out.txt)"
for campaign in first second c1; do
  grep -qF "\"cid\": \"$campaign\"" out.txt || complain "$campaign is not in the inbox: $(<out.txt)"
done
[[ $(grep -o '"cid"' out.txt | wc -l) == 3 ]] || complain "more is in the inbox: $(<out.txt)"
received() { grep -o "\"cid\": \"$1\".*" out.txt | grep -o -m 1 '"received": [0-9]*' | head -n 1 | grep -o '[0-9]*'; }
(($(received first) >= before && $(received first) <= after)) || complain "received at the wrong time: $(<out.txt)"
(($(received second) == 1699999999)) || complain "received at another time than its sender says: $(<out.txt)"

hint="Try 'zinextension --help' for more information."
gives 2 "zinextension: option --home is needed
$hint" </dev/null
gives 1 "zinextension: none.jsonl: No such file or directory" "${store[@]}" none.jsonl </dev/null
said=$(echo '{"zintar": {"cid": "third"}}' | (trap '' XFSZ; ulimit -f 0; "$zinextension" "${store[@]}" 2>&1))
[[ $? == 1 && $said ]] || complain "a store that cannot be written goes unnoticed: $said"
exit $((failures > 0))
