#!/usr/bin/env bash
# zinstory as its user sees it: what a story tells, and how unusable input is refused. $1: zinstory, $2: the folder of
# the example payloads, $3: a folder for this test, $4: the folder of the example campaigns.
set -uo pipefail
zinstory=$1
examples=$2
work=$3
campaigns=$4
rm -rf "$work"
mkdir -p "$work/temporary"
cd "$work" || exit 1
export TMPDIR=$work/temporary
failures=0

complain() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

story_of() {  # arguments...
  "$zinstory" "$@" >story.txt 2>err.txt || complain "zinstory $*: exit status $?"
  [[ ! -s err.txt ]] || complain "zinstory $*: complains: $(<err.txt)"
  if LC_ALL=C.UTF-8 grep -nE '^.{101,}' story.txt; then complain "these lines are too long"; fi
}

tells() {  # text...: each stands in story.txt, in this order
  local text from=1 found
  for text in "$@"; do
    found=$(tail -n +"$from" story.txt | grep -nF -m 1 -- "$text" | cut -d: -f1)
    [[ $found ]] || complain "\"$text\" is missing below line $from of story.txt"
    from=$((from + ${found:-0}))
  done
}

refuses() {  # exit status, expected line on standard error, arguments...
  local status=$1 line=$2
  shift 2
  "$zinstory" "$@" >out.txt 2>err.txt
  local got=$?
  [[ $got == "$status" ]] || complain "zinstory $*: exit status $got instead of $status"
  [[ $(head -n 1 err.txt) == "$line" ]] || complain "zinstory $*: says \"$(<err.txt)\" instead of \"$line\""
  [[ ! -s out.txt ]] || complain "zinstory $*: told something nevertheless"
}

story_of --payloads "$examples"
tells "a new token" "the device's record" \
  "dictionary-alert.json" "clicked" "badge      from 2 to 0" "NOTIFICATION_CLICKED_IOS_ZIN" "segment=outdoor" \
  "[COPY] [Cancel]" "copied     BOOTS20" "opened     deeplink https://shop.example/boots" \
  "NOTIFICATION_DISMISSED_IOS_ZIN (not interactive)" "In the inbox: 1 message, 0 unread." \
  "foreign.json" "(nothing)" "In the inbox: 1 message, 0 unread." \
  "plain-text.json" "In the inbox: 2 messages, 0 unread." \
  "rich-template.json" "a third: card 1 tapped" "https://travel.example/lisbon" "card_id=1" "In the inbox: 3 messages, 0 unread." \
  "silent.json" "A silent push" \
  "in a new process" "holds 3 messages, newest first" "city-breaks-17" "delivery-today-4711" "autumn-sale-2023"
if grep -q $'\033' story.txt; then complain "colours although nobody sees them"; fi

# Text of a payload neither leaves its line nor reaches the terminal as a command.
printf '{"aps": {"alert": "a\\u001b[31mb\\nc"}, "zintar": {"cid": "c\\u0007d"}}' >wild.json
story_of --payload wild.json
tells "a [31mb c" "holds 1 message"
if grep -q '[[:cntrl:]]' story.txt; then complain "control characters reach the terminal"; fi

# What is wrong with a payload is said before its story.
printf '{"aps": {"alert": "a"}, "zintar": {"cid": 7}}' >campaign.json
"$zinstory" --payload campaign.json >story.txt 2>err.txt || complain "a payload with a mistake has no story"
grep -q '^campaign.json:1:43: error: "cid" is a number, not text' err.txt || complain "a mistake is told as: $(<err.txt)"
tells "campaign.json" "clicked"

# Events: one campaign fires with what the server says now, one with what was stored before the server was stopped.
story_of --payload "$examples/silent.json" --campaigns "$campaigns"
tells "added      order-10371" "added      back-in-stock-7" "added      order-10482-shipped" "unread     2" \
  "Inbox" "• Back in stock" "• Your parcel is on its way" "rucksack" \
  "read       back-in-stock-7" "unread     1" "The blue jacket" "Synchronised: 4 campaigns" '"price":12}' "the attributes do not satisfy" "(nothing)" \
  '"price":129}' "fires" "only general campaigns" "at once" "Only three left" \
  "The server is stopped" "fires" "2.0 seconds later" "A voucher for the"
"$zinstory" --payload "$examples/silent.json" --campaigns /nowhere >out.txt 2>err.txt
[[ $? == 1 && $(wc -l <err.txt) == 1 ]] || complain "a server that cannot start is told as: $(<err.txt)"

printf '{\n  "aps": {"alert": "x",}\n}\n' >comma.json
printf '\n  [1]\n' >array.json
refuses 1 'zinstory: comma.json: line 2, column 24: a key in double quotes is missing' --payload comma.json
refuses 1 'zinstory: array.json: line 2, column 3: a payload must be a JSON object, not an array' --payload array.json
refuses 2 'zinstory: no payload is named'

# Asked to end, it ends with its server and puts everything away.
cp -r "$campaigns" own-campaigns
"$zinstory" --payload "$examples/silent.json" --campaigns "$work/own-campaigns" >out.txt 2>err.txt &
until compgen -G "$TMPDIR/zinstory-*/shop" >found.txt || ! kill -0 $!; do :; done
kill -TERM $!
wait $!
[[ $? == 143 && -s found.txt && ! -s err.txt ]] || complain "SIGTERM is not heard: $(<err.txt)"
echo "$work/own-campaigns" >pattern.txt  # a file, as grep has its own words in /proc, too
left=$(grep -lsFf pattern.txt /proc/[0-9]*/cmdline) && complain "still runs: $left"

[[ -z $(ls -A "$TMPDIR") ]] || complain "left behind: $(ls -A "$TMPDIR")"
exit $((failures > 0))
