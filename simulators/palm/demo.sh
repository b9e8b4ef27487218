#!/usr/bin/env bash
# Plays HotSync with the Memos conduit and the simulated handheld: the texts go to the handheld, its
# user's edits come back, a link is cut, and the next session makes up for it.
#
# Works in build/demo-palm. Needs the 64-bit build, Wine with a prefix in WINEPREFIX and a display in
# DISPLAY. At its end it takes away what it registered of the suite and of HotSync.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
program=${PYLON_BUILD:-$root/build/win64}
home=$root/build/demo-palm
texts=$home/data/Memos

say() { printf '\n== %s\n' "$*"; }
fail() { printf 'demo: %s\n' "$*" >&2; exit 1; }
windows() { winepath -w "$1" 2>/dev/null; }
simulator() { wine PalmSimulator.exe "$@"; }

[[ -n ${WINEPREFIX:-} && -n ${DISPLAY:-} ]] ||
  fail 'WINEPREFIX and DISPLAY are not set: run ./dev demo palm'
for file in Pylon.exe Memos.dll simulators/palm/PalmSimulator.exe; do
  [[ -f $program/$file ]] || fail "$program/$file is missing: run ./dev demo palm"
done

say "Setting up $home"
rm -rf "$home"
mkdir -p "$texts"
cp -r "$root"/samples/memos/texts/. "$texts"
cp "$program/Pylon.exe" "$program/Memos.dll" "$program/simulators/palm/PalmSimulator.exe" "$home"
cd "$home"
clean_up() {
  simulator /removeconduit memo >/dev/null 2>&1 || true
  simulator /unregserver >/dev/null 2>&1 || true
}
trap clean_up EXIT
wine Pylon.exe /regserver || fail 'Pylon.exe /regserver failed'
wine regsvr32 /s Memos.dll || fail 'Memos.dll did not register'
simulator /regserver || fail 'the simulator did not register'
simulator /removeconduit memo >/dev/null 2>&1 || true
simulator /addconduit memo Pylon.cPalmSync Memos Memos || fail 'the conduit was not registered'
printf '[Memos]\r\nClassID=Memos.Conduit\r\nCreatorID=memo\r\nPCPath=%s\r\n' \
  "$(windows "$home/data")" >Pylon.ini
simulator /create MemoDB memo DATA || fail 'the handheld got no MemoDB'
simulator /add MemoDB 'From the handheld\nA memo that was there before.' || fail 'no first memo'
printf '%s\n' 'Conduits:' && simulator /conduits
printf '%s\n' 'The handheld:' && simulator /list

# settings [LINE...]: the handheld's.
settings() {
  printf '%s\r\n' '[Handheld]' 'UserName=Palm User' '[Session]' 'Conduits=memo' "$@" >handheld.ini
}
lines_of() { if [[ -f $1 ]]; then wc -l <"$1"; else echo 0; fi; }
show_handheld() { printf '\nMemos on the handheld:\n' && simulator /show MemoDB | tr -d '\r'; }

# Waits for the status window and takes its picture.
picture() {
  local window
  for _ in $(seq 200); do
    window=$(xdotool search --onlyvisible --name '^Memos$' 2>/dev/null | head -n 1) || true
    if [[ -n $window ]]; then
      sleep 1
      # Asks for a click, and waits for it, when the window has gone meanwhile.
      timeout 20 import -frame -window "$window" "$1" 2>/dev/null
      return
    fi
    sleep 0.1
  done
}

# Sets result and calls (a file with what was called); shows what both logs got.
result=0
hotsync() {
  local calls_before lines_before
  calls_before=$(lines_of handheld.log)
  lines_before=$(lines_of hotsync.log)
  result=0
  timeout 120 wine PalmSimulator.exe /sync >/dev/null || result=$?
  wait
  ((result != 124)) || fail 'HotSync did not end'
  tail -n "+$((calls_before + 1))" handheld.log >calls
  printf '\nHotSync ends with %d. Its log:\n' "$result"
  tail -n "+$((lines_before + 1))" hotsync.log
  printf '\nCalls that the handheld got:\n'
  sed -n 's/^\([A-Z][A-Za-z]*\) .*/\1/p' calls | sort | uniq -c | sort -rn
  printf '\nOf these failed:\n'
  grep -- '-> error' calls || echo '  none'
}

say 'The first session: memos go both ways'
settings '[Link]' 'CallDelay=100'
picture status.png &
hotsync
((result == 0)) || fail "the session failed ($result)"
[[ -s status.png ]] || fail 'no picture of the status window'
show_handheld
grep -rq 'was there before' "$texts" || fail "the handheld's memo has no file"

say "Now the handheld's user changes one memo and deletes another, and a file is new"
mapfile -t ids < <(simulator /show MemoDB | sed -n 's/^id \([0-9]*\),.*/\1/p')
simulator /change MemoDB "${ids[0]}" 'From the handheld\nChanged on the handheld.'
simulator /delete MemoDB "${ids[1]}"
printf 'Written between two sessions\n' >"$texts/New.txt"
before=$(find "$texts" -type f | wc -l)
settings
hotsync
((result == 0)) || fail "the session failed ($result)"
show_handheld
grep -rq 'Changed on the handheld' "$texts" || fail 'the change did not reach its file'
(($(find "$texts" -type f | wc -l) == before - 1)) || fail 'the deleted memo still has its file'
simulator /show MemoDB | grep -q 'Written between' || fail 'the new file is no memo'

say 'A session with nothing to do writes nothing'
hotsync
((result == 0)) || fail "the session failed ($result)"
! grep -q '^Write ' calls || fail 'a record was written though nothing had changed'

say 'A new file, and the link is lost before it is written'
printf 'Sent over a bad link\n' >"$texts/Bad link.txt"
settings '[Faults]' 'LinkLostAt=Write 1'
hotsync
((result == 1)) || fail "the session ended with $result"

say 'The next session makes up for it'
settings
hotsync
((result == 0)) || fail "the session failed ($result)"
simulator /show MemoDB | grep -q 'Sent over a bad link' || fail 'the new text is not on the handheld'

say 'Where things lie'
printf '%s\n' "handheld  $home/handheld" "calls     $home/handheld.log" "log       $home/hotsync.log" \
  "texts     $texts" "picture   $home/status.png"
