#!/usr/bin/env bash
# Installs the Memos conduit with a simulated HotSync and syncs with the simulated handheld: the texts
# go to the handheld, its user's edits come back, a link is cut, and the next session makes up for it.
#
# Works in build/demo-palm. Needs the 64-bit build, Wine with a prefix in WINEPREFIX and a display in
# DISPLAY. At its end it takes away what it registered of the suite and of HotSync.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
desktop='HKCU\Software\U.S. Robotics\Pilot Desktop'  # where HotSync keeps what it knows
program=${PYLON_BUILD:-$root/build/win64}
home=$root/build/demo-palm
texts=$home/data/Memos

say() { printf '\n== %s\n' "$*"; }
fail() { printf 'demo: %s\n' "$*" >&2; exit 1; }
windows() { winepath -w "$1" 2>/dev/null; }
simulator() { wine PalmSimulator.exe "$@"; }

[[ -n ${WINEPREFIX:-} && -n ${DISPLAY:-} ]] ||
  fail 'WINEPREFIX and DISPLAY are not set: run ./dev demo palm'
for file in Pylon.exe Memos.dll simulators/palm/PalmSimulator.exe \
  simulators/palm/manager/{condmgr,hsapi,instaide}.dll; do
  [[ -f $program/$file ]] || fail "$program/$file is missing: run ./dev demo palm"
done
# What a demo that was killed has left behind is ours.
if other=$(wine reg query "$desktop\Core" /v Path 2>/dev/null) && [[ $other != *demo-palm* ]]; then
  fail 'HotSync is installed here, and is left alone'
fi

say "Setting up $home"
rm -rf "$home"
mkdir -p "$texts" "$home/hotsync"
cp -r "$root"/samples/memos/texts/. "$texts"
cp "$program/Pylon.exe" "$program/Memos.dll" "$program/simulators/palm/PalmSimulator.exe" "$home"
cp "$program"/simulators/palm/manager/{condmgr,hsapi,instaide}.dll "$home/hotsync"
cd "$home"
clean_up() {
  wine reg delete "$desktop" /f >/dev/null 2>&1 || true
  simulator /unregserver >/dev/null 2>&1 || true
}
trap clean_up EXIT
wine Pylon.exe /regserver || fail 'Pylon.exe /regserver failed'
wine regsvr32 /s Memos.dll || fail 'Memos.dll did not register'
simulator /regserver || fail 'the simulator did not register'
wine reg delete "$desktop" /f >/dev/null 2>&1 || true
wine reg add "$desktop\Core" /v Path /d "$(windows "$home/hotsync")" >/dev/null
wine reg add "$desktop\Users\Palm User" >/dev/null
printf '[Memos]\r\nClassID=Memos.Conduit\r\nPCPath=%s\r\n' "$(windows "$home/data")" >Pylon.ini
printf '%s\n' 'Pylon.ini:' && cat Pylon.ini
simulator /create MemoDB memo DATA || fail 'the handheld got no MemoDB'
simulator /add MemoDB 'From the handheld\nA memo that was there before.' >/dev/null ||
  fail 'no first memo'
printf '\nDatabases on the handheld:\n' && simulator /list

# Closes the message box, which says that there is no ActiveSync here. It is nobody's but Pylon's.
close_message() {
  local window
  for _ in $(seq 600); do
    window=$(xdotool search --onlyvisible --name '^Pylon Manager$' 2>/dev/null | head -n 1) || true
    if [[ -n $window ]]; then
      sleep 0.5
      xdotool windowactivate --sync "$window" key Return || true
      return
    fi
    sleep 0.05
  done
}

say 'Pylon.exe -AppId Memos -install: HotSync gets to know the conduit'
close_message &
timeout 60 wine Pylon.exe -AppId Memos -install || fail 'the conduit was not installed'
wait
printf 'Conduits that HotSync knows:\n' && simulator /conduits
[[ $(simulator /conduits | tr -d '\r') == 'memo Memos: Pylon.cPalmSync,'* ]] ||
  fail 'HotSync does not know the conduit'

# settings [LINE...]: the handheld's.
settings() {
  printf '%s\r\n' '[Handheld]' 'UserName=Palm User' '[Session]' 'Conduits=memo' "$@" >handheld.ini
}
lines_of() { if [[ -f $1 ]]; then wc -l <"$1"; else echo 0; fi; }
# The first line of each memo.
show_handheld() {
  printf '\nMemos on the handheld:\n'
  simulator /show MemoDB | tr -d '\r' | grep '^id [0-9]*,'
}

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

# Sets result and calls (a file with what was called); shows what the logs got.
pylon_log='Memos/Palm User/Memos.log'
result=0
hotsync() {
  local calls_before lines_before pylon_before
  calls_before=$(lines_of handheld.log)
  lines_before=$(lines_of hotsync.log)
  pylon_before=$(lines_of "$pylon_log")
  result=0
  timeout 120 wine PalmSimulator.exe /sync >/dev/null || result=$?
  wait
  ((result != 124)) || fail 'HotSync did not end'
  tail -n "+$((calls_before + 1))" handheld.log >calls
  printf '\nHotSync ends with %d. Its log:\n' "$result"
  tail -n "+$((lines_before + 1))" hotsync.log
  printf "\nPylon's log:\n"
  tail -n "+$((pylon_before + 1))" "$pylon_log" | iconv -f CP1252 -t UTF-8 | tr -d '\r' | cut -f 2
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
simulator /change MemoDB "${ids[0]}" 'From the handheld\nChanged on the handheld.' >/dev/null
simulator /delete MemoDB "${ids[1]}" >/dev/null
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
grep -q 'Connection to HotSync has been closed' "$pylon_log" || fail 'Pylon did not notice'

say 'The next session makes up for it'
settings
hotsync
((result == 0)) || fail "the session failed ($result)"
simulator /show MemoDB | grep -q 'Sent over a bad link' || fail 'the new text is not on the handheld'

say 'Pylon.exe -AppId Memos -uninstall: HotSync forgets the conduit'
timeout 60 wine Pylon.exe -AppId Memos -uninstall || fail 'the conduit was not uninstalled'
[[ -z $(simulator /conduits) ]] || fail 'HotSync still knows the conduit'

say 'Where things lie'
printf '%s\n' "handheld  $home/handheld" "calls     $home/handheld.log" "log       $home/hotsync.log" \
  "Pylon's   $home/$pylon_log" "texts     $texts" "picture   $home/status.png"
