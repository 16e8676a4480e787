# shellcheck shell=bash
# The desktop tour of ./run: a shop on a desktop session, with a campaign server and a push distributor of its own. Where
# there is a display it is for people to try; else it goes by itself, on a session of its own, and takes pictures. Sourced
# with the repository's top folder as working directory, after tools/setup.sh.

desktop_packages=(libsystemd-dev qt6-base-dev dbus)
tour_packages=(curl)
headless_packages=(xvfb dunst imagemagick xdotool fonts-dejavu-core python3)

tour=build/tour
tour_processes=()
shop=com.example.Shop

tell() { printf '\n%s\n' "$*"; }
detail() { printf '    %s\n' "$*"; }

# start NAME command...: in the background, with its output in build/tour/NAME.log; ends with the tour.
start() {
  local name=$1
  shift
  "$@" >"$tour/$name.log" 2>&1 </dev/null &
  tour_processes+=($!)
}

end_tour() {
  local process
  for process in "${tour_processes[@]}"; do kill "$process" 2>/dev/null || true; done
  wait 2>/dev/null || true
}

# until_true SECONDS WHAT command...: what does not come true in time ends the tour, with the logs.
until_true() {
  local limit=$(($(date +%s) + $1)) what=$2 log
  shift 2
  until "$@" >/dev/null 2>&1; do
    if (($(date +%s) >= limit)); then
      for log in "$tour"/*.log; do show_log "$log"; done
      fail "the tour waits in vain: $what"
    fi
    sleep 0.05
  done
}

# first_match FILE PATTERN: the last text in a log that the pattern's group matches.
first_match() { sed -nE "s|.*$2.*|\1|p" "$1" | tail -n 1; }
