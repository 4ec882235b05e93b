#!/usr/bin/env bash
# Short multi-threaded searches through the console and UCI, for a sanitizer build of the engine.
# Usage: tools/tsan_search.sh path/to/ferrolune   Fails when the engine fails or a sanitizer reports.
set -euo pipefail
engine=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
printf '[ENGINE]\nHashSize=16\nHashPawnSize=1\nThread=4\n[BOOK]\nBook=0\n[TABLEBASE]\nSyzygy=0\n' > ferrolune.ini

# Console: several iterations with four and then two threads, and a timed search.
status=0
printf 'c\nsd 6\ngo\nkiller\ngo\nthread 2\ngood\nst 1\ngo\nq\n' | "$engine" > console.out 2> console.err ||
    { echo "console run exited with status $?"; status=1; }
# UCI, with a table large enough to be pooled: a timed search, an infinite search ended by "stop", and a ponder search ended by "ponderhit".
sed -i 's/HashSize=16/HashSize=128/' ferrolune.ini
{
    printf 'uci\nisready\nucinewgame\nposition startpos moves e2e4 e7e5\ngo wtime 3000 btime 3000 winc 0 binc 0\n'
    sleep 2
    printf 'isready\nposition startpos moves d2d4\ngo infinite\n'
    sleep 1
    printf 'stop\n'
    sleep 1
    printf 'position startpos moves d2d4 d7d5\ngo ponder wtime 2000 btime 2000\n'
    sleep 1
    printf 'ponderhit\n'
    sleep 2
    printf 'quit\n'
} | "$engine" > uci.out 2> uci.err || { echo "UCI run exited with status $?"; status=1; }

for f in console uci; do
    if grep -q 'WARNING: ThreadSanitizer\|ERROR: AddressSanitizer\|runtime error' "$f.err"; then
        echo "sanitizer report in the $f searches:"
        cat "$f.err"
        status=1
    fi
    echo "$f searches finished: $(grep -c -i '^bestmove' "$f.out" || true)"
done
exit $status
