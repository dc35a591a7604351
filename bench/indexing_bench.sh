#!/usr/bin/env bash
# End-to-end indexing timings of tembrix-cli against the floor set by the tools themselves.
#
#   bench/indexing_bench.sh [BUILD] [REPEATS]        (defaults: build, 3)
#
# The set: two MP3, two FLAC, two WAV of 5 minutes each and two Matroska videos with three 2.5-minute
# audio tracks each: 45 minutes of audio in 8 files, made once into BUILD/bench-media.
#   floor      the same sox/ffmpeg/ffprobe commands the worker runs (SoX in its repeatable mode) plus
#              the two digests (openssl dgst -md5, -sha256), one after another
#   1 thread   tembrix-cli index --threads 1 --no-copy, and again with the copy to the work folder
#   2 threads  tembrix-cli index --threads 2 --no-copy
# Each is run REPEATS times; the best wall time counts (the machine may be shared). Then the peak
# memory of tembrix-cli index on a 3-hour FLAC file: the process's own high-water mark (VmHWM,
# sampled), and GNU time's figure, which also covers the tools it waited for.
set -euo pipefail
build=${1:-build}
repeats=${2:-3}
cd "$(dirname "$0")/.."
cli="$build/bin/tembrix-cli"
[ -x "$cli" ] || { echo "indexing_bench: $cli is missing" >&2; exit 2; }
media="$build/bench-media"
mkdir -p "$media"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
ff=(ffmpeg -hide_banner -loglevel error -y -nostdin)

make_once() {  # make_once FILE COMMAND...
  local file=$1; shift
  [ -s "$file" ] && return 0
  echo "making $file" >&2
  "$@"
}

for i in 1 2; do
  f=$((300 + 70 * i))
  make_once "$media/tone$i.wav" sox -n -r 44100 -c 2 -b 16 "$media/tone$i.wav" synth 300 sine $f sine $((f * 3 / 2)) tremolo 0.$((i + 3)) 60
  make_once "$media/song$i.mp3" sox -n -r 44100 -c 2 "$media/song$i.mp3" synth 300 sine $((f + 20)) pluck $((f / 2)) tremolo 0.7 50
  make_once "$media/piece$i.flac" sox -n -r 48000 -c 2 "$media/piece$i.flac" synth 300 sine $((f + 40)) tremolo 1.$i 40
  make_once "$media/film$i.mkv" "${ff[@]}" -f lavfi -i "testsrc=size=160x90:rate=5:duration=150" \
    -f lavfi -i "sine=frequency=$f:duration=150" -f lavfi -i "sine=frequency=$((f + 100)):duration=150" \
    -f lavfi -i "sine=frequency=$((f + 200)):duration=150" -map 0:v -map 1:a -map 2:a -map 3:a \
    -ac 2 -c:v libx264 -preset ultrafast -c:a aac "$media/film$i.mkv"
done
make_once "$media/long.flac" sox -n -r 44100 -c 1 "$media/long.flac" synth 10800 sine 440 tremolo 0.5 60
# In pairs of equal work, so that two threads finish together: with one big file last, the second
# thread would idle through its tail and the measured speed-up would be the set's, not the program's.
set_files=("$media/song1.mp3" "$media/song2.mp3" "$media/piece1.flac" "$media/piece2.flac"
           "$media/tone1.wav" "$media/tone2.wav" "$media/film1.mkv" "$media/film2.mkv")

now() { date +%s.%N; }
# Sets CPU_NOW to the CPU seconds (user + system) used so far by the finished children of this shell.
# `times` must run in this shell itself, not in a command substitution's subshell.
snap_cpu() {
  times >"$scratch/times"
  CPU_NOW=$(tail -1 "$scratch/times" | awk '{
    split($1, u, /[ms]/); split($2, s, /[ms]/);
    printf "%.3f", u[1] * 60 + u[2] + s[1] * 60 + s[2] }')
}
best=()  # one best wall time per measurement, in order
cpu=()   # the CPU time of that run

floor_once() {
  local out=$scratch/floor
  mkdir -p "$out"
  for f in "${set_files[@]}"; do
    openssl dgst -md5 "$f" >/dev/null
    openssl dgst -sha256 "$f" >/dev/null
    case "$f" in
      *.mkv)
        n=$(ffprobe -v error -select_streams a -show_entries stream=index -of csv=p=0 "$f" | wc -l)
        for ((t = 0; t < n; t++)); do
          rm -f "$out/data.wav"
          ffmpeg -nostdin -i "$f" -vn -map "0:a:$t" "$out/data.wav" 2>/dev/null
          SOX_OPTS=-R sox "$out/data.wav" --bits 16 --channels 1 --encoding signed-integer --rate 48000 --type raw "$out/data.dat" 2>/dev/null
        done ;;
      *)
        SOX_OPTS=-R sox "$f" --bits 16 --channels 1 --encoding signed-integer --rate 48000 --type raw "$out/data.dat" 2>/dev/null ;;
    esac
    rm -f "$out/data.wav" "$out/data.dat"
  done
}

index_once() {  # index_once OPTIONS...
  rm -f "$scratch/bench.db"
  "$cli" create "$scratch/bench.db" >/dev/null
  "$cli" index --db "$scratch/bench.db" "$@" "${set_files[@]}" >"$scratch/out.txt" 2>"$scratch/err.txt"
  grep -q "^Обработано: 8$" "$scratch/out.txt" || { echo "indexing failed:" >&2; cat "$scratch/out.txt" "$scratch/err.txt" >&2; exit 1; }
}

measure() {  # measure NAME COMMAND...: best of $repeats wall times, with that run's CPU time
  local name=$1; shift
  local min="" mincpu=""
  for ((r = 0; r < repeats; r++)); do
    local t0 t1 c0 c1 t c
    snap_cpu; c0=$CPU_NOW; t0=$(now); "$@"; t1=$(now); snap_cpu; c1=$CPU_NOW
    t=$(echo "$t1 - $t0" | bc)
    c=$(echo "$c1 - $c0" | bc)
    if [ -z "$min" ] || [ "$(echo "$t < $min" | bc)" = 1 ]; then min=$t; mincpu=$c; fi
  done
  best+=("$min")
  cpu+=("$mincpu")
  printf "%-34s %8.2f s wall %8.2f s CPU\n" "$name" "$min" "$mincpu"
}

echo "set: ${#set_files[@]} files, 45 min of audio; best of $repeats runs; load before: $(cut -d' ' -f1-3 /proc/loadavg)"
measure "floor (tools + digests, serial)" floor_once
measure "tembrix-cli, 1 thread, no copy" index_once --threads 1 --no-copy
measure "tembrix-cli, 1 thread, copy" index_once --threads 1
measure "tembrix-cli, 2 threads, no copy" index_once --threads 2 --no-copy
floor=${best[0]}; one=${best[1]}; onecopy=${best[2]}; two=${best[3]}
printf "1 thread / floor, wall:           %.3f  (target <= 1.10)\n" "$(echo "$one / $floor" | bc -l)"
printf "1 thread / floor, CPU:            %.3f\n" "$(echo "${cpu[1]} / ${cpu[0]}" | bc -l)"
printf "1 thread with copy / floor, wall: %.3f\n" "$(echo "$onecopy / $floor" | bc -l)"
printf "2 threads speed-up, wall:         %.3f  (target >= 1.8 on two free cores)\n" "$(echo "$one / $two" | bc -l)"
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) processors (a busy machine hides the speed-up)"

# Peak memory on a 3-hour file.
rm -f "$scratch/long.db"
"$cli" create "$scratch/long.db" >/dev/null
/usr/bin/time -f "%M" -o "$scratch/rss" "$cli" index --db "$scratch/long.db" --threads 1 "$media/long.flac" \
  >"$scratch/out.txt" 2>"$scratch/err.txt" &
timer=$!
hwm=0
while kill -0 "$timer" 2>/dev/null; do
  pid=$(pgrep -P "$timer" -x tembrix-cli || true)
  if [ -n "$pid" ]; then
    v=$(awk '/VmHWM/ {print $2}' "/proc/$pid/status" 2>/dev/null || echo 0)
    [ -n "$v" ] && [ "$v" -gt "$hwm" ] && hwm=$v
  fi
  sleep 0.2
done
wait "$timer" || true
grep -q "^Обработано: 1$" "$scratch/out.txt" || { echo "3-hour file failed:" >&2; cat "$scratch/out.txt" "$scratch/err.txt" >&2; }
echo "3-hour FLAC: tembrix-cli VmHWM ${hwm} KiB; GNU time max RSS (with tools) $(cat "$scratch/rss") KiB (limit 102400 KiB)"
