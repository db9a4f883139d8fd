#!/usr/bin/env bash
# Every test that docs/accepted.md names is there.
set -euo pipefail

cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.."

named=$(grep -oE '`[A-Za-z]+\.[A-Z][A-Za-z0-9]+` \|$' docs/accepted.md | tr -d '`| ' | sort -u)
[ -n "$named" ] || { echo "docs/accepted.md names no test"; exit 1; }

missing=0
while IFS=. read -r suite test; do
    grep -rqE "^(TYPED_)?TEST(_F|_P)?\($suite, $test\)" --include='*.cpp' tests ||
        grep -rqF "NAME $suite.$test" --include=CMakeLists.txt tests ||
        { echo "there is no test $suite.$test"; missing=$((missing + 1)); }
done <<<"$named"
[ "$missing" -eq 0 ] || exit 1
echo "all $(wc -l <<<"$named") tests are there"
