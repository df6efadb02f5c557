#!/usr/bin/env bash
# Times an unchanged second run of `fenwickel detect` over N small files, beside a bare walk, find
# and rsync over the same files. Prints medians, ratios and peak memory; exits 1 when a limit is
# missed. Builds and installs what it needs.
#
#   bench/scan.sh N [FOLDER]      FOLDER holds the trees: default ${TMPDIR:-/tmp}
set -euo pipefail

rounds=5
files=${1:-}
work=$(realpath "${2:-${TMPDIR:-/tmp}}")
if ! [[ $files =~ ^[1-9][0-9]*$ ]] || [ ! -d "$work" ]; then
    echo "usage: bench/scan.sh N [FOLDER]" >&2
    exit 2
fi
cd "$(dirname "$0")/.."
bin=$PWD/build/bench

build() {
    scripts/install-packages build bench
    cmake --preset bench
    cmake --build --preset bench --target fenwickel_tool make_tree bare_walk timed_run
}
if ! output=$(build 2>&1); then
    echo "$output" >&2
    exit 1
fi
state=$(mktemp -d /dev/shm/fenwickel-bench.XXXXXX)
trap 'rm -rf "$state"' EXIT
# The programs log here, too, not into the log of the user.
export XDG_STATE_HOME=$state
mkdir "$state/fenwickel"
log=$state/fenwickel/fenwickel.Log
state_files=(--base "$state/base" --syncing "$state/syncing" --deleted "$state/deleted")

# folder_of N: where the two trees of N files lie.
folder_of() { echo "$work/fenwickel-bench-$1"; }

# A tree is complete, and as this generator makes it, when the generator's source lies beside it.
make_trees() {
    local folder
    folder=$(folder_of "$1")
    if ! cmp -s bench/make_tree.cpp "$folder/made-by.cpp"; then
        echo "Making two trees of $1 files in $folder" >&2
        rm -rf "$folder"
        mkdir "$folder"
        "$bin/make_tree" "$folder/tree" "$1" &
        "$bin/make_tree" "$folder/copy" "$1"
        wait $!
        cp bench/make_tree.cpp "$folder/made-by.cpp"
    fi
}

# walk FOLDER N: brings a tree into the page cache, which may lose idle trees within seconds.
walk() {
    local found
    found=$("$bin/bare_walk" "$1")
    [ "${found%% *}" = "$2" ] || { echo "$1 does not hold $2 files: remove it" >&2; exit 1; }
}

expect() { # TEXT: the last run of detect reported it
    tr -d ' \n' <"$state/report" | grep -q "$1" || { cat "$state/report" >&2; exit 1; }
}

# time_program NAME N ROUND: leaves seconds, peak KiB and log lines in the file NAME.N.ROUND.
time_program() {
    local folder result=$state/$1.$2.$3 report=/dev/null command
    folder=$(folder_of "$2")
    walk "$folder/tree" "$2"
    case $1 in
    bare) command=("$bin/bare_walk" "$folder/tree") ;;
    find) command=(find "$folder/tree" -printf '%T@ %s %p\n') ;;
    rsync)
        walk "$folder/copy" "$2"
        command=(rsync -an --delete "$folder/tree/" "$folder/copy/")
        ;;
    detect)
        report=$state/report
        command=("$bin/fenwickel" detect --json "${state_files[@]}" "$folder/tree")
        ;;
    esac
    "$bin/timed_run" "$result" "$log" "${command[@]}" >"$report"
    if [ "$1" = detect ]; then
        expect "\"unchanged\":$2[,}]"
        split_phases "$result" "$state/phase.$2.$3"
        "$bin/fenwickel" discard "${state_files[@]}" >"$state/output"
    fi
}

# split_phases FROM TO: from the library's own messages, each after its seconds since the start.
split_phases() {
    awk -v file="$2" '
        NR == 1 { end = $1 }
        /succeed to build memory search engine/ { build = $1 }
        /the store changed item thread will exit/ { walk = $1 }
        /start to detect deleted item/ { flush = $1 }
        /end detect deleted item/ { deletions = $1 }
        END {
            if (!build || !walk || !flush || !deletions) {
                print "a phase is missing from the log" > "/dev/stderr"
                exit 1
            }
            print build > (file ".build")
            print walk - build > (file ".walk")
            print flush - walk > (file ".flush")
            print deletions - flush > (file ".deletions")
            print end - deletions > (file ".rest")
        }' "$1"
}

measure() { # N
    local round program
    make_trees "$1"
    rm -f "$state/base"
    walk "$(folder_of "$1")/tree" "$1"
    "$bin/fenwickel" detect --json "${state_files[@]}" "$(folder_of "$1")/tree" >"$state/report"
    expect "\"new\":$1[,}]"
    "$bin/fenwickel" commit "${state_files[@]}" >"$state/output"
    rm -f "$state/deleted"
    for ((round = 1; round <= rounds; round++)); do
        for program in bare find rsync detect; do
            time_program $program "$1" $round
        done
    done
}

# median LINE FILE...: of that line of the files.
median() {
    local line=$1
    shift
    sed -s -n "${line}p" "$@" | sort -g | sed -n "$(((rounds + 1) / 2))p"
}

row() { # LABEL SECONDS [KIB]
    awk -v label="$1" -v seconds="$2" -v kib="${3:-0}" -v bare="$bare" -v files="$files" 'BEGIN {
        printf "%-24s %8.3f %9.2f %8.2f", label, seconds, seconds / bare, seconds / files * 1e6
        print kib ? sprintf(" %8.1f", kib * 1024 / 1e6) : ""
    }'
}

missed=0
limit() { # LABEL VALUE LIMIT
    local verdict=PASS
    awk -v value="$2" -v most="$3" 'BEGIN { exit !(value <= most) }' || { verdict=FAIL; missed=1; }
    printf '%s  %-44s %8.2f, at most %.2f\n' $verdict "$1" "$2" "$3"
}

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { print a / b }'; }

load=$(cut -d ' ' -f 1 /proc/loadavg)
awk -v load="$load" 'BEGIN { exit load < 0.5 }' &&
    echo "Load is $load: other programs are running, the figures will be too high"
[ "$files" != 1000000 ] || measure 100000
measure "$files"

bare=$(median 1 "$state/bare.$files".?)
detect=$(median 1 "$state/detect.$files".?)
rsync=$(median 1 "$state/rsync.$files".?)
memory=$(median 2 "$state/detect.$files".?)

echo "$files files on $(df --output=fstype "$work" | tail -n 1), $(nproc) cores, warm cache, medians of $rounds"
printf '%-24s %8s %9s %8s %8s\n' '' seconds 'x bare' us/file 'peak MB'
row 'bare walk' "$bare" "$(median 2 "$state/bare.$files".?)"
row 'find -printf' "$(median 1 "$state/find.$files".?)" "$(median 2 "$state/find.$files".?)"
row 'rsync -an --delete' "$rsync" "$(median 2 "$state/rsync.$files".?)"
row 'fenwickel detect' "$detect" "$memory"
for phase in build walk flush deletions rest; do
    row "    $phase" "$(median 1 "$state/phase.$files".?."$phase")"
done
limit 'detect: times the bare walk' "$(ratio "$detect" "$bare")" 3
limit 'detect: times rsync -an' "$(ratio "$detect" "$rsync")" 1
limit 'detect: peak memory in MB' "$(ratio "$memory" 976.5625)" 120
if [ "$files" = 1000000 ]; then
    small=$(median 1 "$state/detect.100000".?)
    limit 'detect: time per file, times that at 100000' "$(ratio "$detect" "${small}e1")" 1.5
fi
echo "The trees stay for the next call. To remove them: rm -r $work/fenwickel-bench-*"
exit $missed
