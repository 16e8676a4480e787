# shellcheck shell=bash
# The desktop tour of ./run: a shop on a desktop session, with a campaign server and a push distributor of its own. Where
# there is a display it is for people to try; else it goes by itself, on a session of its own, and takes pictures. Sourced
# with the repository's top folder as working directory, after tools/setup.sh.

tour=${ZN_TOUR_FOLDER:-$PWD/build/tour}
programs=${ZN_TOUR_PROGRAMS:-$PWD/build/release/bin}
shop_id=com.example.Shop
tour_processes=()

tell() { printf '\n%s\n' "$*"; }
detail() { printf '   %s\n' "$*"; }

# start NAME command...: in the background, with its output in build/tour/NAME.log. It ends with the tour.
start() {
  local name=$1
  shift
  "$@" >"$tour/$name.log" 2>&1 </dev/null &
  tour_processes+=($!)
}

end_tour() {
  local process status=$?
  trap - EXIT INT TERM
  for process in "${tour_processes[@]}"; do kill "$process" 2>/dev/null || true; done
  pkill -f -- "--home $tour/home" 2>/dev/null || true  # the shop that the bus started
  wait 2>/dev/null || true
  exit "$status"
}

# until_true WHAT command...: what does not come true in time ends the tour, with the logs.
until_true() {
  local what=$1 limit=$((SECONDS + 60)) log
  shift
  until "$@" >/dev/null 2>&1; do
    if ((SECONDS >= limit)); then
      for log in "$tour"/*.log; do show_log "$log"; done
      fail "the tour waits in vain: $what"
    fi
    sleep 0.05
  done
}

# The text that the group of the pattern matches in the last line of a log that has it.
last_match() { sed -nE "s|.*$2.*|\1|p" "$tour/$1.log" | tail -n 1; }
is_logged() { grep -qE -- "$2" "$tour/$1.log"; }

start_services() {
  local key
  key=$("$programs/zinpush" --print-key --key "$tour/server/vapid.pem")
  start zinserver "$programs/zinserver" --folder Examples/campaigns --state "$tour/server" --port 0
  start zindistributor "$programs/zindistributor" --folder "$tour/distributor" --port 0
  until_true "the campaign server listens" is_logged zinserver "listening on"
  until_true "the push distributor is on the bus" is_logged zindistributor '"on the bus"'
  server=$(last_match zinserver '(http://[0-9.:]+)')
  sed "s|http://127.0.0.1:8088|$server|; s|\"vapidKey\": \"\"|\"vapidKey\": \"$key\"|" Apps/zinhost/zinhost.json >"$tour/shop.json"
  shop_command=("$programs/zinhost" --configuration "$tour/shop.json" --home "$tour/home")
}

clean_tour_folder() {
  rm -rf "$tour"
  mkdir -p "$tour/services"
}

is_subscribed() { curl -s "$server/devices" | grep -q '"endpoint"'; }
zinpush_line() { printf '%s --all --via %s %s' "${programs#"$PWD"/}/zinpush" "$server" "${1#"$PWD"/}"; }

# Where people try it themselves. Ends with the shop's window.
tour_with_display() {
  clean_tour_folder
  trap end_tour EXIT
  trap 'exit 130' INT TERM
  start_services
  "${shop_command[@]}" >"$tour/shop.log" 2>&1 &
  local window=$!
  tour_processes+=("$window")
  cat <<EOT

The Corner Shop is open: a small application with the module in it, connected to a campaign server and a push distributor
of its own, all on this machine.

 1. Say "Yes, please" in its window. It asks for permission and gets an endpoint for its pushes.
EOT
  until is_subscribed; do
    kill -0 "$window" 2>/dev/null || return 0
    sleep 0.2
  done
  cat <<EOT
 2. Send it a push, from another terminal:

    $(zinpush_line Examples/payloads/plain-text.json)

    Only this shop can read it. Click the notification: the shop opens the screen that the push asks for. The inbox has it, too.
 3. Put the wool blanket into the basket: a campaign kept on this device reminds you of it.

What the shop sent to the server: curl -s $server/received
To end it all, close the window, or press Ctrl-C here.
EOT
  wait "$window" || true
}

# --- by itself

picture() { import -window root "$tour/$1.png"; }
shown() { [[ $(dunstctl count displayed) == "$1" ]]; }
tracked() { curl -s "$server/received" | grep -qF -- "$1"; }
shop_window() { xdotool search --onlyvisible --name '^Corner Shop$' | tail -n 1; }
press() {  # key...
  local window
  window=$(shop_window)
  xdotool windowfocus --sync "$window"
  xdotool key --clearmodifiers --delay 30 "$@"
}
push() { "$programs/zinpush" --all --via "$server" "$1" | sed "s/^/   /"; }

start_session() {
  local address=unix:path=$tour/bus
  printf '<busconfig><type>session</type><listen>%s</listen><servicedir>%s</servicedir>%s</busconfig>\n' "$address" \
    "$tour/services" '<policy context="default"><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy>' \
    >"$tour/bus.conf"
  start bus dbus-daemon --nofork "--config-file=$tour/bus.conf"
  until_true "the session's bus is there" test -S "$tour/bus"
  export DBUS_SESSION_BUS_ADDRESS=$address XDG_RUNTIME_DIR=$tour/runtime
  mkdir -m 700 "$tour/runtime"
  start display Xvfb -displayfd 1 -screen 0 1000x760x24 -nolisten tcp -noreset
  until_true "the display is there" is_logged display '^[0-9]+$'
  DISPLAY=:$(last_match display '^([0-9]+)$')
  export DISPLAY QT_QPA_PLATFORM=xcb
  unset WAYLAND_DISPLAY
  dbus-update-activation-environment DISPLAY QT_QPA_PLATFORM XDG_RUNTIME_DIR  # for what the bus starts
  xsetroot -solid '#3B5166'
  start dunst dunst -conf tools/tour-dunstrc
  until_true "the notification daemon is there" dunstctl count
}

tour_by_itself() {
  clean_tour_folder
  trap end_tour EXIT
  trap 'exit 130' INT TERM
  start_session
  start_services
  printf '[D-BUS Service]\nName=%s\nExec=%s --background\n' "$shop_id" "${shop_command[*]}" \
    >"$tour/services/$shop_id.service"

  tell "1. The shop opens, and the user wants to be told of parcels."
  start shop "${shop_command[@]}"
  until_true "the shop's window opens" shop_window
  xdotool windowmove "$(shop_window)" 24 20
  sleep 0.3
  picture 1-shop
  press alt+y
  until_true "the server knows the shop's subscription" is_subscribed
  detail "The push distributor gave it an endpoint, and the server has that, with the keys for its pushes."

  tell "2. The server pushes, so that only the shop can read it."
  printf '%s\n' '{"aps": {"alert": {"title": "Your parcel", "body": "It comes between 14:00 and 16:00."}, "category": "PARCEL"},' \
    ' "zintar": {"cid": "parcel-1"},' \
    ' "app_extra": {"screenName": "Parcels", "screenData": {"order": "4711", "courier": "Northwind"}}}' >"$tour/parcel.json"
  detail "$(zinpush_line "$tour/parcel.json")"
  push "$tour/parcel.json"
  until_true "the notification is shown" shown 1
  sleep 0.3
  picture 2-push
  detail "The notification daemon shows it, and the inbox counts it."

  tell "3. The user clicks it."
  dunstctl action 0
  until_true "the click is on the server" tracked NOTIFICATION_CLICKED_IOS_ZIN
  until_true "the notification is gone" shown 0
  sleep 0.3
  picture 3-clicked
  detail "The shop shows the screen that the push asked for; the server has NOTIFICATION_CLICKED_IOS_ZIN."

  tell "4. The inbox has it, with what the server sent while the shop did not run."
  press alt+i
  sleep 0.5
  picture 4-inbox

  tell "5. The user puts a blanket into the basket: a campaign on this device reminds of it."
  press alt+s Tab Tab Tab Tab Tab Tab Tab space
  until_true "the server knows of the blanket" tracked 'Wool blanket'
  until_true "the campaign's notification is shown" shown 1
  sleep 0.3
  picture 5-trigger
  detail "ADDED_TO_CART with a price of 65 set off the campaign cart-reminder."
  until_true "the shop keeps what is shown" is_kept
  dunstctl close-all
  until_true "the shop keeps that it is gone" is_gone  # what it forgets when it is killed, it shows again

  tell "6. The shop is closed, and a push comes: the session's bus starts it."
  pkill -TERM -f -- "--home $tour/home"
  until_true "the shop has ended" shop_is_gone
  echo '{"aps": {"alert": {"title": "Autumn sale", "body": "20 % off until Sunday."}}, "zintar": {"cid": "sale-1"}}' |
    push -
  until_true "the shop is started and shows the push" shown 1
  dunstctl action 0
  until_true "the click opens the shop's window" shop_window
  xdotool windowmove "$(shop_window)" 24 20
  sleep 0.5
  picture 6-started
  detail "It ran without a window until the notification was clicked."
  tell "The tour is over. Its pictures: build/tour/*.png. What each program said: build/tour/*.log."
}

is_kept() { grep -q cart-reminder "$tour/home/Library/DesktopNotifications"; }
is_gone() { ! is_kept; }
shop_is_gone() { ! pgrep -f -- "--home $tour/home"; }
