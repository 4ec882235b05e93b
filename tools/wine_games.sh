#!/usr/bin/env bash
# Games of the Windows build under Wine against the Linux build, with cutechess-cli (tools/match.sh), and a
# count of what must not happen to the Windows build: illegal moves, crashes (a disconnect or a stalled
# connection) and losses on time.
set -euo pipefail

usage() {
    cat <<'EOF'
Usage: tools/wine_games.sh [-g GAMES] [-t TC] [-o PGN] [WINDOWS_EXE [LINUX_BINARY]]

Plays GAMES games (default 20, in pairs with colours swapped) at TC (default 5+0.05) between WINDOWS_EXE
(default build-win/ferrolune.exe) run with wine and LINUX_BINARY (default build/ferrolune), openings from
../shared/books/performance.bin, and saves them in PGN (default build-win/wine_games.pgn). cutechess-cli
is taken from CUTECHESS, else ~/.cache/cutechess/cutechess-cli, built there by
../shared/tools/build-cutechess.sh when missing. Exit status 1 when the Windows build made an illegal move,
crashed or lost on time in any game.
EOF
}

root=$(cd "$(dirname "$0")/.." && pwd)
games=20
tc=5+0.05
pgn=$root/build-win/wine_games.pgn
while getopts "g:t:o:h" opt; do
    case $opt in
        g) games=$OPTARG ;;
        t) tc=$OPTARG ;;
        o) pgn=$OPTARG ;;
        h) usage; exit 0 ;;
        *) usage >&2; exit 2 ;;
    esac
done
shift $((OPTIND - 1))
windows=${1:-$root/build-win/ferrolune.exe}
linux=${2:-$root/build/ferrolune}

if [ -z "${CUTECHESS:-}" ]; then
    CUTECHESS=$HOME/.cache/cutechess/cutechess-cli
    [ -x "$CUTECHESS" ] || "$root/../shared/tools/build-cutechess.sh" "$(dirname "$CUTECHESS")"
fi
export CUTECHESS
# The first start of Wine makes its prefix (~/.wine); that is done here, once.
"$root/tools/wine_prefix.sh" >/dev/null

log=${pgn%.pgn}.log
rm -f "$pgn"
"$root/tools/match.sh" -g "$games" -t "$tc" -o "$pgn" windows="$windows" linux="$linux" | tee "$log"

# cutechess-cli ends every game with a line "Finished game N (WHITE vs BLACK): RESULT {REASON}".
finished=$(grep -c '^Finished game' "$log" || true)
bad=$(grep '^Finished game' "$log" | grep -E '\{(White|Black) (makes an illegal move|loses on time|disconnects|connection stalls|terminates|crash)' || true)
windows_bad=""
while IFS= read -r line; do
    [ -n "$line" ] || continue
    white=$(printf '%s\n' "$line" | sed -E 's/^[^(]*\(([^ ]+) vs .*/\1/')
    black=$(printf '%s\n' "$line" | sed -E 's/^[^(]*\([^ ]+ vs ([^)]+)\).*/\1/')
    case $line in *"{White "*) side=$white ;; *) side=$black ;; esac
    [ "$side" = windows ] && windows_bad+="$line"$'\n'
done <<< "$bad"
windows_bad=${windows_bad%$'\n'}
count() { [ -z "$1" ] && echo 0 || printf '%s\n' "$1" | grep -c "$2" || true; }
echo "games finished: $finished of $games"
echo "Windows build: illegal moves $(count "$windows_bad" 'illegal move'), crashes $(count "$windows_bad" 'disconnects\|connection stalls\|terminates\|crash'), losses on time $(count "$windows_bad" 'loses on time')"
if [ -n "$bad" ]; then
    echo "games that did not end on the board:"
    printf '%s\n' "$bad"
fi
[ "$finished" = "$games" ] && [ -z "$windows_bad" ]
