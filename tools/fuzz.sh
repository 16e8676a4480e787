# shellcheck shell=bash
# ./test fuzz: builds the fuzz targets and runs each for a while. They begin with real files: examples, scenarios, what
# scenarios leave in a home folder, and Fuzz/Seeds. Inputs that reached something new are kept in build/fuzz/corpus, and
# the next run begins with them, too. Sourced after setup.sh.

run_fuzzers() {  # SECONDS
  local targets=() source name status=0
  for source in Fuzz/*.cpp; do targets+=("$(basename "$source" .cpp)"); done
  need_packages clang llvm libclang-rt-dev
  set_up_leak_check clang++
  prepare fuzz -DZN_BUILD_APPLICATIONS=ON -- zinsim zinextension "${targets[@]/#/fuzz_}"
  patiently "Collecting seeds" build/fuzz/seeds.log collect_seeds || fail "no seeds; see build/fuzz/seeds.log"
  for name in "${targets[@]}"; do run_fuzzer "$name" "$1" || status=1; done
  return $status
}

collect_seeds() {
  local all=$PWD/build/fuzz/seeds target scenario payload
  rm -rf "$all" build/fuzz/homes
  for target in Fuzz/*.cpp; do mkdir -p "$all/$(basename "$target" .cpp)"; done
  cp -r Fuzz/Seeds/. "$all"
  cp Examples/payloads/* "$all/Payload"
  cp Examples/campaigns/inbox.json "$all/InboxAnswer"
  cp Examples/campaigns/{triggers,segments}.json "$all/TriggerAnswer"
  cp Examples/configuration.json "$all/Configuration"
  cp Examples/payloads/* Examples/campaigns/* Examples/configuration.json "$all/Check"
  awk -v seed="$all/Check/table-" '/^== /{++n; next} n && !/^--/{print >(seed n)}' Tests/Check/Table.txt
  cp ZNMessaging/ZNInbox/ZNInboxUI/ZNInbox.storyboard.json "$all/Storyboard"
  for scenario in Tests/Scenarios/*.jsonl; do
    grep -v '^#' "$scenario" | split -l 3 - "$all/Scenario/$(basename "$scenario" .jsonl)-"
    leave_home "$scenario"
  done
  for payload in Examples/payloads/[dp]*; do  # short ones
    tr -d '\n' <"$payload" |
      build/fuzz/bin/zinextension --home build/fuzz/homes/extension --group group.fuzz --app app-1
  done
  collect_from_homes "$all"
}

# Launches of one installation, which are numbered, have one home.
leave_home() {  # SCENARIO
  local name
  name=$(basename "$1" .jsonl)
  # Some end in an error on purpose.
  build/fuzz/bin/zinsim --home "build/fuzz/homes/${name%.[0-9]}" "$1" >/dev/null 2>&1 || true
}

collect_from_homes() {  # SEEDS
  local home name
  for home in build/fuzz/homes/*; do
    name=$(basename "$home")
    copy_seeds "$1/Archive" "$name" "$home"/Library/{ZNInbox/InboxData,ZinDeviceTriggers}
    copy_seeds "$1/PropertyList" "$name" "$home"/{Documents,Preferences}/*.plist "$home"/Library/ZNInbox/InboxData
    copy_seeds "$1/Defaults" "$name" "$home"/Preferences/*.plist
    head -n 3 "$home/Library/ZNAnalytics/Events.jsonl" >"$1/Events/$name" 2>/dev/null || rm "$1/Events/$name"
  done
}

copy_seeds() {  # TO PREFIX file...
  local to=$1 prefix=$2 file
  shift 2
  for file in "$@"; do
    [[ ! -s $file ]] || cp "$file" "$to/$prefix-$(basename "$file")"
  done
}

run_fuzzer() {  # NAME SECONDS
  local corpus=build/fuzz/corpus/$1 findings=build/fuzz/findings/$1 log=build/fuzz/$1.log
  mkdir -p "$corpus" "$findings"
  printf '%-14s ' "$1"
  # Scheduling by entropy, and a look for leaks after every input that leaves something, would take most of the time.
  # Leaks are looked for at the end.
  if "build/fuzz/bin/fuzz_$1" -max_total_time="$2" -entropic=0 -detect_leaks=0 -timeout=20 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$findings/" "$corpus" "build/fuzz/seeds/$1" >"$log" 2>&1 </dev/null; then
    printf '%10d runs, %7d a second, no finding\n' "$(statistic number_of_executed_units "$log")" \
      "$(statistic average_exec_per_sec "$log")"
  else
    printf 'FAILED; the input that does it is in %s\n' "$findings"
    show_log "$log"
    return 1
  fi
}

statistic() { sed -n "s/^stat::$1: *//p" "$2"; }  # NAME LOG
