#!/usr/bin/env bash
# Runs Pylon with the Memos conduit against the simulated Pocket PC: a first sync, one with nothing
# to do, one whose link is cut, and the one after that.
#
# Works in build/demo-pocketpc. Needs the 64-bit build, Wine with a prefix in WINEPREFIX and a
# display in DISPLAY.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
program=${PYLON_BUILD:-$root/build/win64}
home=$root/build/demo-pocketpc
device=$home/device
texts=$home/data/Memos

say() { printf '\n== %s\n' "$*"; }
fail() { printf 'demo: %s\n' "$*" >&2; exit 1; }
windows() { winepath -w "$1" 2>/dev/null; }

[[ -n ${WINEPREFIX:-} && -n ${DISPLAY:-} ]] ||
  fail 'WINEPREFIX and DISPLAY are not set: run ./dev demo pocketpc'
for file in Pylon.exe Memos.dll simulators/pocketpc/rapi.dll; do
  [[ -f $program/$file ]] || fail "$program/$file is missing: run ./dev demo pocketpc"
done

say "Setting up $home"
rm -rf "$home"
mkdir -p "$texts/Journal"
cp -r "$root"/samples/memos/texts/. "$texts"
# Enough for a copy that can be watched.
for day in $(seq 60); do
  awk -v day="$day" 'BEGIN {
    print "Day " day
    for (i = 0; i < 120; ++i) printf "What happened on day %d. ", day
  }' >"$texts/Journal/Day $day.txt"
done
cp "$program/Pylon.exe" "$program/Memos.dll" "$program/simulators/pocketpc/rapi.dll" "$home"
cd "$home"
wine Pylon.exe /regserver || fail 'Pylon.exe /regserver failed'
wine regsvr32 /s Memos.dll || fail 'Memos.dll did not register'
printf '[Pylon]\r\nSimulatedPocketPC=rapi.dll\r\n\r\n[Memos]\r\nClassID=Memos.Conduit\r\nPCPath=%s\r\n' \
  "$(windows "$home/data")" >Pylon.ini
printf '%s\n' 'Pylon.ini:' && cat Pylon.ini

# settings [LINE...]: the simulator's, a slow link and these lines.
settings() {
  printf '%s\r\n' '[Link]' 'ConnectDelay=500' 'CallDelay=5' 'Bandwidth=60000' '' "$@" >rapi.ini
  printf '\n%s\n' 'rapi.ini:' && cat rapi.ini
}

pylon_log() { find . -name Memos.log -printf '%P\n' | head -n 1; }
lines_of() { if [[ -f $1 ]]; then wc -l <"$1"; else echo 0; fi; }

# picture NAME.png TITLE: of the first window whose title matches.
picture() {
  local window
  window=$(xdotool search --onlyvisible --name "$2" 2>/dev/null | head -n 1) || true
  [[ -n $window ]] || return 1
  # Asks for a click, and waits for it, when the window has gone meanwhile.
  timeout 20 import -frame -window "$window" "$1" 2>/dev/null
}

# count FUNCTION FILE: the calls of the function in the log.
count() { awk -v name="$1" '$1 == name { ++n } END { print n + 0 }' "$2" 2>/dev/null || echo 0; }

# Waits until the first copy to the device is half done, and takes the picture of the status window.
picture_of_copy() {
  for _ in $(seq 600); do
    if (($(count CeWriteFile rapi.log) > 2)); then
      picture "$1" '^Memos' && return
    fi
    sleep 0.05
  done
}

# Closes the message box of a failed run once its picture is taken. It is nobody's but Pylon's.
close_message() {
  local window
  for _ in $(seq 600); do
    window=$(xdotool search --onlyvisible --name '^Pylon' 2>/dev/null | head -n 1) || true
    if [[ -n $window ]]; then
      sleep 0.5
      picture "$1" '^Pylon' || true
      xdotool windowactivate --sync "$window" key Return || true
      return
    fi
    sleep 0.05
  done
}

# Sets result, calls (a file with what was called) and shows the end of both logs.
result=0
run() {
  local log calls_before lines_before
  calls_before=$(lines_of rapi.log)
  log=$(pylon_log)
  lines_before=$(lines_of "${log:-none}")
  result=0
  timeout 60 wine Pylon.exe -AppId Memos -Database 5 || result=$?
  wait
  log=$(pylon_log)
  [[ -n $log ]] || fail "the run left no log ($result)"
  tail -n "+$((calls_before + 1))" rapi.log >calls
  printf '\nPylon ends with %d. Its log:\n' "$result"
  tail -n "+$((lines_before + 1))" "$log" | iconv -f CP1252 -t UTF-8 | tr -d '\r' | shorten
  printf '\nCalls that the device got:\n'
  sed -n 's/^\(Ce[A-Za-z]*\).*/\1/p' calls | sort | uniq -c | sort -rn
  printf '\nOf these failed, or remarked:\n'
  grep -v '^Ce.* -> ok' calls | grep -v '^CeRapiGetError\|^CeGetLastError' || echo '  none'
}

# Long lists say little: their start and their end.
shorten() {
  awk '{ line[NR] = $0 }
    END { for (i = 1; i <= NR; ++i) if (NR <= 24 || i <= 10 || i > NR - 10) print line[i]
            else if (i == 11) print "  ... " NR - 20 " more lines" }'
}

show_device() {
  printf '\nThe device:\n'
  (cd device && find . -type f -printf '  \\%P  %s bytes\n' | tr / '\134' | sort)
}
database() { find device -iname '*.pdb' | head -n 1; }

say 'The first sync: the database is made on the PC and copied to the device in chunks'
settings
picture_of_copy copy.png &
run
((result == 0)) || fail "the run failed ($result)"
[[ -s copy.png ]] || fail 'no picture of the status window'
[[ -n $(database) ]] || fail 'no database on the device'
show_device

say 'The second sync: nothing has changed, and nothing is copied back'
cp "$(database)" before.pdb
settings
run
((result == 0)) || fail "the run failed ($result)"
cmp "$(database)" before.pdb || fail 'the database was changed'
(($(count CeWriteFile calls) == 0)) || fail 'the database was copied back'

say 'The third sync: a file is new, and the link is cut in the middle of the copy'
printf 'Written between two syncs\n' >"$texts/New.txt"
settings '[Faults]' 'LinkLostAt=CeWriteFile 3'
close_message message.png &
run
((result != 124)) || fail 'Pylon did not end'
((result != 0)) || fail 'Pylon says that all went well'
[[ -s message.png ]] || fail 'no picture of the message'
grep -q 'rapi 0x80072775' calls || fail 'the link was not cut'
show_device

say 'The fourth sync, over a link that holds, makes up for it'
settings
run
((result == 0)) || fail "the run failed ($result)"
grep -q 'Written between two syncs' "$(database)" || fail 'the new text is not on the device'
show_device

say 'Where things lie'
printf '%s\n' "device    $device" "calls     $home/rapi.log" "log       $home/$(pylon_log)" \
  "pictures  $home/copy.png, $home/message.png"
