#!/usr/bin/env bash
# Runs Pylon with the Memos conduit on a folder of text files and shows what comes out.
#
#   demo.sh [FOLDER]
#
# Works on copies in build/demo: neither FOLDER nor samples/memos/texts is touched. Needs the 64-bit
# build, Wine with a prefix in WINEPREFIX and a display in DISPLAY.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
program=${PYLON_BUILD:-$root/build/win64}
home=$root/build/demo
texts=$home/data/Memos
database=$home/data/MemoDB.pdb

say() { printf '\n== %s\n' "$*"; }
fail() { printf 'demo: %s\n' "$*" >&2; exit 1; }
windows() { winepath -w "$1" 2>/dev/null; }
script() { wine cscript //nologo "$(windows "$here/$1")" "${@:2}"; }
log() { find "$home/Memos" -name Memos.log 2>/dev/null | head -n 1; }
show_log() { tail -n "+${1:-1}" "$(log)" | iconv -f CP1252 -t UTF-8 | tr -d '\r'; }

[[ -n ${WINEPREFIX:-} && -n ${DISPLAY:-} ]] || fail 'WINEPREFIX and DISPLAY are not set: run ./dev demo'
[[ -f $program/Pylon.exe && -f $program/Memos.dll ]] || fail "$program holds no build: run ./dev demo"
source=${1:-$here/texts}
[[ -d $source ]] || fail "there is no folder $source"
source=$(cd "$source" && pwd)

say "Copying the files of $source and its sub-folders to $texts, and working on the copy"
rm -rf "$home"
mkdir -p "$texts"
(cd "$source" && find . -maxdepth 3 -type f -print0 | tar -c --null -T - ) | tar -x -C "$texts"
cp "$program/Pylon.exe" "$program/Memos.dll" "$home"
files=$(find "$texts" -type f | wc -l)
((files > 0)) || fail "$source holds no files"

say 'Registering Pylon.exe and Memos.dll'
cd "$home"
wine Pylon.exe /regserver || fail 'Pylon.exe /regserver failed'
wine regsvr32 /s Memos.dll || fail 'Memos.dll did not register'
printf '[Memos]\r\nClassID=Memos.Conduit\r\nPCPath=%s\r\n' "$(windows "$home/data")" > Pylon.ini
cat Pylon.ini

# Six seconds in all, so that the window can be watched.
printf '[Memos]\r\nPause=%d\r\n' "$((6000 / files))" > data/AppStore.ini

# Ends with Pylon's exit code. A failed run shows a message box, which nobody is here to close.
run() {
  local result=0
  timeout "${1:-120}" wine Pylon.exe -AppId Memos -Database 4 || result=$?
  ((result == 0)) && return
  [[ -z $(log) ]] || show_log
  fail "the run failed ($result)"
}

# Waits for the status window, lets it get somewhere, and takes its picture.
picture() {
  local window
  for _ in $(seq 100); do
    window=$(xdotool search --onlyvisible --name '^Memos$' 2>/dev/null | head -n 1) || true
    if [[ -n $window ]]; then
      sleep 2.5
      # Asks for a click, and waits for it, when the window has gone meanwhile.
      timeout 20 import -frame -window "$window" "$home/status.png" 2>/dev/null
      return
    fi
    sleep 0.1
  done
}

say 'Running Pylon.exe -AppId Memos -Database 4'
picture &
run 300
wait
[[ -s $home/status.png ]] || fail 'no picture of the status window'
[[ -s $database ]] || fail 'no database'
[[ -n $(log) ]] || fail 'no log'

say 'The database, record by record'
script show.vbs "$(windows "$database")" 'records.txt'
iconv -f UTF-16 -t UTF-8 records.txt | tr -d '\r' | tee records
records=$(sed -n '1s/.* \([0-9]*\) records$/\1/p' records)
((${records:-0} > 0)) || fail 'the database holds no records'

say 'The log'
show_log

# What a second sync does: one memo changed on both sides, one on the handheld's, one file added, one
# gone.
mapfile -t added < <(show_log | sed -n 's/.*\tAdded: //p' | tr '\134' /)
mapfile -t ids < <(sed -n 's/^[0-9]*\. id \([0-9]*\),.*/\1/p' records)
say "Now both sides add a line to ${added[0]}, one file is new${added[2]:+, ${added[1]} is deleted, and the handheld adds a line to record ${ids[2]}}"
printf 'PS: one more line.\n' >> "$texts/${added[0]}"
script edit.vbs "$(windows "$database")" "${ids[0]}" 'The handheld knows better.'
printf 'Added by the demo\nThis file was not there at the first sync.\n' > "$texts/Added by the demo.txt"
if [[ -n ${added[2]:-} ]]; then
  rm "$texts/${added[1]}"
  script edit.vbs "$(windows "$database")" "${ids[2]}" 'Written on the handheld.'
fi
sed -i 's/^Pause=.*/Pause=0\r/' data/AppStore.ini
lines=$(wc -l < "$(log)")
run
show_log "$((lines + 1))"

say 'A third run, with nothing changed, leaves the database and its index as they are'
index=$(find data -name MemoDB.si)
[[ -n $index ]] || fail 'no sync index'
cp "$database" before.pdb
cp "$index" before.si
lines=$(wc -l < "$(log)")
run
cmp "$database" before.pdb || fail 'the database was written though nothing had changed'
cmp "$index" before.si || fail 'the index was written though nothing had changed'
show_log "$((lines + 1))"

say 'Where things lie'
printf '%s\n' "database  $database" "index     $home/$index" "texts     $texts" "log       $(log)" "picture   $home/status.png"
