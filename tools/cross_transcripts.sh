#!/usr/bin/env bash
# Plays the same scripted sessions on every build target and compares what they print: the Linux build
# natively, the Windows build under Wine and the AArch64 build under qemu-aarch64. Line ends and timings
# (UCI time and nps, the console's time column and Knps, "Time: ... ms" and the like) are set aside; every
# other byte must be the same.
set -euo pipefail

usage() {
    cat <<'EOF'
Usage: tools/cross_transcripts.sh [options] [SESSION...]

SESSION is a file of input lines for the engine (its first line chooses the mode: "uci" or "c"); default
tools/sessions/console.txt and tools/sessions/uci.txt. Searches in a session should be bounded by depth
("sd N", "go depth N"), not by time: the output of a timed search depends on the machine's speed.

Options:
  -n PATH   the native build (default build/ferrolune)
  -w PATH   the Windows build, run with wine (default build-win/ferrolune.exe)
  -a PATH   the AArch64 build, run with qemu-aarch64 -L /usr/aarch64-linux-gnu (default build-arm64/ferrolune)
  -t DIR    Syzygy folder for the sessions (default ../shared/syzygy beside the source tree, if there)
  -k DIR    keep the raw and compared outputs in DIR (default: a temporary folder, removed at the end)
  -h        this text
A target whose program is missing is left out with a message; at least two must be there. Each run starts
in a fresh folder with a ferrolune.ini of one thread, a 16 MB table, the book off and the tablebases on
when a folder was found. Exit status 0 when every session printed the same on every target, 1 otherwise.
EOF
}

root=$(cd "$(dirname "$0")/.." && pwd)
native=$root/build/ferrolune
windows=$root/build-win/ferrolune.exe
aarch64=$root/build-arm64/ferrolune
tbdir=""
[ -d "$root/../shared/syzygy" ] && tbdir=$(cd "$root/../shared/syzygy" && pwd)
keep=""
while getopts "n:w:a:t:k:h" opt; do
    case $opt in
        n) native=$OPTARG ;;
        w) windows=$OPTARG ;;
        a) aarch64=$OPTARG ;;
        t) tbdir=$(cd "$OPTARG" && pwd) ;;
        k) keep=$OPTARG ;;
        h) usage; exit 0 ;;
        *) usage >&2; exit 2 ;;
    esac
done
shift $((OPTIND - 1))
sessions=("$@")
[ ${#sessions[@]} -gt 0 ] || sessions=("$root/tools/sessions/console.txt" "$root/tools/sessions/uci.txt")

if [ -n "$keep" ]; then
    mkdir -p "$keep"
    work=$(cd "$keep" && pwd)
else
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
fi

absolute() { echo "$(cd "$(dirname "$1")" && pwd)/$(basename "$1")"; }

# name and the command line that starts the program, one target a line.
targets=()
if [ -x "$native" ]; then targets+=("native"); native=$(absolute "$native"); else echo "native: $native not found, left out"; fi
if [ -f "$windows" ]; then
    if command -v wine >/dev/null; then
        targets+=("wine"); windows=$(absolute "$windows")
        # The first start of Wine makes its prefix (~/.wine); that is done here, once.
        "$root/tools/wine_prefix.sh" >/dev/null
    else
        echo "wine: not installed, the Windows build is left out"
    fi
else
    echo "wine: $windows not found, left out"
fi
if [ -f "$aarch64" ]; then
    if command -v qemu-aarch64 >/dev/null; then targets+=("qemu-aarch64"); aarch64=$(absolute "$aarch64")
    else echo "qemu-aarch64: not installed, the AArch64 build is left out"; fi
else
    echo "qemu-aarch64: $aarch64 not found, left out"
fi
if [ ${#targets[@]} -lt 2 ]; then
    echo "fewer than two targets to compare" >&2
    exit 1
fi

run_target() {
    local target=$1 input=$2 output=$3
    case $target in
        native) "$native" < "$input" > "$output" ;;
        wine) WINEDEBUG=-all wine "$windows" < "$input" > "$output" 2>/dev/null ;;
        qemu-aarch64) qemu-aarch64 -L /usr/aarch64-linux-gnu "$aarch64" < "$input" > "$output" ;;
    esac
}

# Line ends and every figure that measures time go; so do the counts of a timed search's speed.
normalise() {
    sed -E -e 's/\r$//' \
        -e 's/ time +[0-9]+/ time T/g' \
        -e 's/ nps +[0-9]+/ nps N/g' \
        -e 's/^( ?[0-9]+ +-?[0-9]+) +[0-9]+( +[0-9]+ )/\1 T\2/' \
        -e 's/Knps: +[0-9.]+/Knps: N/' \
        -e 's/Time: +[0-9.]+ ms/Time: T ms/' \
        -e 's/Nodes\/second: +[0-9]+/Nodes\/second: N/' \
        -e 's/Raw nodes\/s: +[0-9]+/Raw nodes\/s: N/' \
        -e 's/elapsed time: +[0-9.]+ s/elapsed time: T s/'
}

status=0
for session in "${sessions[@]}"; do
    name=$(basename "$session" .txt)
    for target in "${targets[@]}"; do
        dir=$work/$name/$target
        rm -rf "$dir"
        mkdir -p "$dir"
        {
            printf '[ENGINE]\nThread=1\nHashSize=16\nHashPawnSize=1\n[BOOK]\nBook=0\n[TABLEBASE]\n'
            if [ -n "$tbdir" ]; then printf 'Syzygy=1\nwdlPath=%s\ndtzPath=%s\n' "$tbdir" "$tbdir"
            else printf 'Syzygy=0\n'; fi
        } > "$dir/ferrolune.ini"
        cp "$session" "$dir/input.txt"
        rc=0
        (cd "$dir" && run_target "$target" input.txt output.raw) || rc=$?
        normalise < "$dir/output.raw" > "$dir/output.txt"
        echo "$name on $target: exit status $rc, $(wc -l < "$dir/output.txt") lines"
        [ $rc = 0 ] || status=1
    done
    first=${targets[0]}
    for target in "${targets[@]:1}"; do
        if diff -u "$work/$name/$first/output.txt" "$work/$name/$target/output.txt" > "$work/$name/$target.diff"; then
            echo "$name: $target prints the same as $first"
        else
            echo "$name: $target differs from $first:"
            head -n 40 "$work/$name/$target.diff"
            status=1
        fi
    done
done
[ -n "$keep" ] && echo "outputs kept in $work"
exit $status
