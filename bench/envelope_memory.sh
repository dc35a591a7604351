#!/usr/bin/env bash
# Peak memory of reducing a 24-hour raw file (8,294,400,000 bytes) with `tembrix-cli envelope`.
# The file is sparse (all zeros), so it costs no disk space; the reader still reads every byte.
#   bench/envelope_memory.sh [BUILD]
set -euo pipefail
build=${1:-build}
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
truncate -s 8294400000 "$dir/day.dat"
/usr/bin/time -f "%M" -o "$dir/rss" "$build/bin/tembrix-cli" envelope "$dir/day.dat" "$dir/day.env"
echo "peak RSS of tembrix-cli envelope on 24 h of raw audio: $(cat "$dir/rss") KiB (limit 65536 KiB)"
