#!/usr/bin/env bash
# Times one log message on each road it can take, beside a bare write of the same bytes and beside
# spdlog's rotating file. Prints ns a message and ratios; exits 1 when a limit is missed. Builds and
# installs what it needs.
#
#   bench/log.sh [FOLDER]      FOLDER holds the log files: default ${TMPDIR:-/tmp}
set -euo pipefail

export TMPDIR=${1:-${TMPDIR:-/tmp}}
[ -d "$TMPDIR" ] || { echo "usage: bench/log.sh [FOLDER]" >&2; exit 2; }
TMPDIR=$(realpath "$TMPDIR")
cd "$(dirname "$0")/.."
bin=$PWD/build/bench
result=$(mktemp -d)
trap 'rm -rf "$result"' EXIT

build() {
    scripts/install-packages build bench
    cmake --preset bench
    cmake --build --preset bench --target fenwickel_log_bench
}
build >"$result/build" 2>&1 || { cat "$result/build" >&2; exit 1; }

# Medians of repetitions that alternate between the cases, so that a slow moment meets all of them.
"$bin/fenwickel_log_bench" --benchmark_repetitions=9 --benchmark_enable_random_interleaving=true \
    --benchmark_report_aggregates_only=true --benchmark_format=csv >"$result/csv" 2>"$result/log" ||
    { cat "$result/log" >&2; exit 1; }

ns() { # CASE
    awk -F, -v name="$1" '$1 ~ "^\"" name "(/|_median|\")" && $1 ~ /_median"$/ { print $3; exit }' \
        "$result/csv"
}

missed=0
limit() { # LABEL VALUE LIMIT
    local verdict=PASS
    awk -v value="$2" -v most="$3" 'BEGIN { exit !(value != "" && value <= most) }' ||
        { verdict=FAIL; missed=1; }
    printf '%s  %-52s %8.2f, at most %.2f\n' $verdict "$1" "$2" "$3"
}

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { print a / b }'; }

# calls COUNT: how often a run with so many messages made each system call, a line each.
calls() {
    strace -f -c -o "$result/calls" "$bin/fenwickel_log_bench" --without-viewer "$1" >&2
    awk '$1 ~ /^[0-9.]+$/ && $NF != "total" { print $NF, $4 }' "$result/calls" | sort
}

# System calls a message, where nothing is written and no viewer runs.
calls_without_viewer() {
    calls 1000 >"$result/few"
    calls 2000 >"$result/many"
    join "$result/few" "$result/many" |
        awk '{ n = ($3 - $2) / 1000; if (n >= 0.01) printf "%s %.2f  ", $1, n }'
}

write=$(ns BareWriteOfLine)
printf '%-44s %10s %10s\n' "one message, $(df --output=fstype "$TMPDIR" | tail -n 1)" ns 'x write'
for case in SuppressedMessage NoViewer RingWithViewer BareWriteOfLine FileLine \
    SpdlogRotatingFile/flushed SpdlogRotatingFile/buffered; do
    printf '%-44s %10.1f %10.2f\n' "$case" "$(ns "$case")" "$(ratio "$(ns "$case")" "$write")"
done
limit 'suppressed message: ns' "$(ns SuppressedMessage)" 5
limit 'file line: times a bare write of its bytes' "$(ratio "$(ns FileLine)" "$write")" 20
calls=$(calls_without_viewer)
printf '%s\n' "system calls a message, with no viewer: $calls"
opens=$(awk '{ for (i = 1; i < NF; i += 2) if ($i ~ /^open/) sum += $(i + 1); print sum + 0 }' <<<"$calls")
limit 'no viewer: opens a message' "$opens" 1
exit $missed
