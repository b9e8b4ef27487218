#!/usr/bin/env bash
# Runs Pylon with the Inventory conduit on a CSV file and shows what comes out.
#
#   demo.sh
#
# Works on a copy in build/demo-inventory. Needs the 64-bit build, Wine with a prefix in WINEPREFIX
# and a display in DISPLAY.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
program=${PYLON_BUILD:-$root/build/win64}
home=$root/build/demo-inventory
csv=$home/data/Inventory.csv
database=$home/data/Inventory.pdb

say() { printf '\n== %s\n' "$*"; }
fail() { printf 'demo: %s\n' "$*" >&2; exit 1; }
windows() { winepath -w "$1" 2>/dev/null; }
script() { wine cscript //nologo "$(windows "$here/$1")" "${@:2}" | tr -d '\r'; }
log() { find "$home/Inventory" -name Inventory.log 2>/dev/null | head -n 1; }
# The log's new lines, without their times.
lines=0
show_log() {
  tail -n "+$((lines + 1))" "$(log)" | iconv -f CP1252 -t UTF-8 | tr -d '\r' | sed 's/^[^\t]*\t/    /'
  lines=$(wc -l <"$(log)")
}
# Rows of a CSV file, signatures cut short.
show_rows() { tr -d '\r' <"$1" | sed -E 's/(([0-9a-f]{4} ){2})([0-9a-f]{4} ?)+$/\1.../; s/^/    /'; }

[[ -n ${WINEPREFIX:-} && -n ${DISPLAY:-} ]] || fail 'WINEPREFIX and DISPLAY are not set: run ./dev demo'
[[ -f $program/Pylon.exe && -f $program/Inventory.dll ]] || fail "$program holds no build: run ./dev demo"

say "Registering Pylon.exe and Inventory.dll, and copying Inventory.csv to $csv"
rm -rf "$home"
mkdir -p "$home/data"
cp "$here/Inventory.csv" "$csv"
cp "$program/Pylon.exe" "$program/Inventory.dll" "$home"
cd "$home"
wine Pylon.exe /regserver || fail 'Pylon.exe /regserver failed'
wine regsvr32 /s Inventory.dll || fail 'Inventory.dll did not register'
printf '[Inventory]\r\nClassID=Inventory.Conduit\r\nPCPath=%s\r\n' "$(windows "$home/data")" >Pylon.ini
cat Pylon.ini

# run [fails]: ends when Pylon does. A failed run shows a message box, which is closed here.
run() {
  local result=0 closer=''
  if [[ ${1:-} == fails ]]; then
    close_message &
    closer=$!
  fi
  timeout 120 wine Pylon.exe -AppId Inventory -Database 4 || result=$?
  if [[ -n $closer ]]; then
    wait "$closer" || fail 'no message box'
    ((result == 1)) || fail "the run ended with $result; it should have failed"
  elif ((result != 0)); then
    [[ -z $(log) ]] || show_log
    fail "the run failed ($result)"
  fi
  show_log
}

close_message() {
  local window
  for _ in $(seq 300); do
    window=$(xdotool search --onlyvisible --name '^Pylon Manager$' 2>/dev/null | head -n 1) || true
    if [[ -n $window ]]; then
      sleep 0.5
      timeout 20 import -frame -window "$window" "$home/refused.png" 2>/dev/null || true
      # The window is gone before the key comes up again.
      xdotool key --window "$window" Return 2>/dev/null || true
      return
    fi
    sleep 0.1
  done
  return 1
}

# change_row KEY FROM TO: as the PC's user would, in an editor.
change_row() {
  grep -q "^$1,.*$2" "$csv" || fail "row $1 has no $2"
  sed -i "/^$1,/s/$2/$3/" "$csv"
  echo "    PC:       $1: ${2//,/} becomes ${3//,/}"
}
# change_record KEY [COLUMN VALUE]: as the handheld's user would; without a value it is deleted.
change_record() {
  script edit.vbs "$(windows "$database")" "$@" >/dev/null
  if (($# == 1)); then
    echo "    handheld: $1: deleted"
  else
    echo "    handheld: $1: $2 becomes $3"
  fi
}

say 'The file'
show_rows "$csv"

say 'Running Pylon.exe -AppId Inventory -Database 4'
run
[[ -s $database ]] || fail 'no database'

say 'The table'
mkdir signatures
script show.vbs "$(windows "$database")" table.txt signatures
iconv -f UTF-16 -t UTF-8 table.txt | tr -d '\r'
for picture in signatures/*.bmp; do convert "$picture" "${picture%.bmp}.png"; done

say 'Both sides change'
change_row A-100 ',1240,' ',1190,'
printf 'F-001,New on the PC,5,1,1,9.99,0.1,0.0001,False,2023-03-20,\r\n' >>"$csv"
sed -i '/^D-900,/d' "$csv"
echo '    PC:       F-001: new; D-900: deleted'
change_record A-210 Price 2.75
change_record E-042
run
show_rows "$csv"

say 'Both sides change the same row'
change_row B-007 ',64,' ',60,'
change_record B-007 Stock 58
run
show_rows data/Inventory.conflicts.csv

say 'A row with a cell that cannot be stored; the others go on'
change_row C-330 ',52,' ',fifty-two,'
change_row C-331 ',96,' ',95,'
run

say 'The row is put right; then a run with nothing to do writes nothing'
change_row C-330 ',fifty-two,' ',50,'
run
index=$(find data -name Inventory.si)
sha256sum "$csv" "$database" "$index" >before
run
sha256sum --quiet -c before || fail 'a file was written though nothing had changed'

say 'Another header is refused'
sed -i '1s/Stock:long/Stock:integer/' "$csv"
sha256sum "$csv" "$database" "$index" >before
run fails
sha256sum --quiet -c before || fail 'a file was written though the header was refused'

say 'Where things lie'
printf '%s\n' "file        $csv" "conflicts   $home/data/Inventory.conflicts.csv" \
  "database    $database" "sync index  $home/$index" "signatures  $home/signatures" "log         $(log)"
