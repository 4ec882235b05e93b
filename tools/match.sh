#!/usr/bin/env bash
# Engine-against-engine games with cutechess-cli: openings from a Polyglot book, games saved as PGN, and an
# SPRT to compare two builds.
set -euo pipefail

usage() {
    cat <<'EOF'
Usage: tools/match.sh [options] ENGINE1 ENGINE2 [-- CUTECHESS-ARGS...]

ENGINE is [NAME=]PATH[:xboard]: the engine binary, a name for the PGN and the tables (default: the file
name), and ":xboard" for an engine that speaks the XBoard protocol (fairymax, phalanx). A Windows program
(PATH ending in .exe) runs under Wine (WINEDEBUG=-all is set). A ferrolune binary
is recognised by its --version (older builds by their banner) and runs in a folder of its own holding a
ferrolune.ini: HASH MB table, one thread, its own book off (the openings come from the match's book),
tablebases only with -T. Other UCI engines get the options Hash=HASH and Threads=1.

Options:
  -g GAMES  games to play, in pairs with colours swapped (default 20; with -s the most games, default 20000)
  -t TC     time control, moves/seconds+increment (default 10+0.1)
  -c N      games played at the same time (default 1; leave a core per engine)
  -b BOOK   Polyglot .bin book for the openings (default: ../shared/books/performance.bin beside the
            source tree if it exists, else none: every game starts from the start position)
  -d N      book depth in full moves (default 8)
  -o FILE   PGN output (default match-YYYYmmdd-HHMMSS.pgn in the current folder)
  -H MB     table size for each engine (default 64)
  -T DIR    Syzygy folder: ferrolune probes it, and games are adjudicated by it
  -p        let the engines ponder
  -1 OPT    a cutechess-cli engine option for ENGINE1 (repeatable), e.g. -1 "option.Skill Level=3"
  -2 OPT    the same for ENGINE2
  -s        SPRT: is ENGINE1 (the new build) stronger than ENGINE2 (the old)? elo0=0 elo1=10 alpha=0.05
            beta=0.05; the match stops when either hypothesis is accepted
  -h        this text
Games are adjudicated: resigned after 5 moves with both engines agreeing on a score beyond 1000 cp, drawn
after move 40 when both scores stay within 10 cp for 10 moves. CUTECHESS names the cutechess-cli binary
(default /opt/cutechess/cutechess-cli). cutechess-cli's "Illegal PV move" warnings about ferrolune are
expected (its info lines may end with moves left from an earlier line) and are counted, not printed.
Examples:
  tools/match.sh build/ferrolune /usr/games/fairymax:xboard
  tools/match.sh -s -t 5+0.05 -c 2 new=build/ferrolune old=../old/build/ferrolune
EOF
}

root=$(cd "$(dirname "$0")/.." && pwd)
cutechess=${CUTECHESS:-/opt/cutechess/cutechess-cli}
games=""
tc=10+0.1
concurrency=1
book=""
[ -f "$root/../shared/books/performance.bin" ] && book=$(cd "$root/../shared/books" && pwd)/performance.bin
bookdepth=8
pgn=match-$(date +%Y%m%d-%H%M%S).pgn
hash=64
tbdir=""
ponder=0
sprt=0
extra1=()
extra2=()

while getopts "g:t:c:b:d:o:H:T:ps1:2:h" opt; do
    case $opt in
        g) games=$OPTARG ;;
        t) tc=$OPTARG ;;
        c) concurrency=$OPTARG ;;
        b) book=$OPTARG ;;
        d) bookdepth=$OPTARG ;;
        o) pgn=$OPTARG ;;
        H) hash=$OPTARG ;;
        T) tbdir=$(cd "$OPTARG" && pwd) ;;
        p) ponder=1 ;;
        s) sprt=1 ;;
        1) extra1+=("$OPTARG") ;;
        2) extra2+=("$OPTARG") ;;
        h) usage; exit 0 ;;
        *) usage >&2; exit 2 ;;
    esac
done
shift $((OPTIND - 1))
if [ $# -lt 2 ]; then usage >&2; exit 2; fi
spec1=$1
spec2=$2
shift 2
[ "${1:-}" = "--" ] && shift
if [ ! -x "$cutechess" ]; then
    echo "cutechess-cli not found at $cutechess (set CUTECHESS=...)" >&2
    exit 1
fi
if [ -n "$book" ] && [ ! -f "$book" ]; then
    echo "book not found: $book" >&2
    exit 1
fi
[ -n "$games" ] || games=$([ $sprt = 1 ] && echo 20000 || echo 20)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Splits [NAME=]PATH[:xboard] into the globals name, path, proto.
parse_spec() {
    local engine_arg=$1
    proto=uci
    case $engine_arg in *:xboard) proto=xboard; engine_arg=${engine_arg%:xboard} ;; esac
    name=""
    case $engine_arg in *=*) name=${engine_arg%%=*}; engine_arg=${engine_arg#*=} ;; esac
    path=$engine_arg
    case $path in */*) ;; *) path=$(command -v "$path" || echo "$path") ;; esac
    if [ ! -x "$path" ]; then
        echo "engine not found or not executable: $path" >&2
        exit 1
    fi
    path=$(cd "$(dirname "$path")" && pwd)/$(basename "$path")
    [ -n "$name" ] || name=$(basename "$path")
    runner=""
    case $path in *.exe) runner=wine ;; esac
}

is_ferrolune() {
    timeout 20 $runner "$1" --version </dev/null 2>/dev/null | grep -q '^ferrolune'
}

# Prints the cutechess-cli options of one engine; a ferrolune engine gets its folder and settings file.
engine_args() {
    local index=$1
    local args=(-engine "name=$name" "cmd=$path" "proto=$proto")
    [ -n "$runner" ] && args=(-engine "name=$name" "cmd=$runner" "arg=$path" "proto=$proto")
    if [ "$proto" = uci ] && is_ferrolune "$path"; then
        local dir="$work/engine$index"
        mkdir -p "$dir"
        {
            printf '[ENGINE]\nThread=1\nHashSize=%s\nHashPawnSize=4\n[BOOK]\nBook=0\n[TABLEBASE]\n' "$hash"
            if [ -n "$tbdir" ]; then
                printf 'Syzygy=1\nwdlPath=%s\ndtzPath=%s\n' "$tbdir" "$tbdir"
            else
                printf 'Syzygy=0\n'
            fi
        } > "$dir/ferrolune.ini"
        args+=("dir=$dir")
    elif [ "$proto" = uci ]; then
        args+=("option.Hash=$hash" "option.Threads=1")
    fi
    printf '%s\n' "${args[@]}"
}

parse_spec "$spec1"; name1=$name; path1=$path; proto1=$proto; runner1=$runner
parse_spec "$spec2"; name2=$name; path2=$path; proto2=$proto; runner2=$runner
if [ "$name1" = "$name2" ]; then
    name1=$(basename "$(dirname "$path1")")/$name1
    name2=$(basename "$(dirname "$path2")")/$name2
    [ "$name1" != "$name2" ] || { name1="$name1-1"; name2="$name2-2"; }
fi

cmd=("$cutechess")
name=$name1; path=$path1; proto=$proto1; runner=$runner1
mapfile -t e1 < <(engine_args 1); cmd+=("${e1[@]}" "${extra1[@]}")
name=$name2; path=$path2; proto=$proto2; runner=$runner2
mapfile -t e2 < <(engine_args 2); cmd+=("${e2[@]}" "${extra2[@]}")
# cutechess-cli takes one -each only.
each=("tc=$tc")
[ -n "$book" ] && each+=("book=$book" "bookdepth=$bookdepth")
[ $ponder = 1 ] && each+=(ponder)
cmd+=(-each "${each[@]}" -games 2 -rounds $((games / 2 > 0 ? games / 2 : 1)) -concurrency "$concurrency")
cmd+=(-resign movecount=5 score=1000 twosided=true -draw movenumber=40 movecount=10 score=10)
cmd+=(-pgnout "$pgn" -ratinginterval 10)
[ -n "$tbdir" ] && cmd+=(-tb "$tbdir")
[ $sprt = 1 ] && cmd+=(-sprt elo0=0 elo1=10 alpha=0.05 beta=0.05)
cmd+=("$@")

echo "${cmd[*]}"
export WINEDEBUG=-all
"${cmd[@]}" 2>&1 | awk '
    /Illegal PV move/ { pv++; shown = 1; next }
    shown && /^Warning: PV: / { shown = 0; next }
    { shown = 0; print; fflush() }
    END { if (pv) printf "(%d \"Illegal PV move\" warnings not shown)\n", pv }'
echo "games saved in $pgn"
